# Helpers of the checks that run as CMake scripts (cmake -P).

# The output of a command as a list of lines; a command that fails ends the check.
function(command_output_lines out)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command} failed (${result})")
  endif()
  string(REPLACE "\n" ";" lines "${output}")
  set(${out} "${lines}" PARENT_SCOPE)
endfunction()

# Ends the check with `heading` and one indented line per entry when `entries`
# is not empty.
function(fail_if_any heading entries)
  if(entries)
    string(REPLACE ";" "\n  " text "${entries}")
    message(FATAL_ERROR "${heading}:\n  ${text}")
  endif()
endfunction()
