# Fails unless every test program was made with tests/support/TestMain.cpp and forbids setting
# the machine's clock: each program in PROGRAMS ("|"-separated paths) must run the main's own
# check test and pass it.
#   cmake -DPROGRAMS="a|b" -P CheckTestMain.cmake
string(REPLACE "|" ";" programs "${PROGRAMS}")
set(failed "")
foreach(program ${programs})
  execute_process(
    COMMAND ${program} --gtest_filter=KernaTestMain.ClockIsSimulatedAndRealSettingForbidden
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output TIMEOUT 60)
  if(NOT result EQUAL 0 OR NOT output MATCHES "\\[  PASSED  \\] 1 test")
    list(APPEND failed "${program}")
  endif()
endforeach()
list(LENGTH programs count)
if(failed)
  string(REPLACE ";" "\n  " failed "${failed}")
  message(FATAL_ERROR "test programs without the shared test main, or with real clock setting "
                      "allowed:\n  ${failed}")
endif()
message(STATUS "${count} test programs use the shared test main and forbid real clock setting")
