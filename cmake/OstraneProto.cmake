# Generated classes for tests, benchmarks and fuzz targets.

# ostrane_proto_library(NAME FILES... [ROOT DIR] [LIBS TARGETS...]) makes the static library NAME from
# .proto files. ROOT is where their imports start, by default the first file's folder; a file's
# header is included by its path below ROOT, as "player.pb.h". LIBS are proto libraries whose
# files these import, under the same ROOT.
#
# Generated code is not ours: it is compiled without warnings and included as a system header. A
# .proto file belongs to one library of a program only, because it registers itself at start.
function(ostrane_proto_library name)
  cmake_parse_arguments(arg "" "ROOT" "LIBS" ${ARGN})
  set(files)
  foreach(file IN LISTS arg_UNPARSED_ARGUMENTS)
    cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
    list(APPEND files "${file}")
  endforeach()
  if(arg_ROOT)
    cmake_path(ABSOLUTE_PATH arg_ROOT BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE OUTPUT_VARIABLE root)
  else()
    list(GET files 0 first)
    cmake_path(GET first PARENT_PATH root)
  endif()

  set(outDir "${CMAKE_CURRENT_BINARY_DIR}/${name}")
  file(MAKE_DIRECTORY "${outDir}")
  set(generated)
  foreach(file IN LISTS files)
    cmake_path(RELATIVE_PATH file BASE_DIRECTORY "${root}" OUTPUT_VARIABLE base)
    cmake_path(REMOVE_EXTENSION base LAST_ONLY)
    list(APPEND generated "${outDir}/${base}.pb.cc" "${outDir}/${base}.pb.h")
  endforeach()
  add_custom_command(
    OUTPUT ${generated}
    COMMAND protobuf::protoc --cpp_out=${outDir} -I ${root} ${files}
    DEPENDS ${files}
    COMMENT "Generating the classes of ${name}"
    VERBATIM)

  add_library(${name} STATIC ${generated})
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${name} PRIVATE -w)
  target_include_directories(${name} SYSTEM PUBLIC "${outDir}")
  target_link_libraries(${name} PUBLIC protobuf::libprotobuf ${arg_LIBS})
endfunction()
