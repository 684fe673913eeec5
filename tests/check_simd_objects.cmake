# SIMD objects are compiled for one instruction set. A weak (COMDAT) function in
# one of them, such as an inline function from a shared header, could be the copy
# the linker keeps for every caller and put that instruction set into code that
# runs on any processor; so they must define none. Weak data (a constant table
# from a header) carries no instructions and is left alone.
include(${CMAKE_CURRENT_LIST_DIR}/check_helpers.cmake)
set(failures "")
foreach(object IN LISTS OBJECTS)
  command_output_lines(lines nm -C --defined-only ${object})
  foreach(line IN LISTS lines)
    if(line MATCHES "^[0-9a-fA-F]+ W (.+)$")
      list(APPEND failures "${object}: ${CMAKE_MATCH_1}")
    endif()
  endforeach()
endforeach()
fail_if_any("weak definitions in SIMD objects" "${failures}")
