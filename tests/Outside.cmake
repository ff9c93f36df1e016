# For tests that install the library and use it from outside the project: WORK, an empty folder, and
# what is done there. COMPILER and FLAGS are those of the outside programs.
set(quiet COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
file(REMOVE_RECURSE ${WORK})
find_program(pkgconfig pkg-config REQUIRED)
separate_arguments(flags UNIX_COMMAND "${FLAGS}")

# install_from( BUILD ): into the prefix of the folder.
function(install_from build)
  execute_process(COMMAND ${CMAKE_COMMAND} --install ${build} --prefix ${WORK}/prefix ${quiet})
endfunction()

# The command that configures an outside project.
function(configuring out source build)
  set(${out} ${CMAKE_COMMAND} -S ${source} -B ${build} -DCMAKE_PREFIX_PATH=${WORK}/prefix
    -DCMAKE_CXX_COMPILER=${COMPILER}
    "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_C_FLAGS=${FLAGS}" --no-warn-unused-cli PARENT_SCOPE)
endfunction()

# build_outside( SOURCE BUILD [options of the build] )
function(build_outside source build)
  configuring(configure ${source} ${build})
  execute_process(COMMAND ${configure} ${quiet})
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${build} ${ARGN} ${quiet})
endfunction()

# compile_with_pkgconfig( PACKAGE PROGRAM [sources and options of the compiler] ): without CMake.
function(compile_with_pkgconfig package program)
  file(GLOB_RECURSE pc ${WORK}/prefix/*/${package}.pc)
  cmake_path(GET pc PARENT_PATH pc)
  execute_process(COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc} ${pkgconfig} --cflags --libs ${package}
    OUTPUT_VARIABLE of_package COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(of_package UNIX_COMMAND "${of_package}")
  execute_process(COMMAND ${COMPILER} ${flags} -std=c++20 ${ARGN} ${of_package} -Wl,-rpath,${pc}/.. -o ${program}
    ${quiet})
endfunction()

# check_output( PROGRAM FILE ): the program writes what the file has.
function(check_output program expected)
  execute_process(COMMAND ${CMAKE_COMMAND} -DPROGRAM=${program} -DEXPECTED=${expected}
    -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../examples/code/Compare.cmake ${quiet})
endfunction()

# check( WHAT RESULT PATTERN COMMAND... ): the command ends with the result and writes what matches.
function(check what expected pattern)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
  if(expected STREQUAL failure AND NOT result EQUAL 0)
    set(result failure)
  endif()
  if(NOT result STREQUAL expected OR NOT output MATCHES "${pattern}")
    message(FATAL_ERROR "${what} ended with ${result}: ${output}")
  endif()
endfunction()
