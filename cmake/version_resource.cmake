# Gives a Windows DLL target a version resource (file version, product name,
# description) for Explorer's properties.
function(svodb_add_version_resource target description)
  set(SVODB_RC_NAME ${target})
  set(SVODB_RC_DESCRIPTION "${description}")
  set(rc ${PROJECT_BINARY_DIR}/resources/${target}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${rc} @ONLY)
  target_sources(${target} PRIVATE ${rc})
endfunction()
