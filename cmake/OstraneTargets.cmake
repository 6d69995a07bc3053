# Helpers that every folder's CMakeLists.txt uses.

# Warnings for our own code; OSTRANE_WERROR makes them errors.
add_library(ostrane_warnings INTERFACE)
target_compile_options(ostrane_warnings INTERFACE -Wall -Wextra -Wshadow -Wconversion
                       $<$<BOOL:${OSTRANE_WERROR}>:-Werror>)

# ostrane_library(NAME SOURCES... ) makes the static library ostrane_NAME, exported as Ostrane::NAME.
function(ostrane_library name)
  add_library(ostrane_${name} STATIC ${ARGN})
  add_library(Ostrane::${name} ALIAS ostrane_${name})
  set_target_properties(ostrane_${name} PROPERTIES EXPORT_NAME ${name} POSITION_INDEPENDENT_CODE ON)
  target_link_libraries(ostrane_${name} PRIVATE $<BUILD_INTERFACE:ostrane_warnings>)
endfunction()

# ostrane_test(NAME SOURCES... [LIBS TARGETS...] [LABEL LABEL]) makes the test program NAME from
# GoogleTest sources. The label `threads` says that threads meet in it: `dev check` runs it under the
# thread sanitizer too.
function(ostrane_test name)
  cmake_parse_arguments(arg "" "LABEL" "LIBS" ${ARGN})
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} ostrane_warnings GTest::gtest GTest::gmock GTest::gtest_main)
  set(properties TIMEOUT 600)
  if(arg_LABEL)
    list(APPEND properties LABELS ${arg_LABEL})
    # One target a label, to build its programs alone.
    if(NOT TARGET ostrane_tests_${arg_LABEL})
      add_custom_target(ostrane_tests_${arg_LABEL})
    endif()
    add_dependencies(ostrane_tests_${arg_LABEL} ${name})
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 PROPERTIES ${properties})
endfunction()
