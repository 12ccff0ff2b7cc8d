# Compiler and linker flags of every target.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(TAVRO_WARNINGS_ARE_ERRORS)
  add_compile_options(-Werror)
endif()
if(TAVRO_SANITIZE)
  add_compile_options(-fsanitize=${TAVRO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TAVRO_SANITIZE})
  # What g++ says of the standard library once a sanitizer has rewritten it; the plain builds say it
  # where it is true.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
endif()
if(TAVRO_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()
# Clang with a sanitizer leaves its runtime's symbols open in shared libraries.
if(NOT (TAVRO_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
  add_link_options(-Wl,--no-undefined)
endif()
# What the fuzzer learns its way by; the runtime that reads it is linked into the fuzz targets alone.
if(TAVRO_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
