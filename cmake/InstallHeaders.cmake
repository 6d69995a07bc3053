# Run at install time with sourceDir, stageDir and includeDir set: copies the public headers to
# includeDir/ostrane/, their includes rewritten to that place.

# The prefix is known only now: `cmake --install --prefix` may differ from the configured one.
cmake_path(ABSOLUTE_PATH includeDir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")

# What only the sources of its own library include stays behind; the consumer's build would show a
# public header that needs one of these.
set(publicHeaders)
foreach(folder common log expr record)
  file(GLOB found RELATIVE "${sourceDir}" "${sourceDir}/${folder}/*.h")
  list(APPEND publicHeaders ${found})
endforeach()
list(FILTER publicHeaders EXCLUDE REGEX
  "^expr/(array_match|code_point|number_text|.*grammar.*)\\.h$")
list(FILTER publicHeaders EXCLUDE REGEX
  "^record/(json_.*|utf8|wire_check|protobuf_compat|nearest_name|file_bytes)\\.h$")

foreach(header IN LISTS publicHeaders)
  file(READ "${sourceDir}/${header}" text)
  string(REGEX REPLACE "(#include \")(common|log|expr|record)/" "\\1ostrane/\\2/" text "${text}")
  file(WRITE "${stageDir}/${header}" "${text}")
  cmake_path(GET header PARENT_PATH folder)
  file(INSTALL "${stageDir}/${header}" DESTINATION "${includeDir}/ostrane/${folder}")
endforeach()
