# Debian packages, made by cpack from the installed components: kvrntob (libraries and module),
# libkvrntob-dev, python3-kvrntob.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION
    ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_VENDOR "kvrntob developers")
set(CPACK_PACKAGE_CONTACT "kvrntob developers <developers@kvrntob.invalid>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL module development)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS module)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_MODULE_PACKAGE_NAME kvrntob)
set(CPACK_DEBIAN_MODULE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_MODULE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_MODULE_DESCRIPTION "repository of recorded signals for the host Vormel
The module keeps signals of many runs in memory, with the settings they are
displayed and compared with. An embedded host runs it without Vormel. This
package also holds the C++ libraries that compare and record signals.")

# Which package has which library, for packages made from programs that link them.
set(shlibs)
foreach(library ${libraries})
  string(APPEND shlibs
         "lib${library} ${PROJECT_VERSION_MAJOR} kvrntob (>= ${CPACK_PACKAGE_VERSION})\n")
endforeach()
file(CONFIGURE OUTPUT package/shlibs CONTENT "${shlibs}" @ONLY)
file(CONFIGURE OUTPUT package/triggers CONTENT "activate-noawait ldconfig\n" @ONLY)
set(CPACK_DEBIAN_MODULE_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/package/shlibs
    ${CMAKE_CURRENT_BINARY_DIR}/package/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkvrntob-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "repository of recorded signals - development files
Headers, libraries for the linker and the CMake package kvrntob.")

if(KVRNTOB_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_COMPONENT_PYTHON_DEPENDS module)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-kvrntob)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
  # The libraries of the package kvrntob, which the dependency between the components covers.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${KVR_PACKAGE_DIR} ${PROJECT_BINARY_DIR}/compare
      ${PROJECT_BINARY_DIR}/recording)
  find_package(Python3 REQUIRED COMPONENTS Interpreter Development.Module NumPy)
  math(EXPR next_minor "${Python3_VERSION_MINOR} + 1")
  list(GET Python3_NumPy_INCLUDE_DIRS 0 numpy)
  file(STRINGS ${numpy}/numpy/_numpyconfig.h numpy_abi REGEX "NPY_ABI_VERSION 0x")
  string(REGEX REPLACE ".*(0x[0-9A-Fa-f]+).*" "\\1" numpy_abi "${numpy_abi}")
  math(EXPR numpy_abi "${numpy_abi} & 0xffffff")
  string(CONCAT CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
         "python3 (>= 3.${Python3_VERSION_MINOR}), python3 (<< 3.${next_minor}), "
         "python3-numpy (>= 1:${Python3_NumPy_VERSION}), python3-numpy-abi${numpy_abi}")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS
      "python3-pandas, python3-starlette, python3-uvicorn")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-matplotlib, python3-xarray")
  set(CPACK_DEBIAN_PYTHON_DESCRIPTION "repository of recorded signals - Python packages
The package kvr stores, reads and compares runs of signals, the command kvr
does so on the command line. The package vormel calls the module directly.")
  foreach(moment "postinst configure py3compile" "prerm remove|upgrade|deconfigure py3clean")
    separate_arguments(moment)
    list(POP_FRONT moment script)
    list(POP_FRONT moment action)
    file(CONFIGURE OUTPUT package/${script} @ONLY CONTENT [=[#!/bin/sh
set -e
case "$1" in
  @action@) if command -v @moment@ >/dev/null; then @moment@ -p python3-kvrntob; fi ;;
esac
]=])
    file(CHMOD ${CMAKE_CURRENT_BINARY_DIR}/package/${script} PERMISSIONS
         OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    list(APPEND CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
         ${CMAKE_CURRENT_BINARY_DIR}/package/${script})
  endforeach()
endif()

# Packages use the system's library folders, so their files keep no search path; each package gets
# the documents that Debian expects.
file(CONFIGURE OUTPUT package/finish.cmake @ONLY CONTENT [=[
file(GLOB_RECURSE libraries LIST_DIRECTORIES false ${CPACK_TEMPORARY_DIRECTORY}/*.so
     ${CPACK_TEMPORARY_DIRECTORY}/*.so.*)
foreach(library ${libraries})
  if(NOT IS_SYMLINK ${library})
    file(RPATH_REMOVE FILE ${library})
  endif()
endforeach()
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
string(CONCAT changelog "kvrntob (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) "
       "bookworm; urgency=medium\n\n  * As changelog.gz says.\n\n -- ${CPACK_PACKAGE_CONTACT}  ${now}\n")
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} upper)
  set(documents ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share/doc)
  set(documents ${documents}/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(WRITE ${documents}/copyright "kvrntob\n\nCopyright 2026 kvrntob developers\n")
  execute_process(COMMAND gzip -9nc @PROJECT_SOURCE_DIR@/CHANGELOG.md
                  OUTPUT_FILE ${documents}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
  file(WRITE ${documents}/changelog.Debian "${changelog}")
  execute_process(COMMAND gzip -9n ${documents}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
endforeach()
]=])
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_BINARY_DIR}/package/finish.cmake)
include(CPack)
