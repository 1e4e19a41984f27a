# Options that every target of this project is compiled with, and no target of a parent project.
if(PROJECT_IS_TOP_LEVEL)
  add_compile_options(-Wall -Wextra -Wpedantic)
endif()
if(KVRNTOB_WERROR)
  add_compile_options(-Werror)
endif()
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

if(KVRNTOB_CCACHE)
  find_program(CCACHE ccache)
  if(CCACHE)
    # What a precompiled header was made of is compared, not when it was made. Copies of this folder
    # find what was compiled in it.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros
        CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} ${CCACHE})
  endif()
endif()
