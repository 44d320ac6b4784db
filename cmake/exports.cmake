# Derives every export artefact of a library from its one list of exports
# (src/api/exports.txt for svodb, sim/exports.txt for the virtual drive's
# transport library). For PREFIX it sets, in the caller's scope:
#   PREFIX_DEF_FILE               module-definition file for the Windows DLL
#   PREFIX_VERSION_SCRIPT         ELF version script: these names global, all else local
#   PREFIX_HEADER_CHECK_SOURCE    a C file that names every export through HEADER
#   PREFIX_EXPECTED_LINUX_EXPORTS, PREFIX_EXPECTED_WINDOWS_EXPORTS  the export tables
#
# A row "Name bytes linux" is an export of the Linux library only: it stays
# out of the module-definition file and the Windows table. LINUX_HEADER names
# the header that declares such exports (default: HEADER); the header check
# names them only when _WIN32 is not defined. A row "Name bytes ext" is an
# extension exported on every system, declared in EXT_HEADER. CORE_COUNT,
# when given, is the number of rows without a mark (the interface proper).

# Reads the list into three parallel lists: the Windows export names, the
# argument bytes of each, and what each is ("all", "linux" or "ext").
function(svodb_read_export_list list_file out_names out_bytes out_platforms)
  file(STRINGS ${list_file} lines REGEX "^[^#].*[^ ]")
  set(names)
  set(bytes)
  set(platforms)
  foreach(line IN LISTS lines)
    string(REGEX MATCH "^([A-Za-z_0-9@]+) +([0-9]+)( +(linux|ext))?$" matched "${line}")
    if(NOT matched)
      message(FATAL_ERROR "bad export list line: '${line}'")
    endif()
    list(APPEND names ${CMAKE_MATCH_1})
    list(APPEND bytes ${CMAKE_MATCH_2})
    if(CMAKE_MATCH_4)
      list(APPEND platforms ${CMAKE_MATCH_4})
    else()
      list(APPEND platforms all)
    endif()
  endforeach()
  set(${out_names} ${names} PARENT_SCOPE)
  set(${out_bytes} ${bytes} PARENT_SCOPE)
  set(${out_platforms} ${platforms} PARENT_SCOPE)
endfunction()

# _Name@N (a decorated export) is the C function Name.
function(svodb_c_name export_name out)
  string(REGEX REPLACE "^_(.*)@[0-9]+$" "\\1" plain "${export_name}")
  set(${out} ${plain} PARENT_SCOPE)
endfunction()

# Writes a generated file only when its content changes, so that a second
# configure run leaves its time stamp alone and nothing that depends on it
# (the libraries link with the version script) is rebuilt.
function(svodb_write_if_changed path content)
  if(EXISTS "${path}")
    file(READ "${path}" old)
    if(old STREQUAL content)
      return()
    endif()
  endif()
  file(WRITE "${path}" "${content}")
endfunction()

function(svodb_generate_export_files prefix list_file header dll_name out_dir)
  cmake_parse_arguments(PARSE_ARGV 5 arg "" "LINUX_HEADER;EXT_HEADER;CORE_COUNT" "")
  if(NOT arg_LINUX_HEADER)
    set(arg_LINUX_HEADER ${header})
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list_file})
  svodb_read_export_list(${list_file} names bytes platforms)
  if(arg_CORE_COUNT)
    set(core ${platforms})
    list(FILTER core INCLUDE REGEX "^all$")
    list(LENGTH core core_count)
    if(NOT core_count EQUAL arg_CORE_COUNT)
      message(FATAL_ERROR "${list_file}: ${core_count} exports without a mark, not ${arg_CORE_COUNT}")
    endif()
  endif()
  list(LENGTH names count)
  math(EXPR last "${count} - 1")
  set(def "LIBRARY ${dll_name}\nEXPORTS\n")
  set(map "{\n  global:\n")
  set(check "#include \"${header}\"\n")
  if(platforms MATCHES "linux" AND NOT arg_LINUX_HEADER STREQUAL header)
    string(APPEND check "#ifndef _WIN32\n#include \"${arg_LINUX_HEADER}\"\n#endif\n")
  endif()
  if(arg_EXT_HEADER)
    string(APPEND check "#include \"${arg_EXT_HEADER}\"\n")
  endif()
  string(APPEND check "\ntypedef void (*AnyFunction)(void);\nconst AnyFunction ${prefix}_every_export[] = {\n")
  set(linux_list "")
  set(windows_list "")
  foreach(i RANGE ${last})
    list(GET names ${i} name)
    list(GET bytes ${i} arg_bytes)
    list(GET platforms ${i} platform)
    svodb_c_name(${name} cname)
    string(APPEND map "    ${cname};\n")
    string(APPEND linux_list "${cname}\n")
    if(platform STREQUAL "linux")
      string(APPEND check "#ifndef _WIN32\n    (AnyFunction)${cname},\n#endif\n")
      continue()
    endif()
    # On 32-bit Windows the compiler decorates every stdcall function as
    # cname@bytes; the def file maps the export name onto that symbol.
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
      string(APPEND def "  ${name} = ${cname}@${arg_bytes}\n")
    else()
      string(APPEND def "  ${name} = ${cname}\n")
    endif()
    string(APPEND check "    (AnyFunction)${cname},\n")
    string(APPEND windows_list "${name}\n")
  endforeach()
  string(APPEND map "  local: *;\n};\n")
  string(APPEND check "};\n")
  file(MAKE_DIRECTORY ${out_dir})
  set(base ${out_dir}/${prefix})
  svodb_write_if_changed(${base}.def "${def}")
  svodb_write_if_changed(${base}.map "${map}")
  svodb_write_if_changed(${base}_header_check.c "${check}")
  svodb_write_if_changed(${base}_exports_linux.txt "${linux_list}")
  svodb_write_if_changed(${base}_exports_windows.txt "${windows_list}")
  set(${prefix}_DEF_FILE ${base}.def PARENT_SCOPE)
  set(${prefix}_VERSION_SCRIPT ${base}.map PARENT_SCOPE)
  set(${prefix}_HEADER_CHECK_SOURCE ${base}_header_check.c PARENT_SCOPE)
  set(${prefix}_EXPECTED_LINUX_EXPORTS ${base}_exports_linux.txt PARENT_SCOPE)
  set(${prefix}_EXPECTED_WINDOWS_EXPORTS ${base}_exports_windows.txt PARENT_SCOPE)
endfunction()
