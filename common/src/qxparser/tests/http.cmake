# Packed data and reading over HTTP, against the tests' own Apache.
set(qx_http_dir ${CMAKE_CURRENT_LIST_DIR}/../../../../testing/http)
include(${qx_http_dir}/QxHttpServer.cmake)
qx_add_gtest(NAME qxparser_http_tests
  SOURCES http_test.cpp http_server.cpp test_files.cpp
  LIBS orvane)
target_include_directories(qxparser_http_tests PRIVATE ${CMAKE_CURRENT_LIST_DIR})
if(WIN32)
  target_compile_definitions(qxparser_http_tests PRIVATE QX_HTTP_CONFIG_DIR="Z:${qx_http_dir}/config"
    QX_HTTP_CASES="Z:${CMAKE_CURRENT_LIST_DIR}/http.txt" QX_CORPUS_DIR="Z:${CMAKE_CURRENT_LIST_DIR}/corpus")
else()
  target_compile_definitions(qxparser_http_tests PRIVATE QX_HTTP_CONFIG_DIR="${qx_http_dir}/config"
    QX_HTTP_CASES="${CMAKE_CURRENT_LIST_DIR}/http.txt" QX_CORPUS_DIR="${CMAKE_CURRENT_LIST_DIR}/corpus")
endif()
qx_use_http_server(qxparser_http_tests)
if(NOT WIN32 AND NOT QX_FUZZ)
  qx_add_qxdat_http_test()
endif()
