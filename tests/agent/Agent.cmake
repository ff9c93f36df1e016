# What the agent's tests need beyond a test program: the command, and runs of it on real rule sets.
target_compile_definitions(agent_test PRIVATE MORVANE_TCAM="$<TARGET_FILE:morvane-tcam>")
add_dependencies(agent_test morvane-tcam)

# morvane_real_set( platform set entries )
function(morvane_real_set platform set entries)
  set(name agent/real/${set}-${platform})
  add_test(NAME ${name} COMMAND ${CMAKE_COMMAND}
    -DCOMMAND=$<TARGET_FILE:morvane-tcam> -DPLATFORM=${platform}
    -DACL=${MORVANE_TEST_DATA}/classbench/${set} -DENTRIES=${entries}
    -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/RealSet.cmake)
  set_tests_properties(${name} PROPERTIES
    LABELS real TIMEOUT 300 SKIP_REGULAR_EXPRESSION "rule set is absent")
endfunction()

foreach(platform small shared large)
  morvane_real_set(${platform} acl1_1k 1307)
  morvane_real_set(${platform} ipc1_1k 1289)
endforeach()
morvane_real_set(large fw1_1k 2737)
morvane_real_set(large acl4_10k 15689)
