# cmake -DBUILD=... -DSOURCE=... -DCOMPILER=... -DFLAGS=... -P Run.cmake
# Installs the library into an empty prefix, builds the outside project against it and runs it.
cmake_minimum_required(VERSION 3.25)
set(WORK ${BUILD}/install-test)
include(${CMAKE_CURRENT_LIST_DIR}/../Outside.cmake)
set(examples ${SOURCE}/../../examples)

install_from(${BUILD})
# Headers only, and no folder without any.
file(GLOB_RECURSE installed LIST_DIRECTORIES true ${WORK}/prefix/*)
foreach(folder IN LISTS installed)
  file(GLOB content ${folder}/*)
  if(IS_DIRECTORY ${folder} AND NOT content)
    message(FATAL_ERROR "an empty folder is installed: ${folder}")
  endif()
endforeach()
build_outside(${SOURCE} ${WORK}/build)
check("the outside program" 0 "^entry 0x10003 installed 0 checker 1\n0 entries left\ntraces 1 1\n$"
  ${WORK}/build/outside)

# The examples, with the testing kit; their own tests compare what they write. The first one covers
# what further flags change.
set(target all)
set(pattern examples)
if(FLAGS)
  set(target first_entry)
  set(pattern first_entry)
endif()
build_outside(${examples}/code ${WORK}/examples --target ${target})
execute_process(COMMAND ${CMAKE_CTEST_COMMAND} --test-dir ${WORK}/examples -R ${pattern} --output-on-failure
  --no-tests=error COMMAND_ERROR_IS_FATAL ANY)
# pkg-config finds the same library and kit, without the prefix in its files.
compile_with_pkgconfig(morvane-tcam-testing ${WORK}/by_pkgconfig ${examples}/code/first_entry.cpp)
check_output(${WORK}/by_pkgconfig ${examples}/code/output/first_entry.txt)
# A component that there is not is refused by name.
file(WRITE ${WORK}/component/CMakeLists.txt "cmake_minimum_required(VERSION 3.25)\n"
  "project(Component LANGUAGES CXX)\n"
  "find_package(MorvaneTcamManager REQUIRED COMPONENTS Nonsense)\n")
configuring(configure ${WORK}/component ${WORK}/component/build)
check("an unknown component" failure "no component Nonsense" ${configure})

# The example binding, built on its own, passes its checks; what its chip lacks is no failure.
build_outside(${examples}/binding ${WORK}/binding)
set(binding ${WORK}/binding/libexample.so)
check("the check of the example binding" 0 "ok +copy\n.*not supported +policer-states .*, 0 failed, "
  ${WORK}/prefix/bin/morvane-sdk-check --sdk ${binding})
# The library runs on it, as on the software ASIC: here without range checkers. So does the agent, whose
# record of the calls is true of the binding.
check("the outside program on the example binding" 0
  "^entry 0x10003 installed 0 checker 0\n0 entries left\ntraces 1 1\n$" ${WORK}/build/outside ${binding})
file(WRITE ${WORK}/first.json "{ \"rules\": [ { \"destinationPorts\": 443, \"protocol\": \"tcp\" },
  { \"source\": \"10.0.0.0/8\", \"actions\": [ \"drop\" ] } ] }")
set(run ${WORK}/prefix/bin/morvane-tcam run --sdk ${binding} --acl ${WORK}/first.json --platform)
check("a run on the example binding" 0 "first +2 +2 +2 +yes" ${run} ${examples}/binding/tern.json
  --record ${WORK}/first.rec)
check("the replay on the example binding" 0 "" ${WORK}/prefix/bin/morvane-tcam replay ${WORK}/first.rec
  --sdk ${binding})
check("a run on the platform of another chip" 2
  "--sdk: kelmor_field_second_copy is false, but not of the platform large" ${run} large)
check("a run with packets" 2 "need the software ASIC" ${run} ${examples}/binding/tern.json --random 1)
# A binding of another interface version is refused.
check("the check of another version" 2
  "^morvane-sdk-check: [^\n]*/libother_version.so: has SDK interface version 0x[0-9a-f]+, not this program's 0x[0-9a-f]+; build it again\n$"
  ${WORK}/prefix/bin/morvane-sdk-check --sdk ${WORK}/build/libother_version.so)

# The installed commands find their library, wherever the prefix is moved to.
file(RENAME ${WORK}/prefix ${WORK}/moved)
check("the moved command" 0 "large" ${WORK}/moved/bin/morvane-tcam platforms)
check("the moved checks" 0 " 0 failed" ${WORK}/moved/bin/morvane-sdk-check --chip pipes)
