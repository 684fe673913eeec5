# Decoders share nothing: the library keeps no writable data of its own, so
# that sessions on several threads, or several hosts in one process, can never
# see each other's state. Its objects may define data only in read-only
# sections (.rodata, and .data.rel.ro for tables of pointers, which the loader
# fixes up and then protects); any object in .data or .bss, or a common symbol,
# is mutable state.
include(${CMAKE_CURRENT_LIST_DIR}/check_helpers.cmake)
command_output_lines(lines ${OBJDUMP} -t ${LIBRARY})
set(writable "")
foreach(line IN LISTS lines)
  # The sanitizers' own bookkeeping (an instrumented build) is not the library's.
  if(line MATCHES " O (\\.data|\\.bss|\\*COM\\*)([. \t]|$)" AND NOT line MATCHES "\\.data\\.rel\\.ro"
     AND NOT line MATCHES " (__odr_asan|__asan|__ubsan|__sancov)")
    list(APPEND writable "${line}")
  endif()
endforeach()
fail_if_any("writable data in ${LIBRARY}" "${writable}")
message(STATUS "no writable data in ${LIBRARY}")
