# Decoders share nothing: the library keeps no writable data of its own, so
# that sessions on several threads, or several hosts in one process, can never
# see each other's state. Its objects may define data only in read-only
# sections (.rodata, and .data.rel.ro for tables of pointers, which the loader
# fixes up and then protects); any object in .data or .bss, or a common symbol,
# is mutable state.
execute_process(COMMAND ${OBJDUMP} -t ${LIBRARY}
                OUTPUT_VARIABLE dump RESULT_VARIABLE dump_result)
if(NOT dump_result EQUAL 0)
  message(FATAL_ERROR "${OBJDUMP} failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${dump}")
set(writable "")
foreach(line IN LISTS lines)
  # The sanitizers' own bookkeeping (an instrumented build) is not the library's.
  if(line MATCHES " O (\\.data|\\.bss|\\*COM\\*)([. \t]|$)" AND NOT line MATCHES "\\.data\\.rel\\.ro"
     AND NOT line MATCHES " (__odr_asan|__asan|__ubsan|__sancov)")
    list(APPEND writable "${line}")
  endif()
endforeach()
if(writable)
  string(REPLACE ";" "\n  " text "${writable}")
  message(FATAL_ERROR "writable data in ${LIBRARY}:\n  ${text}")
endif()
message(STATUS "no writable data in ${LIBRARY}")
