# Run at install time with sourceDir, stageDir and includeDir set: copies the public headers to
# include/ostrane/, their includes rewritten to that place.

set(publicHeaders)
foreach(pattern common/*.h log/*.h expr/parse_context.h expr/statement.h record/*.h)
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
