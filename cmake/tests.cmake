find_package(GTest REQUIRED)
enable_testing()

# kvr_add_test(name [OWN_PROCESSES] [HOST_ONLY] sources...)
# One test program, linked with the module's logic and the embedded host; with HOST_ONLY without the
# logic. With OWN_PROCESSES each of its tests runs in a process of its own, for tests of process-wide
# state.
function(kvr_add_test name)
  cmake_parse_arguments(ARG "OWN_PROCESSES;HOST_ONLY" "" "" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE vormel_embedded kvr_test_support GTest::gmock
                                        GTest::gtest GTest::gtest_main)
  if(NOT ARG_HOST_ONLY)
    target_link_libraries(${name} PRIVATE kvr_logic)
  endif()
  if(ARG_OWN_PROCESSES)
    include(GoogleTest)
    gtest_discover_tests(${name})
  else()
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
  endif()
endfunction()
