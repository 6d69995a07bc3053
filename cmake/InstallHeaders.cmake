# Run at install time with sourceDir, stageDir and includeDir set: copies the public headers to
# includeDir/ostrane/, their includes rewritten to that place.

# The prefix is known only now: `cmake --install --prefix` may differ from the configured one.
cmake_path(ABSOLUTE_PATH includeDir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")

# Of common/ and log/ every header is public; of the others, what their sources share among
# themselves stays behind. The consumer's build shows a public header that needs one of those.
set(publicHeaders
  expr/bound_filter.h
  expr/parse_context.h
  expr/statement.h
  record/codec.h
  record/input_error.h
  record/record_file.h
  record/schema.h
  record/statement_parameters.h
  record/statement_plan.h
  record/statement_result.h)
foreach(folder common log)
  file(GLOB found RELATIVE "${sourceDir}" "${sourceDir}/${folder}/*.h")
  list(APPEND publicHeaders ${found})
endforeach()

foreach(header IN LISTS publicHeaders)
  file(READ "${sourceDir}/${header}" text)
  string(REGEX REPLACE "(#include \")(common|log|expr|record)/" "\\1ostrane/\\2/" text "${text}")
  file(WRITE "${stageDir}/${header}" "${text}")
  cmake_path(GET header PARENT_PATH folder)
  file(INSTALL "${stageDir}/${header}" DESTINATION "${includeDir}/ostrane/${folder}")
endforeach()
