# The man page lists exactly the commands of the tool's help, in its order,
# and gives each of them a section of its own:
#   cmake -DTOOL=<svodb> -DMAN_PAGE=<svodb.1> -P man_page_test.cmake
cmake_policy(VERSION 3.20)
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/tool_help.cmake)

svodb_tool_output(${TOOL} help --help)
svodb_help_commands("${help}" commands summaries)

file(READ ${MAN_PAGE} page)
string(REGEX MATCHALL "\n\\.TP[^\n]*\n\\.B [a-z0-9\\-]+" listed "${page}")
string(REGEX REPLACE "\n\\.TP[^\n]*\n\\.B " "" listed "${listed}")
string(REGEX MATCHALL "\n\\.SS [a-z0-9\\-]+" sections "${page}")
string(REPLACE "\n.SS " "" sections "${sections}")

# Only the COMMANDS section uses bold tagged paragraphs with lowercase words;
# the environment's names are upper case and the files are in italics.
if(NOT listed STREQUAL commands)
  message(FATAL_ERROR "the man page lists the commands '${listed}'\nthe tool's help lists '${commands}'")
endif()
if(NOT sections STREQUAL commands)
  message(FATAL_ERROR "the man page has sections for '${sections}'\nthe tool's help lists '${commands}'")
endif()
list(LENGTH commands count)
message(STATUS "${count} commands, in step with the help")
