# Sample data as tests read it. Link `ostrane_samples` for the macros
#
#   OSTRANE_EXAMPLES_DIR  examples/ of the source tree: player.proto, player.json, player.txtpb, players.ndjson
#   OSTRANE_SAMPLES_DIR   made by the build:
#     player.pb           examples/player.txtpb in binary
#     player.protoset     examples/player.proto as a FileDescriptorSet
#     protobuf.protoset   protobuf's own installed .proto files as a FileDescriptorSet, with comments and
#                         places: a large real record of type google.protobuf.FileDescriptorSet

set(examplesDir "${PROJECT_SOURCE_DIR}/examples")
set(samplesDir "${CMAKE_CURRENT_BINARY_DIR}/samples")
file(MAKE_DIRECTORY "${samplesDir}")

add_custom_command(
  OUTPUT "${samplesDir}/player.pb"
  COMMAND protobuf::protoc --encode=demo.Player -I "${examplesDir}" "${examplesDir}/player.proto"
          < "${examplesDir}/player.txtpb" > "${samplesDir}/player.pb"
  DEPENDS "${examplesDir}/player.proto" "${examplesDir}/player.txtpb"
  COMMENT "Encoding the sample record"
  VERBATIM)
add_custom_command(
  OUTPUT "${samplesDir}/player.protoset"
  COMMAND protobuf::protoc --include_imports "--descriptor_set_out=${samplesDir}/player.protoset"
          -I "${examplesDir}" "${examplesDir}/player.proto"
  DEPENDS "${examplesDir}/player.proto"
  COMMENT "Describing the sample schema"
  VERBATIM)

list(GET Protobuf_INCLUDE_DIRS 0 protobufInclude)
file(GLOB protobufFiles "${protobufInclude}/google/protobuf/*.proto"
     "${protobufInclude}/google/protobuf/compiler/*.proto")
add_custom_command(
  OUTPUT "${samplesDir}/protobuf.protoset"
  COMMAND protobuf::protoc --include_imports --include_source_info
          "--descriptor_set_out=${samplesDir}/protobuf.protoset" -I "${protobufInclude}" ${protobufFiles}
  DEPENDS ${protobufFiles}
  COMMENT "Describing protobuf's own schemas"
  VERBATIM)

add_custom_target(ostrane_sample_files
  DEPENDS "${samplesDir}/player.pb" "${samplesDir}/player.protoset" "${samplesDir}/protobuf.protoset")

add_library(ostrane_samples INTERFACE)
add_dependencies(ostrane_samples ostrane_sample_files)
target_compile_definitions(ostrane_samples INTERFACE
  OSTRANE_EXAMPLES_DIR="${examplesDir}" OSTRANE_SAMPLES_DIR="${samplesDir}")
