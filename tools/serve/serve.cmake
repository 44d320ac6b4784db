# svodb serve: the commissioning panel. Its page is built into the tool.
set(SVODB_WEB_FILES index.html app.js style.css)
set(SVODB_WEB_SOURCE ${CMAKE_CURRENT_BINARY_DIR}/serve/web_assets.cpp)
string(REPLACE ";" "," SVODB_WEB_FILE_LIST "${SVODB_WEB_FILES}")
list(TRANSFORM SVODB_WEB_FILES PREPEND ${CMAKE_CURRENT_LIST_DIR}/web/ OUTPUT_VARIABLE SVODB_WEB_PATHS)
add_custom_command(
  OUTPUT ${SVODB_WEB_SOURCE}
  COMMAND ${CMAKE_COMMAND} -DOUTPUT=${SVODB_WEB_SOURCE} -DSOURCE_DIR=${CMAKE_CURRENT_LIST_DIR}/web
          -DFILES=${SVODB_WEB_FILE_LIST} -P ${PROJECT_SOURCE_DIR}/cmake/embed_web.cmake
  DEPENDS ${SVODB_WEB_PATHS} ${PROJECT_SOURCE_DIR}/cmake/embed_web.cmake
  COMMENT "Building the panel's page into the tool" VERBATIM)
set(SVODB_SERVE_SOURCES ${CMAKE_CURRENT_LIST_DIR}/serve_command.cpp ${CMAKE_CURRENT_LIST_DIR}/drive_api.cpp
    ${CMAKE_CURRENT_LIST_DIR}/request_guard.cpp ${CMAKE_CURRENT_LIST_DIR}/tool_run.cpp ${SVODB_WEB_SOURCE})

