# qx_ship_stripped(TARGET): what the package ships is written out by the
# installer again and again, so it goes without debug information; that stays
# beside it as TARGET's file name plus .debug, named by a GNU debug link so
# that gdb finds it. Windows builds only; the coverage build keeps everything.
function(qx_ship_stripped target)
  if(NOT WIN32 OR NOT CMAKE_OBJCOPY OR NOT CMAKE_STRIP OR QX_COVERAGE)
    return()
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
    COMMAND ${CMAKE_STRIP} --strip-debug --strip-unneeded $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE_NAME:${target}>.debug $<TARGET_FILE:${target}>
    WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}>
    VERBATIM)
endfunction()
