find_package(GTest REQUIRED)
enable_testing()

# GoogleTest's headers, parsed once for all tests: they are half of what most of these compile.
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/kvr_test_headers.cpp CONTENT "int main() {}\n")
add_executable(kvr_test_headers EXCLUDE_FROM_ALL ${PROJECT_BINARY_DIR}/kvr_test_headers.cpp)
target_compile_options(kvr_test_headers PRIVATE -O0)
target_link_libraries(kvr_test_headers PRIVATE GTest::gmock GTest::gtest)
target_precompile_headers(kvr_test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)

# kvr_add_test(name [OWN_PROCESSES] [HOST_ONLY | STANDALONE] [OWN_MAIN] sources...)
# One test program, linked with the module's logic and the embedded host; with HOST_ONLY without the
# logic, with STANDALONE without both. With OWN_PROCESSES each of its tests runs in a process of its
# own, for tests of process-wide state. With OWN_MAIN one of the sources has a main function.
function(kvr_add_test name)
  cmake_parse_arguments(ARG "OWN_PROCESSES;HOST_ONLY;STANDALONE;OWN_MAIN" "" "" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  # What is tested is optimized in full; the tests themselves compile in half the time this way.
  target_compile_options(${name} PRIVATE -O0)
  target_link_libraries(${name} PRIVATE GTest::gmock GTest::gtest)
  target_precompile_headers(${name} REUSE_FROM kvr_test_headers)
  if(NOT ARG_OWN_MAIN)
    target_link_libraries(${name} PRIVATE GTest::gtest_main)
  endif()
  if(NOT ARG_STANDALONE)
    target_link_libraries(${name} PRIVATE vormel_embedded kvr_test_support)
    if(NOT ARG_HOST_ONLY)
      target_link_libraries(${name} PRIVATE kvr_logic)
    endif()
  endif()
  if(ARG_OWN_PROCESSES)
    include(GoogleTest)
    gtest_discover_tests(${name})
  else()
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  endif()
endfunction()

# kvr_add_python_tests([WITHOUT_SANITIZER file...]): a test of CTest for each file test_*.py of the
# current folder. The named files run no C++ of ours, or in a program that the sanitizer cannot watch:
# they are left out under it.
function(kvr_add_python_tests)
  cmake_parse_arguments(ARG "" "" "WITHOUT_SANITIZER" ${ARGN})
  set(environment PYTHONPATH=${PROJECT_BINARY_DIR}/python PYTHONDONTWRITEBYTECODE=1)
  if(KVR_SANITIZE)
    # The interpreter is built without the sanitizer, and keeps memory to its end. The sanitizer
    # looks for what it intercepts, exceptions too, before the package brings the C++ library.
    set(sanitizer libasan.so)
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
      set(sanitizer libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so)
    endif()
    foreach(library ${sanitizer} libstdc++.so)
      execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
                      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
      list(APPEND preloaded ${path})
    endforeach()
    list(JOIN preloaded ":" preloaded)
    list(APPEND environment LD_PRELOAD=${preloaded}
         "ASAN_OPTIONS=detect_leaks=0:allocator_may_return_null=1")
  endif()
  file(GLOB test_files RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS test_*.py)
  if(KVR_SANITIZE)
    list(REMOVE_ITEM test_files ${ARG_WITHOUT_SANITIZER})
  endif()
  foreach(file ${test_files})
    get_filename_component(name ${file} NAME_WE)
    add_test(NAME python_${name}
             COMMAND ${Python3_EXECUTABLE} -m pytest -q -p no:cacheprovider
                     ${CMAKE_CURRENT_SOURCE_DIR}/${file})
    set_tests_properties(python_${name} PROPERTIES ENVIRONMENT "${environment}")
  endforeach()
endfunction()
