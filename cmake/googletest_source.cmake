# GoogleTest from Debian's source package (googletest), built by the cross
# compiler; it names its targets GTest::gtest and GTest::gtest_main itself.
# On Windows it needs std::mutex, which the mingw-w64 compilers have in
# their posix thread model only (SVODB_MINGW_THREADS=posix).
set(SVODB_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest sources")
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(gtest_disable_pthreads ON CACHE BOOL "" FORCE)
if(WIN32 AND NOT SVODB_MINGW_THREADS STREQUAL "posix")
  message(FATAL_ERROR "the Windows tests need -DSVODB_MINGW_THREADS=posix (or -DSVODB_TESTS=OFF)")
endif()
add_subdirectory(${SVODB_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
# Its code is not held to the project's warning flags.
target_compile_options(gtest PRIVATE -w)
target_compile_options(gtest_main PRIVATE -w)
