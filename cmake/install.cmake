# What `cmake --install` lays out and what CPack packs, in two components:
#   runtime      the library (libsvodb.so.1), the svodb tool with its man page
#                and bash completion, the virtual drive's transport library in
#                its private folder, the README and the licence
#   development  the public headers, the libsvodb.so link, the CMake package
#                (svodb::svodb) and svodb.pc for pkg-config
#   python       the svodb Python package (its install rule is in python/)
include(CMakePackageConfigHelpers)

set(SVODB_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/svodb)

install(TARGETS svodb EXPORT svodbTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(DIRECTORY include/svodb DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
        FILES_MATCHING PATTERN "*.h")
install(TARGETS svodb_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(TARGETS CommSVODB LIBRARY DESTINATION ${SVODB_TRANSPORT_INSTALL_DIR} COMPONENT runtime)
if(SVODB_MAN_PAGE)
  install(FILES ${SVODB_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
endif()
install(FILES tools/svodb.bash-completion RENAME svodb
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT runtime)
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)

# find_package(svodb 1.0 CONFIG): any 1.x satisfies a request for 1.0.
install(EXPORT svodbTargets NAMESPACE svodb:: DESTINATION ${SVODB_CMAKE_INSTALL_DIR} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/svodbConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/svodbConfig.cmake ${PROJECT_BINARY_DIR}/svodbConfigVersion.cmake
        DESTINATION ${SVODB_CMAKE_INSTALL_DIR} COMPONENT development)

# The .pc file finds its prefix from where it lies, so that an installation
# moved with `cmake --install --prefix` or unpacked elsewhere still works.
file(RELATIVE_PATH SVODB_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" SVODB_PC_TO_PREFIX "${SVODB_PC_TO_PREFIX}")
configure_file(cmake/svodb.pc.in ${PROJECT_BINARY_DIR}/svodb.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/svodb.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# `cpack -G DEB`: the package svodb and its development package svodb-dev.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME svodb)
set(CPACK_PACKAGE_VENDOR "the svodb developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "parameter database of a family of servo drives")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development python)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "the svodb developers")
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME svodb)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "The svodb library, the svodb command-line tool, and a virtual drive to run\nthe tool without hardware.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME svodb-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "svodb (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "Development files: the C headers of the svodb library, its CMake package\n(svodb::svodb) and its pkg-config file.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-svodb)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "svodb (>= ${PROJECT_VERSION}), python3")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-matplotlib")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION
    "Python package over the svodb library: drives, parameter files, motor data,\nflash programming and plots from Python.")
include(CPack)
