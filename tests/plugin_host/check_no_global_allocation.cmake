# Fails if a shared library refers to the global operator new or delete.
execute_process(COMMAND nm -D --undefined-only ${LIBRARY}
                OUTPUT_VARIABLE nm_output RESULT_VARIABLE nm_result)
if(NOT nm_result EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "_Z(nw|na|dl|da)[A-Za-z0-9_]*" found "${nm_output}")
if(found)
  list(REMOVE_DUPLICATES found)
  string(REPLACE ";" "\n  " text "${found}")
  message(FATAL_ERROR "the library refers to the global allocation operators:\n  ${text}")
endif()
message(STATUS "no global operator new or delete referenced")
