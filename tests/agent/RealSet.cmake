# Runs the command on a real rule set and checks its report.
if(NOT EXISTS ${ACL})
  message("rule set is absent: ${ACL}")
  return()
endif()
execute_process(
  COMMAND ${COMMAND} run --platform ${PLATFORM} --acl ${ACL} --ports ${PORTS}
          --random 10000 --seed 7 --verify --json
  OUTPUT_VARIABLE report ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "exit status ${status}: ${errors}")
endif()
function(expect value)
  string(JSON found GET "${report}" ${ARGN})
  if(NOT found STREQUAL value)
    message(FATAL_ERROR "${ARGN} is ${found}, not ${value}")
  endif()
endfunction()
expect(${ENTRIES} acls 0 entries)
expect(${ENTRIES} acls 0 installed)
expect(10000 packets total)
expect(0 packets mismatches)
