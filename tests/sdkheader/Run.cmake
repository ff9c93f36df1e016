# cmake -DBUILD=... -DPROJECT=... -DCOMPILER=... -DLAUNCHER=... -DGENERATOR=... -P Run.cmake
# Compiles the library with the header of an SDK that has other records, installs it, and runs a
# program and the checks on that SDK.
cmake_minimum_required(VERSION 3.25)
set(WORK ${BUILD}/sdkheader-test)
include(${CMAKE_CURRENT_LIST_DIR}/../Outside.cmake)
set(source ${PROJECT}/tests/sdkheader)
file(COPY ${source}/sdk DESTINATION ${WORK})

execute_process(COMMAND ${CMAKE_COMMAND} -S ${PROJECT} -B ${WORK}/library -G ${GENERATOR}
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}
  -DCMAKE_CXX_FLAGS_RELEASE=-O0 -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=64
  -DMORVANE_SDK_HEADER=kelmor_field.h -DMORVANE_SDK_INCLUDE=${WORK}/sdk
  -DMORVANE_SDK_ADAPTER=${source}/KelmorFields.h ${quiet})
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/library ${quiet})
install_from(${WORK}/library)
build_outside(${source} ${WORK}/program)
check_output(${WORK}/program/program ${source}/expected.txt)

# The checks, with the SDK's own records and codes.
set(checks ${WORK}/prefix/bin/morvane-sdk-check --sdk ${WORK}/program/libchip.so)
check("the checks" 0 "\n11 ok, 0 failed, 0 not" ${checks} properties ports capacity-record capacity-use
  group-create group-duplicate group-status group-priorities entry-taken policer-values data-full)
check("a check that fails" 1
  "entry-states +bcm_field_entry_reinstall unit=0 entry=0x10001: expected [^\n]* -9 .BCM_E_RESOURCE. and -12 .BCM_E_UNAVAIL., got -12 "
  ${checks} entry-states)
check("checks without a library" 2 "--sdk is missing" ${WORK}/prefix/bin/morvane-sdk-check)

# The other order of headers, with the flags of pkg-config.
compile_with_pkgconfig(morvane-tcam-manager ${WORK}/by_pkgconfig -DVENDOR_FIRST ${source}/main.cpp
  ${WORK}/program/libkelmor.a)
check_output(${WORK}/by_pkgconfig ${source}/expected.txt)

# Where the SDK has moved, the package says what it misses, and takes the new place.
file(RENAME ${WORK}/sdk ${WORK}/moved)
configuring(configure ${source} ${WORK}/program)
check("configuring without the SDK's header" failure "compiled with kelmor_field.h" ${configure})
execute_process(COMMAND ${configure} -DMorvaneTcamManager_SDK_INCLUDE=${WORK}/moved ${quiet})
