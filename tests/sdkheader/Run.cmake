# cmake -DBUILD=... -DPROJECT=... -DCOMPILER=... -DLAUNCHER=... -DGENERATOR=... -P Run.cmake
# Compiles the library with the header of an SDK that has other records, installs it, and runs a
# program on that SDK.
cmake_minimum_required(VERSION 3.25)

set(source ${PROJECT}/tests/sdkheader)
set(work ${BUILD}/sdkheader-test)
set(quiet COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
set(tools -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
file(REMOVE_RECURSE ${work})
file(COPY ${source}/sdk DESTINATION ${work})

execute_process(COMMAND ${CMAKE_COMMAND} -S ${PROJECT} -B ${work}/library ${tools}
  -DCMAKE_CXX_FLAGS_RELEASE=-O0 -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=64
  -DMORVANE_SDK_HEADER=kelmor_field.h -DMORVANE_SDK_INCLUDE=${work}/sdk
  -DMORVANE_SDK_ADAPTER=${source}/KelmorFields.h ${quiet})
execute_process(COMMAND ${CMAKE_COMMAND} --build ${work}/library ${quiet})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${work}/library --prefix ${work}/prefix ${quiet})

function(check_output program)
  execute_process(COMMAND ${CMAKE_COMMAND} -DPROGRAM=${program} -DEXPECTED=${source}/expected.txt
    -P ${PROJECT}/examples/code/Compare.cmake ${quiet})
endfunction()
set(outside ${CMAKE_COMMAND} -S ${source} -B ${work}/program ${tools} -DCMAKE_PREFIX_PATH=${work}/prefix)
execute_process(COMMAND ${outside} ${quiet})
execute_process(COMMAND ${CMAKE_COMMAND} --build ${work}/program ${quiet})
check_output(${work}/program/program)

# The other order of headers, with the flags of pkg-config.
find_program(pkgconfig pkg-config REQUIRED)
file(GLOB_RECURSE pc ${work}/prefix/*/morvane-tcam-manager.pc)
cmake_path(GET pc PARENT_PATH pc)
execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc}
  ${pkgconfig} --cflags --libs morvane-tcam-manager OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND ${COMPILER} -std=c++20 -DVENDOR_FIRST ${source}/main.cpp
  ${work}/program/libkelmor.a ${flags} -Wl,-rpath,${pc}/.. -o ${work}/by_pkgconfig ${quiet})
check_output(${work}/by_pkgconfig)

# Where the SDK has moved, the package says what it misses, and takes the new place.
file(RENAME ${work}/sdk ${work}/moved)
execute_process(COMMAND ${outside} OUTPUT_QUIET ERROR_VARIABLE output RESULT_VARIABLE result)
if(result EQUAL 0 OR NOT output MATCHES "compiled with kelmor_field.h")
  message(FATAL_ERROR "without the SDK's header, configuring ended with ${result}: ${output}")
endif()
execute_process(COMMAND ${outside} -DMorvaneTcamManager_SDK_INCLUDE=${work}/moved ${quiet})
