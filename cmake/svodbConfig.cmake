# find_package(svodb CONFIG) gives the imported target svodb::svodb: the
# shared library with its include folder.
include(${CMAKE_CURRENT_LIST_DIR}/svodbTargets.cmake)
