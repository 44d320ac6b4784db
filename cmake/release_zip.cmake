# Packs a Windows build into the release zip of its architecture:
#   cmake -DBUILD_DIR=build-win-x86_64 -DARCH=x86_64 -DSTRIP=x86_64-w64-mingw32-strip
#         [-DSOURCE_DIR=.] [-DOUT_DIR=.] -P cmake/release_zip.cmake
# The zip holds svodb-<version>-windows-<arch>/ with bin/ (svodb.dll and the
# virtual drive's CommSVODB.dll, both stripped), lib/ (the import library
# and the module-definition file), include/svodb/ (the public headers), the
# README and the licence when the tree has one. The DLLs in the build tree
# stay unstripped for debugging.
cmake_minimum_required(VERSION 3.20)
foreach(required BUILD_DIR ARCH STRIP)
  if(NOT ${required})
    message(FATAL_ERROR "release_zip.cmake needs -D${required}=...")
  endif()
endforeach()
if(NOT SOURCE_DIR)
  get_filename_component(SOURCE_DIR ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)
endif()
if(NOT OUT_DIR)
  set(OUT_DIR ${BUILD_DIR})
endif()
get_filename_component(BUILD_DIR ${BUILD_DIR} ABSOLUTE)
get_filename_component(OUT_DIR ${OUT_DIR} ABSOLUTE)

file(STRINGS ${SOURCE_DIR}/CMakeLists.txt project_line REGEX "^project\\(svodb VERSION ")
string(REGEX MATCH "VERSION ([0-9.]+)" ignored "${project_line}")
set(name svodb-${CMAKE_MATCH_1}-windows-${ARCH})
set(stage ${BUILD_DIR}/release/${name})
file(REMOVE_RECURSE ${stage})
file(MAKE_DIRECTORY ${stage}/bin ${stage}/lib ${stage}/include)

foreach(dll svodb.dll CommSVODB.dll)
  file(COPY ${BUILD_DIR}/bin/${dll} DESTINATION ${stage}/bin)
  execute_process(COMMAND ${STRIP} --strip-unneeded ${stage}/bin/${dll} RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "could not strip ${dll}")
  endif()
  file(SIZE ${BUILD_DIR}/bin/${dll} before)
  file(SIZE ${stage}/bin/${dll} after)
  message(STATUS "${ARCH} ${dll}: ${before} bytes, ${after} stripped")
endforeach()
file(COPY ${BUILD_DIR}/libsvodb.dll.a DESTINATION ${stage}/lib)
configure_file(${BUILD_DIR}/exports/SVODB.def ${stage}/lib/svodb.def COPYONLY)
# svodb_linux.h declares what only the Linux library has.
file(COPY ${SOURCE_DIR}/include/svodb DESTINATION ${stage}/include PATTERN svodb_linux.h EXCLUDE)
file(GLOB licence ${SOURCE_DIR}/LICENSE* ${SOURCE_DIR}/LICENCE* ${SOURCE_DIR}/COPYING*)
foreach(file ${SOURCE_DIR}/README.md ${licence})
  file(COPY ${file} DESTINATION ${stage})
endforeach()
if(NOT licence)
  message(WARNING "no licence file in ${SOURCE_DIR}: the zip has none")
endif()

set(zip ${OUT_DIR}/${name}.zip)
file(REMOVE ${zip})
execute_process(COMMAND ${CMAKE_COMMAND} -E tar cf ${zip} --format=zip ${name}
                WORKING_DIRECTORY ${BUILD_DIR}/release RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "could not write ${zip}")
endif()
message(STATUS "wrote ${zip}")
