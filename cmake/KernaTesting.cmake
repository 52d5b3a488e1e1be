# Helpers that add test programs, benchmarks and fuzzers in one uniform way.
find_package(GTest REQUIRED)
include(GoogleTest)

# kerna_add_test(<name> [INTERNAL] [CLIENT_CHECK] SOURCES src... [LIBS lib...])
#   One GoogleTest program; each test runs as its own CTest process, and the whole program runs
#   once more as one CTest entry, <name>.shuffled: every test in one process, in a shuffled order,
#   twice over, so that no test depends on another's leftovers or on a fresh process. INTERNAL
#   links the library's objects (for tests of internals); otherwise the program links libkerna.so
#   as a user does. Every program gets the shared main, which installs the simulated wall clock
#   before the first test and stops the client list's idle check unless CLIENT_CHECK is given.
function(kerna_add_test name)
  cmake_parse_arguments(T "INTERNAL;CLIENT_CHECK" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${T_SOURCES} ${PROJECT_SOURCE_DIR}/tests/support/TestMain.cpp)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  if(T_CLIENT_CHECK)
    target_compile_definitions(${name} PRIVATE KERNA_TEST_KEEP_CLIENT_CHECK)
  endif()
  if(T_INTERNAL)
    target_link_libraries(${name} PRIVATE kerna_obj)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src)
  else()
    target_link_libraries(${name} PRIVATE kerna)
  endif()
  target_link_libraries(${name} PRIVATE GTest::gtest GTest::gmock kerna_flags ${T_LIBS})
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
  add_test(NAME ${name}.shuffled COMMAND ${name} --gtest_shuffle --gtest_repeat=2)
  set_tests_properties(${name}.shuffled PROPERTIES TIMEOUT 1800)
endfunction()
