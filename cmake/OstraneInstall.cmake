# What `cmake --install` puts in place: libraries, public headers, the program with its man page and
# the shells' completion, and the package `Ostrane` with its targets Ostrane::contracts, ::common,
# ::log, ::expr and ::record.

include(CMakePackageConfigHelpers)

set(packageDir "${CMAKE_INSTALL_LIBDIR}/cmake/Ostrane")

foreach(name contracts common log expr record)
  if(TARGET ostrane_${name})
    install(TARGETS ostrane_${name} EXPORT OstraneTargets
            ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
  endif()
endforeach()
install(EXPORT OstraneTargets NAMESPACE Ostrane:: DESTINATION "${packageDir}")
if(TARGET ostrane)
  install(TARGETS ostrane RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
  set(wordsDir "${PROJECT_BINARY_DIR}/words")
  install(FILES "${wordsDir}/ostrane.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
  install(FILES "${wordsDir}/ostrane" DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
  install(FILES "${wordsDir}/_ostrane" DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
endif()

# In the tree a header of src/expr says "common/expr.h", from the root src/. Installed it says
# "ostrane/common/expr.h", from the root include/, so that a `common` folder of the consumer never
# stands in for ours and one include path serves all. Headers of src/common name their siblings bare
# and are installed as they are.
install(CODE "
  set(sourceDir \"${PROJECT_SOURCE_DIR}/src\")
  set(stageDir \"${PROJECT_BINARY_DIR}/installed-headers\")
  set(includeDir \"${CMAKE_INSTALL_INCLUDEDIR}\")
  include(\"${CMAKE_CURRENT_LIST_DIR}/InstallHeaders.cmake\")
")

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/OstraneConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/OstraneConfig.cmake" INSTALL_DESTINATION "${packageDir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/OstraneConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/OstraneConfig.cmake" "${PROJECT_BINARY_DIR}/OstraneConfigVersion.cmake"
        DESTINATION "${packageDir}")

# For builds without CMake: `pkg-config --cflags --libs ostrane`. The libraries stand in the order of use.
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH packagePrefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" packagePrefix "${packagePrefix}")
  configure_file("${CMAKE_CURRENT_LIST_DIR}/ostrane.pc.in" "${PROJECT_BINARY_DIR}/ostrane.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/ostrane.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endif()
