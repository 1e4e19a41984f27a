# Options that every target of this project is compiled with.
option(KVR_SANITIZE "Address and undefined behaviour sanitizers" OFF)
option(KVR_COVERAGE "Line and branch coverage" OFF)

add_compile_options(-Wall -Wextra -Wpedantic -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # It sees overlaps in "text" + std::string where there are none.
  add_compile_options(-Wno-restrict)
endif()
add_link_options(-Wl,--no-undefined)
include_directories(${CMAKE_SOURCE_DIR})

if(KVR_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    add_link_options(-shared-libasan)
  endif()
endif()
if(KVR_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()
