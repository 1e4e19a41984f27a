# What cmake --install puts where, below the prefix:
#   lib/<multiarch>          libraries; development files: names for the linker, cmake/kvrntob
#   lib/<multiarch>/kvrntob  the module, where the host library looks for it
#   include/kvrntob          headers
#   lib/python3/dist-packages, bin   the Python packages, the command kvr
# Three components: module, development, python. Libraries find one another relative to themselves,
# so that a tree may be moved.
include(CMakePackageConfigHelpers)

if(CMAKE_LIBRARY_ARCHITECTURE AND NOT DEFINED CMAKE_INSTALL_LIBDIR)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE STRING "Libraries, below the prefix")
endif()
include(GNUInstallDirs)
set(KVRNTOB_PYTHON_DIR lib/python3/dist-packages
    CACHE STRING "The Python packages, below the prefix")
set(module_dir ${CMAKE_INSTALL_LIBDIR}/kvrntob)
set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kvrntob)

# kvr_install_library(target): a public library and its headers.
function(kvr_install_library target)
  install(TARGETS ${target} EXPORT kvrntob
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT module
          NAMELINK_COMPONENT development)
  get_target_property(headers ${target} KVR_HEADERS)
  foreach(header ${headers})
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION include/kvrntob/${folder}
            COMPONENT development)
  endforeach()
endfunction()

get_property(libraries GLOBAL PROPERTY KVR_PUBLIC_LIBRARIES)
foreach(library ${libraries})
  kvr_install_library(${library})
endforeach()

set_target_properties(kvrntob PROPERTIES INSTALL_RPATH "$ORIGIN/..")
install(TARGETS kvrntob EXPORT kvrntob LIBRARY DESTINATION ${module_dir} COMPONENT module)
# What the module's methods are called and mean, beside it; made with the module.
install(FILES ${PROJECT_BINARY_DIR}/kvrntob.json DESTINATION ${module_dir} COMPONENT module OPTIONAL)

# ---- find_package(kvrntob) ----

install(EXPORT kvrntob NAMESPACE kvrntob:: FILE kvrntobTargets.cmake DESTINATION ${config_dir}
        COMPONENT development)
file(CONFIGURE OUTPUT kvrntobConfig.cmake @ONLY CONTENT [=[
include(${CMAKE_CURRENT_LIST_DIR}/kvrntobTargets.cmake)
foreach(component IN LISTS kvrntob_FIND_COMPONENTS)
  if(TARGET kvrntob::${component})
    set(kvrntob_${component}_FOUND TRUE)
  elseif(kvrntob_FIND_REQUIRED_${component})
    set(kvrntob_FOUND FALSE)
    set(kvrntob_NOT_FOUND_MESSAGE "There is no component ${component} in this installation.")
  endif()
endforeach()
]=])
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/kvrntobConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kvrntobConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/kvrntobConfigVersion.cmake
        DESTINATION ${config_dir} COMPONENT development)

# ---- Python ----

if(NOT KVRNTOB_BUILD_PYTHON)
  return()
endif()

# kvr_install_package(name extension): a package, its extension, and what the build made for it.
function(kvr_install_package name extension)
  set(package_dir ${KVRNTOB_PYTHON_DIR}/${name})
  file(RELATIVE_PATH libraries /${package_dir} /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(${extension} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
  install(TARGETS ${extension} LIBRARY DESTINATION ${package_dir} COMPONENT python)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/${name}/ DESTINATION ${package_dir}
          COMPONENT python
          PATTERN __pycache__ EXCLUDE
          PATTERN CMakeLists.txt EXCLUDE
          REGEX "/python/${name}/(src|bin)$" EXCLUDE)
endfunction()
kvr_install_package(vormel _vormel)
kvr_install_package(kvr _kvr)
if(KVRNTOB_BUILD_PAGE)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/python/kvr/_page DESTINATION ${KVRNTOB_PYTHON_DIR}/kvr
          COMPONENT python)
endif()

# The package vormel loads the module that it finds in its own folder.
file(RELATIVE_PATH module_from_package /${KVRNTOB_PYTHON_DIR}/vormel /${module_dir})
set(link ${CMAKE_CURRENT_BINARY_DIR}/installed/kvrntob.so)
file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/installed)
file(CREATE_LINK ${module_from_package}/kvrntob.so ${link} SYMBOLIC)
install(FILES ${link} DESTINATION ${KVRNTOB_PYTHON_DIR}/vormel COMPONENT python)
install(FILES ${PROJECT_BINARY_DIR}/kvrntob.json DESTINATION ${KVRNTOB_PYTHON_DIR}/vormel
        COMPONENT python OPTIONAL)
# Type stubs that the build makes from the module's tables.
install(DIRECTORY ${KVR_PACKAGE_DIR}/ DESTINATION ${KVRNTOB_PYTHON_DIR}/vormel COMPONENT python
        FILES_MATCHING PATTERN "*.pyi" PATTERN __pycache__ EXCLUDE)

set(KVR_PACKAGES ${KVRNTOB_PYTHON_DIR})
configure_file(${PROJECT_SOURCE_DIR}/python/kvr/bin/kvr.in ${CMAKE_CURRENT_BINARY_DIR}/installed/kvr
               @ONLY USE_SOURCE_PERMISSIONS)
install(PROGRAMS ${CMAKE_CURRENT_BINARY_DIR}/installed/kvr DESTINATION bin COMPONENT python)
