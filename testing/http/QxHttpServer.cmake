# The tests' own Apache (testing/http/qx-httpd) as a CTest fixture: started
# before the test programs that need it, stopped after them.
# qx_use_http_server(<target>) makes <target>'s test require it and tells the
# program where the server keeps its port file and logs (QX_HTTP_SERVER_DIR).
set(QX_HTTP_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/qx-httpd)

function(qx_use_http_server target)
  set(dir ${CMAKE_BINARY_DIR}/http-server)
  set(start ${QX_TEST_PLATFORM}.http_server_start)
  if(NOT TEST ${start})
    add_test(NAME ${start} COMMAND ${QX_HTTP_SCRIPT} start ${dir})
    add_test(NAME ${QX_TEST_PLATFORM}.http_server_stop COMMAND ${QX_HTTP_SCRIPT} stop ${dir})
    set_tests_properties(${start} PROPERTIES FIXTURES_SETUP qx_http_server)
    set_tests_properties(${QX_TEST_PLATFORM}.http_server_stop PROPERTIES FIXTURES_CLEANUP qx_http_server)
  endif()
  set_tests_properties(${QX_TEST_PLATFORM}.${target} PROPERTIES FIXTURES_REQUIRED qx_http_server)
  if(WIN32)
    set(dir "Z:${dir}")  # the Unix file system as Wine shows it
  endif()
  target_compile_definitions(${target} PRIVATE QX_HTTP_SERVER_DIR="${dir}")
endfunction()

# qxdat check against the server, on the platforms that build the tool.
function(qx_add_qxdat_http_test)
  add_test(NAME ${QX_TEST_PLATFORM}.qxdat_http_check
           COMMAND ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/qxdat-check $<TARGET_FILE:qxdat> ${CMAKE_BINARY_DIR}/http-server)
  set_tests_properties(${QX_TEST_PLATFORM}.qxdat_http_check PROPERTIES FIXTURES_REQUIRED qx_http_server)
endfunction()
