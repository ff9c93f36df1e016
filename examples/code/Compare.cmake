# cmake -DPROGRAM=... -DEXPECTED=... -P Compare.cmake
# Runs the program; it must succeed and write what the file holds.
execute_process(COMMAND ${PROGRAM} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
file(READ ${EXPECTED} expected)
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "${PROGRAM} wrote:\n${output}expected:\n${expected}")
endif()
