# What is built, and how. The defaults suit users; the presets turn on what developers need. As a
# subdirectory of another project only the libraries and the module are built.
include(CMakeDependentOption)

option(KVRNTOB_BUILD_PYTHON "The Python packages vormel and kvr" ${PROJECT_IS_TOP_LEVEL})
cmake_dependent_option(KVRNTOB_BUILD_PAGE "The page of the inspector and of reports; npm fetches its parts"
                       ON KVRNTOB_BUILD_PYTHON OFF)
option(KVRNTOB_INSTALL "Rules for cmake --install and cpack" ${PROJECT_IS_TOP_LEVEL})
option(KVRNTOB_WERROR "Treat warnings as errors" OFF)
option(KVRNTOB_CCACHE "Compile through ccache where it is installed" OFF)
cmake_dependent_option(KVRNTOB_BUILD_EXAMPLES "The C++ examples" OFF PROJECT_IS_TOP_LEVEL OFF)
cmake_dependent_option(KVRNTOB_BUILD_TESTS "The tests; they need GoogleTest and pytest" OFF
                       "PROJECT_IS_TOP_LEVEL;KVRNTOB_BUILD_PYTHON" OFF)
cmake_dependent_option(KVRNTOB_BUILD_BENCHMARKS
                       "The benchmarks, target kvr_benchmarks; they need Google Benchmark" OFF
                       "PROJECT_IS_TOP_LEVEL;KVRNTOB_BUILD_PYTHON" OFF)

option(KVR_SANITIZE "Address and undefined behaviour sanitizers" OFF)
option(KVR_SANITIZE_THREADS "Thread sanitizer" OFF)
option(KVR_COVERAGE "Line and branch coverage" OFF)
option(KVR_FUZZ "Fuzz targets of clang's libFuzzer, in place of the tests that run kept inputs" OFF)

# Debian's interpreter, whatever else is first in PATH: the extensions belong to its packages.
if(KVRNTOB_BUILD_PYTHON AND NOT DEFINED Python3_EXECUTABLE AND EXISTS /usr/bin/python3)
  set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "Interpreter of the Python packages")
endif()
