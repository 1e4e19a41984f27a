# The libraries that users link, under the names that an installation gives them too.

# kvr_public_library(target name headers...): makes target available as kvrntob::name. The headers,
# relative to the source root, are what users include; this project's headers that they include are added.
function(kvr_public_library target name)
  add_library(kvrntob::${name} ALIAS ${target})
  set_property(GLOBAL APPEND PROPERTY KVR_PUBLIC_LIBRARIES ${target})
  kvr_header_closure(headers ${ARGN})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name}
    VERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    KVR_HEADERS "${headers}")
  target_compile_features(${target} INTERFACE cxx_std_20)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                              $<INSTALL_INTERFACE:include/kvrntob>)
endfunction()

# kvr_header_closure(result headers...): the headers and what they include of this project. CMake
# runs again when one of them changes.
function(kvr_header_closure result)
  set(pending ${ARGN})
  set(found)
  while(pending)
    list(POP_FRONT pending header)
    if(header IN_LIST found)
      continue()
    endif()
    set(path ${PROJECT_SOURCE_DIR}/${header})
    if(NOT EXISTS ${path})
      message(FATAL_ERROR "There is no public header ${header}")
    endif()
    list(APPEND found ${header})
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
    file(STRINGS ${path} includes REGEX "^#include \"")
    list(TRANSFORM includes REPLACE "^#include \"([^\"]+)\".*" "\\1")
    list(APPEND pending ${includes})
  endwhile()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

# Another host needs every declaration that the module calls.
file(GLOB host_declarations RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS
     ${PROJECT_SOURCE_DIR}/kvrntob/host/*.h)
kvr_public_library(vormel_embedded host
  embedded_host/interpreter/interpreter.h embedded_host/messages/host_exception.h
  ${host_declarations})
kvr_public_library(kvr_compare compare compare/compare.h)
kvr_public_library(kvr_recording recording recording/recording.h)

# The file that a host loads: $<TARGET_FILE:kvrntob::module>.
add_library(kvrntob::module ALIAS kvrntob)
set_target_properties(kvrntob PROPERTIES EXPORT_NAME module)
