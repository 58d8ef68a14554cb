# qx_ship_stripped(TARGET): what the package ships is written out by the
# installer again and again, so it goes without debug information; that stays
# beside it as TARGET's file name plus .debug, named by a GNU debug link so
# that gdb finds it. Windows builds only; the coverage build keeps everything.
function(qx_ship_stripped target)
  if(NOT WIN32 OR NOT CMAKE_OBJCOPY OR NOT CMAKE_STRIP OR QX_COVERAGE)
    return()
  endif()
  # Each function and datum in a section of its own (see the top-level
  # CMakeLists.txt), so that the link can leave out what no export reaches.
  target_link_options(${target} PRIVATE -Wl,--gc-sections)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
    COMMAND ${CMAKE_STRIP} --strip-debug --strip-unneeded $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE_NAME:${target}>.debug $<TARGET_FILE:${target}>
    WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}>
    VERBATIM)
endfunction()

# qx_ship_small(TARGET...): the code around the configuration library runs a
# few times an install, while the installer copies the whole DLL out for every
# action it calls: there bytes count more than cycles. The configuration
# library keeps its -O2.
function(qx_ship_small)
  if(NOT WIN32 OR QX_COVERAGE)
    return()
  endif()
  foreach(target IN LISTS ARGN)
    target_compile_options(${target} PRIVATE -Os)
  endforeach()
endfunction()
