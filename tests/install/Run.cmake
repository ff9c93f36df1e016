# cmake -DBUILD=... -DSOURCE=... -DCOMPILER=... -DFLAGS=... -P Run.cmake
# Installs the library into an empty prefix, builds the outside project against it and runs it.
cmake_minimum_required(VERSION 3.25)

set(work ${BUILD}/install-test)
file(REMOVE_RECURSE ${work})
set(quiet COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${work}/prefix ${quiet})
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${work}/build
  -DCMAKE_PREFIX_PATH=${work}/prefix -DCMAKE_CXX_COMPILER=${COMPILER} "-DCMAKE_CXX_FLAGS=${FLAGS}"
  ${quiet})
execute_process(COMMAND ${CMAKE_COMMAND} --build ${work}/build ${quiet})
execute_process(COMMAND ${work}/build/outside OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
if(NOT output STREQUAL "entry 0x10003 installed 0 checker 1\n0 entries left\ntraces 1 1\n")
  message(FATAL_ERROR "the outside program wrote: ${output}")
endif()
# The examples, with the testing kit; their own tests compare what they write. The first one covers
# what further flags change.
set(target all)
set(pattern examples)
if(FLAGS)
  set(target first_entry)
  set(pattern first_entry)
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE}/../../examples/code -B ${work}/examples
  -DCMAKE_PREFIX_PATH=${work}/prefix -DCMAKE_CXX_COMPILER=${COMPILER} "-DCMAKE_CXX_FLAGS=${FLAGS}"
  ${quiet})
execute_process(COMMAND ${CMAKE_COMMAND} --build ${work}/examples --target ${target} ${quiet})
execute_process(COMMAND ${CMAKE_CTEST_COMMAND} --test-dir ${work}/examples -R ${pattern} --output-on-failure
  --no-tests=error COMMAND_ERROR_IS_FATAL ANY)
# pkg-config finds the same library and kit, without the prefix in its files.
find_program(pkgconfig pkg-config REQUIRED)
file(GLOB_RECURSE pc ${work}/prefix/*/morvane-tcam-testing.pc)
cmake_path(GET pc PARENT_PATH pc)
execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc}
  ${pkgconfig} --cflags --libs morvane-tcam-testing OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(output UNIX_COMMAND "${output}")
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
execute_process(COMMAND ${COMPILER} ${flags} -std=c++20 ${SOURCE}/../../examples/code/first_entry.cpp
  ${output} -Wl,-rpath,${pc}/.. -o ${work}/by_pkgconfig COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} -DPROGRAM=${work}/by_pkgconfig
  -DEXPECTED=${SOURCE}/../../examples/code/output/first_entry.txt
  -P ${SOURCE}/../../examples/code/Compare.cmake ${quiet})
# A component that there is not is refused by name.
file(WRITE ${work}/component/CMakeLists.txt "cmake_minimum_required(VERSION 3.25)\n"
  "project(Component LANGUAGES CXX)\n"
  "find_package(MorvaneTcamManager REQUIRED COMPONENTS Nonsense)\n")
execute_process(COMMAND ${CMAKE_COMMAND} -S ${work}/component -B ${work}/component/build
  -DCMAKE_PREFIX_PATH=${work}/prefix -DCMAKE_CXX_COMPILER=${COMPILER} "-DCMAKE_CXX_FLAGS=${FLAGS}"
  OUTPUT_QUIET ERROR_VARIABLE output RESULT_VARIABLE result)
if(result EQUAL 0 OR NOT output MATCHES "no component Nonsense")
  message(FATAL_ERROR "an unknown component ended with ${result}: ${output}")
endif()
# The example binding, built on its own, passes its checks; what its chip lacks is no failure.
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE}/../../examples/binding -B ${work}/binding
  -DCMAKE_PREFIX_PATH=${work}/prefix -DCMAKE_CXX_COMPILER=${COMPILER} "-DCMAKE_CXX_FLAGS=${FLAGS}"
  "-DCMAKE_C_FLAGS=${FLAGS}" ${quiet})
execute_process(COMMAND ${CMAKE_COMMAND} --build ${work}/binding ${quiet})
execute_process(COMMAND ${work}/prefix/bin/morvane-sdk-check --sdk ./libexample.so
  WORKING_DIRECTORY ${work}/binding OUTPUT_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT output MATCHES "ok +copy\n.*not supported +policer-states .*, 0 failed, ")
  message(FATAL_ERROR "the check of the example binding ended with ${result}: ${output}")
endif()
# The library runs on it, as on the software ASIC: here without range checkers.
execute_process(COMMAND ${work}/build/outside ${work}/binding/libexample.so
  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
if(NOT output STREQUAL "entry 0x10003 installed 0 checker 0\n0 entries left\ntraces 1 1\n")
  message(FATAL_ERROR "the outside program wrote on the example binding: ${output}")
endif()
# A binding of another interface version is refused.
execute_process(COMMAND ${work}/prefix/bin/morvane-sdk-check --sdk ./libother_version.so
  WORKING_DIRECTORY ${work}/build OUTPUT_QUIET ERROR_VARIABLE output RESULT_VARIABLE result)
if(NOT result EQUAL 2 OR NOT output MATCHES
   "^morvane-sdk-check: ./libother_version.so: has SDK interface version 0x[0-9a-f]+, not this program's 0x[0-9a-f]+; build it again\n$")
  message(FATAL_ERROR "the check of another version ended with ${result}: ${output}")
endif()
# The installed commands find their library, wherever the prefix is moved to.
file(RENAME ${work}/prefix ${work}/moved)
execute_process(COMMAND ${work}/moved/bin/morvane-tcam platforms ${quiet})
execute_process(COMMAND ${work}/moved/bin/morvane-sdk-check --chip pipes ${quiet})
