# Copies libkerna.so (LIB) into the folder of a module (DIR) and runs PROBE, a program without a
# run path of its own, with that copy preloaded: the module is found only if the library finds
# modules beside itself.
file(COPY_FILE ${LIB} ${DIR}/libkerna.so.0)
execute_process(COMMAND ${CMAKE_COMMAND} -E env LD_PRELOAD=${DIR}/libkerna.so.0 ${PROBE}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
message(STATUS "${out}${err}")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "a module beside ${DIR}/libkerna.so.0 was not found")
endif()
