# Applies OSTRANE_SANITIZE and, for the fuzz targets, coverage to everything that is built below.

if(OSTRANE_SANITIZE)
  list(JOIN OSTRANE_SANITIZE "," names)
  # The first report ends the program, so that no test passes over one.
  add_compile_options(-fsanitize=${names} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
  add_link_options(-fsanitize=${names})
endif()

if(OSTRANE_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "The fuzz targets need clang++; configure with -DCMAKE_CXX_COMPILER=clang++")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
