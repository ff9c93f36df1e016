# Additional agent tests: the command, and runs on real rule sets.
target_compile_definitions(agent_test PRIVATE
  MORVANE_TCAM="$<TARGET_FILE:morvane-tcam>" MORVANE_TEST_DATA="${MORVANE_TEST_DATA}"
  MORVANE_EXAMPLES="${PROJECT_SOURCE_DIR}/examples"
  MORVANE_COMPLETE="${CMAKE_CURRENT_LIST_DIR}/complete")
add_library(test_binding MODULE agent/Binding.cpp)
target_link_libraries(test_binding PRIVATE platform softasic MorvaneTcamManager)
target_compile_definitions(agent_test PRIVATE
  MORVANE_TEST_BINDING_FILE="$<TARGET_FILE:test_binding>")
add_dependencies(agent_test morvane-tcam morvane-sdk-check test_binding)

# morvane_real_set( platform set ports entries )
function(morvane_real_set platform set ports entries)
  set(name agent/real/${set}-${platform}-${ports})
  add_test(NAME ${name} COMMAND ${CMAKE_COMMAND}
    -DCOMMAND=$<TARGET_FILE:morvane-tcam> -DPLATFORM=${platform}
    -DACL=${MORVANE_TEST_DATA}/classbench/${set} -DPORTS=${ports} -DENTRIES=${entries}
    -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/RealSet.cmake)
  set_tests_properties(${name} PROPERTIES
    LABELS real TIMEOUT 300 SKIP_REGULAR_EXPRESSION "rule set is absent")
endfunction()

foreach(platform small shared large)
  morvane_real_set(${platform} acl1_1k expand 1307)
  morvane_real_set(${platform} ipc1_1k expand 1289)
endforeach()
morvane_real_set(large fw1_1k expand 2737)
morvane_real_set(large fw1_1k auto 857)
morvane_real_set(large acl4_1k expand 1633)
morvane_real_set(large fw4_1k expand 4627)
morvane_real_set(large acl4_10k expand 15689)

# The examples in examples/, on every built-in platform. The 32-bit build reads no captures.
if(NOT MORVANE_M32)
  set(overlay --packets ${PROJECT_SOURCE_DIR}/examples/overlay.pcap)
endif()
file(GLOB formats CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/examples
  ${PROJECT_SOURCE_DIR}/examples/formats/*)
foreach(platform small shared large)
  foreach(example mirror-inner.json vxlan-flows.json ${formats})
    add_test(NAME agent/example/${example}-${platform} COMMAND morvane-tcam run
      --platform ${platform} --acl ${PROJECT_SOURCE_DIR}/examples/${example}
      ${overlay} --random 1000 --verify)
  endforeach()
endforeach()

add_test(NAME agent/ManualPages COMMAND ${CMAKE_COMMAND} -DPAGES=${PROJECT_BINARY_DIR}/share/man
  -DSOURCE=${PROJECT_SOURCE_DIR} -P ${CMAKE_CURRENT_LIST_DIR}/ManualPages.cmake)
set_tests_properties(agent/ManualPages PROPERTIES SKIP_REGULAR_EXPRESSION "mandoc is absent")
