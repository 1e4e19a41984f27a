# Options that every target of this project is compiled with.
option(KVR_SANITIZE "Address and undefined behaviour sanitizers" OFF)
option(KVR_SANITIZE_THREADS "Thread sanitizer" OFF)
option(KVR_COVERAGE "Line and branch coverage" OFF)
option(KVR_FUZZ "Fuzz targets of clang's libFuzzer, in place of the tests that run kept inputs" OFF)

add_compile_options(-Wall -Wextra -Wpedantic -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # It sees overlaps in "text" + std::string where there are none.
  add_compile_options(-Wno-restrict)
endif()
if(KVR_FUZZ)
  # What the fuzzer and the sanitizer bring stands in the program, libraries find it there.
  add_compile_options(-fsanitize=fuzzer-no-link)
else()
  add_link_options(-Wl,--no-undefined)
endif()
include_directories(${CMAKE_SOURCE_DIR})

if(KVR_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND NOT KVR_FUZZ)
    # One sanitizer for the program and its libraries; the compiler alone knows where it is.
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
                    OUTPUT_VARIABLE runtime_dir OUTPUT_STRIP_TRAILING_WHITESPACE)
    add_link_options(-shared-libasan -Wl,-rpath,${runtime_dir})
  endif()
endif()
if(KVR_SANITIZE_THREADS)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
if(KVR_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()
