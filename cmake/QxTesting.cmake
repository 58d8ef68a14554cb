# GoogleTest for both worlds, and one function that every component uses to
# declare a test program. Each program becomes one CTest test that writes a
# GoogleTest XML report; tools/run-tests adds the reports up.
if(NOT QX_BUILD_TESTS)
  function(qx_add_gtest)
  endfunction()
  return()
endif()

enable_testing()

if(CMAKE_CROSSCOMPILING)
  # Built once per build tree from Debian's sources; mingw has no packaged copy.
  set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  add_library(qx_gtest INTERFACE)
  target_link_libraries(qx_gtest INTERFACE gmock gtest_main)
else()
  find_package(GTest REQUIRED)
  add_library(qx_gtest INTERFACE)
  target_link_libraries(qx_gtest INTERFACE GTest::gmock GTest::gtest_main)
endif()

if(WIN32)
  set(QX_TEST_PLATFORM win64)
else()
  set(QX_TEST_PLATFORM native)
endif()
file(MAKE_DIRECTORY ${QX_TEST_RESULTS})

# qx_add_gtest(NAME n SOURCES a.cpp b.cpp LIBS lib... [ENV K=V...] [LOCKS r...])
# LOCKS names machine-wide things the program changes (a COM class registered
# in the prefix's registry, say); programs sharing one never run together.
function(qx_add_gtest)
  cmake_parse_arguments(T "" "NAME" "SOURCES;LIBS;ENV;LOCKS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} qx_gtest)
  set(report "${QX_TEST_RESULTS}/${QX_TEST_PLATFORM}-${T_NAME}.xml")
  if(WIN32)
    # Wine sees the Unix file system as drive Z:.
    set(report "Z:${report}")
  endif()
  add_test(NAME ${QX_TEST_PLATFORM}.${T_NAME}
           COMMAND ${T_NAME} --gtest_output=xml:${report}
           WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
  set_tests_properties(${QX_TEST_PLATFORM}.${T_NAME} PROPERTIES
    TIMEOUT 300
    ENVIRONMENT "QX_SOURCE_DIR=${CMAKE_SOURCE_DIR};QX_BINARY_DIR=${CMAKE_BINARY_DIR};${T_ENV}")
  if(T_LOCKS)
    set_tests_properties(${QX_TEST_PLATFORM}.${T_NAME} PROPERTIES RESOURCE_LOCK "${T_LOCKS}")
  endif()
endfunction()
