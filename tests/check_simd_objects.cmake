# SIMD objects are compiled for one instruction set. A weak (COMDAT) function in
# one of them, such as an inline function from a shared header, could be the copy
# the linker keeps for every caller and put that instruction set into code that
# runs on any processor; so they must define none. Weak data (a constant table
# from a header) carries no instructions and is left alone.
set(failures "")
foreach(object IN LISTS OBJECTS)
  execute_process(COMMAND nm -C --defined-only ${object}
                  OUTPUT_VARIABLE nm_output RESULT_VARIABLE nm_result)
  if(NOT nm_result EQUAL 0)
    message(FATAL_ERROR "nm failed on ${object}")
  endif()
  string(REPLACE "\n" ";" lines "${nm_output}")
  foreach(line IN LISTS lines)
    if(line MATCHES "^[0-9a-fA-F]+ W (.+)$")
      list(APPEND failures "${object}: ${CMAKE_MATCH_1}")
    endif()
  endforeach()
endforeach()
if(failures)
  string(REPLACE ";" "\n  " text "${failures}")
  message(FATAL_ERROR "weak definitions in SIMD objects:\n  ${text}")
endif()
