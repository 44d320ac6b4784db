# Writes the man page svodb.1 from its template and the built tool's help:
#   cmake -DTOOL=<svodb> -DTEMPLATE=<svodb.1.in> -DOUTPUT=<svodb.1> -DVERSION=<x.y.z> -P man_page.cmake
# The template holds what the help does not say (the description, the
# environment, the files); the commands and options are the help's own words.
cmake_policy(VERSION 3.20)
include(${CMAKE_CURRENT_LIST_DIR}/tool_help.cmake)

# Help text as roff: backslashes and hyphens escaped, and no line may start
# with a control character.
function(svodb_roff text out)
  string(REPLACE "\\" "\\e" text "${text}")
  string(REPLACE "-" "\\-" text "${text}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# The overview's text without its command list: usage and global options.
function(svodb_help_without_commands text out)
  svodb_help_lines("${text}" lines)
  set(kept "")
  set(state before)
  foreach(line IN LISTS lines)
    string(TOLOWER "${line}" lower)
    if(state STREQUAL "before" AND lower MATCHES "^[a-z ]*commands:[ ]*$")
      set(state in_list)
      continue()
    elseif(state STREQUAL "in_list" AND line MATCHES "^  +[a-z]")
      continue()
    elseif(state STREQUAL "in_list")
      set(state after)
    endif()
    string(APPEND kept "${line}\n")
  endforeach()
  string(STRIP "${kept}" kept)
  set(${out} "${kept}" PARENT_SCOPE)
endfunction()

svodb_tool_output(${TOOL} overview --help)
svodb_help_commands("${overview}" names summaries)
svodb_help_without_commands("${overview}" general)

# Each command's help may repeat the overview's last paragraph (the global
# options); the page shows it once.
string(FIND "${overview}" "\n\n" last_break REVERSE)
string(SUBSTRING "${overview}" ${last_break} -1 global_options)
string(STRIP "${global_options}" global_options)

set(command_list "")
set(command_details "")
foreach(name summary IN ZIP_LISTS names summaries)
  svodb_roff("${summary}" summary)
  string(APPEND command_list ".TP 10\n.B ${name}\n${summary}\n")
  svodb_tool_output(${TOOL} help ${name} --help)
  if(global_options)
    string(REPLACE "${global_options}" "" help "${help}")
  endif()
  string(STRIP "${help}" help)
  svodb_roff("${help}" help)
  string(APPEND command_details ".SS ${name}\n.nf\n${help}\n.fi\n")
endforeach()
svodb_roff("${general}" general)

file(READ ${TEMPLATE} page)
string(REPLACE "@VERSION@" "${VERSION}" page "${page}")
string(REPLACE "@USAGE_AND_GLOBAL_OPTIONS@" ".nf\n${general}\n.fi" page "${page}")
string(REPLACE "@COMMAND_LIST@" "${command_list}" page "${page}")
string(REPLACE "@COMMAND_DETAILS@" "${command_details}" page "${page}")
file(WRITE ${OUTPUT} "${page}")
