# Run at install time with sourceDir, stageDir and includeDir set: copies the public headers to
# includeDir/ostrane/, their includes rewritten to that place.

# The prefix is known only now: `cmake --install --prefix` may differ from the configured one.
cmake_path(ABSOLUTE_PATH includeDir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")

set(publicHeaders)
foreach(pattern common/*.h log/*.h expr/parse_context.h expr/statement.h expr/bound_filter.h record/*.h)
  file(GLOB found RELATIVE "${sourceDir}" "${sourceDir}/${pattern}")
  list(APPEND publicHeaders ${found})
endforeach()

foreach(header IN LISTS publicHeaders)
  file(READ "${sourceDir}/${header}" text)
  string(REGEX REPLACE "(#include \")(common|log|expr|record)/" "\\1ostrane/\\2/" text "${text}")
  file(WRITE "${stageDir}/${header}" "${text}")
  cmake_path(GET header PARENT_PATH folder)
  file(INSTALL "${stageDir}/${header}" DESTINATION "${includeDir}/ostrane/${folder}")
endforeach()
