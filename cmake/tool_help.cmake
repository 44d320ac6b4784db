# Reads the svodb tool's own help, for the man page and its check.
#
# The command list is the block of lines after a heading that ends in
# "commands:" (any case, e.g. "commands:" or "SUBCOMMANDS:"), one command per
# line: indented, its name first, then its summary. The block ends at the
# first line of another shape (a blank line, a new heading).

# Runs TOOL with the given arguments; fails the script unless it exits 0.
function(svodb_tool_output tool out)
  execute_process(COMMAND ${tool} ${ARGN} OUTPUT_VARIABLE text ERROR_VARIABLE errors RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "'${tool} ${ARGN}' failed (${status}): ${errors}")
  endif()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Splits a help text into lines, keeping empty ones (a list of lines would
# drop them, and they end blocks).
function(svodb_help_lines text out)
  string(REPLACE ";" "\\;" text "${text}")
  string(REPLACE "\n" ";" lines "${text}")
  set(${out} "${lines}" PARENT_SCOPE)
endfunction()

# Sets out_names and out_summaries to the commands of the help text, in order.
function(svodb_help_commands text out_names out_summaries)
  svodb_help_lines("${text}" lines)
  set(names)
  set(summaries)
  set(in_list FALSE)
  foreach(line IN LISTS lines)
    string(TOLOWER "${line}" lower)
    if(NOT in_list)
      if(lower MATCHES "^[a-z ]*commands:[ ]*$")
        set(in_list TRUE)
      endif()
    elseif(line MATCHES "^  +([a-z][a-z0-9-]*)( +(.*))?$")
      list(APPEND names ${CMAKE_MATCH_1})
      string(REPLACE ";" "," summary "${CMAKE_MATCH_3}")
      list(APPEND summaries "${summary}")
    else()
      break()
    endif()
  endforeach()
  if(NOT names)
    message(FATAL_ERROR "no command list found in the tool's help:\n${text}")
  endif()
  set(${out_names} "${names}" PARENT_SCOPE)
  set(${out_summaries} "${summaries}" PARENT_SCOPE)
endfunction()
