# Remote files: HttpUrl over WinInet on Windows and libcurl elsewhere, and the
# packed data of qx_zip over zlib.
target_sources(orvane PRIVATE src/qx_zip.cpp src/http_url.cpp)
if(WIN32)
  target_sources(orvane PRIVATE src/http_url_win.cpp)
  # The static zlib: the DLL imports system DLLs only.
  find_library(QX_ZLIB_STATIC NAMES libz.a REQUIRED)
  target_link_libraries(orvane PUBLIC wininet ${QX_ZLIB_STATIC})
else()
  find_package(ZLIB REQUIRED)
  find_package(CURL REQUIRED)
  target_sources(orvane PRIVATE src/http_url_curl.cpp)
  target_link_libraries(orvane PUBLIC ZLIB::ZLIB CURL::libcurl)
endif()
