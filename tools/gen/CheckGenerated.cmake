# CheckGenerated.cmake: fails when a committed generated file differs from what its generator
# writes today.
#
#   cmake -DPYTHON=python3 -DGENERATOR=gen.py -DCOMMITTED=file.cpp -DOUTPUT=tmp.cpp
#         -P CheckGenerated.cmake

foreach(var PYTHON GENERATOR COMMITTED OUTPUT)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "CheckGenerated.cmake: ${var} is not set")
  endif()
endforeach()

execute_process(COMMAND "${PYTHON}" "${GENERATOR}" "${OUTPUT}" RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${GENERATOR} failed: ${result}")
endif()
execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${COMMITTED}" "${OUTPUT}"
                RESULT_VARIABLE different)
if(different)
  message(FATAL_ERROR "${COMMITTED} is not what ${GENERATOR} writes (see ${OUTPUT}); "
                      "regenerate it and commit the result")
endif()
message(STATUS "${COMMITTED} is up to date")
