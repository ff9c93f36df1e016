# Layering: each folder is a floor with a level, and may use only floors of lower levels.

# Floors below this level form the shared library.
set(MORVANE_LIBRARY_LEVELS 5)

# The folder of a floor that holds a file, both relative to the project; empty: none so far.
function(morvane_folder_of file out)
  cmake_path(GET file PARENT_PATH folder)
  while(folder)
    get_property(known GLOBAL PROPERTY MORVANE_LEVEL_OF_${folder} SET)
    if(known)
      break()
    endif()
    cmake_path(GET folder PARENT_PATH folder)
  endwhile()
  set(${out} "${folder}" PARENT_SCOPE)
endfunction()

# Headers are found by their path in the project, linked or not: without this check a floor could
# include a header of any other.
function(morvane_check_includes name level folder)
  file(GLOB_RECURSE files RELATIVE ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/*.h
       ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  foreach(file IN LISTS files)
    morvane_folder_of(${file} own)
    if(NOT own STREQUAL folder)
      continue()
    endif()
    file(STRINGS ${PROJECT_SOURCE_DIR}/${file} lines REGEX "^#include \"[^\"]+/")
    list(TRANSFORM lines REPLACE "^#include \"([^\"]+)\".*" "\\1")
    foreach(header IN LISTS lines)
      morvane_folder_of(${header} used)
      if(NOT used AND MORVANE_SDK_HEADER)
        continue()  # of a floor that is not built, nor is the source
      endif()
      get_property(used_level GLOBAL PROPERTY MORVANE_LEVEL_OF_${used})
      if(NOT "${used}" STREQUAL folder AND NOT "${used_level}" LESS level)
        message(FATAL_ERROR "${file} of ${name} (level ${level}) must not include ${header}")
      endif()
    endforeach()
  endforeach()
endfunction()

# morvane_floor( NAME name LEVEL number [SOURCES file...] [USES floor...] )
# Creates the folder's target. Using a floor of the same or a higher level is a configuration error,
# and so is including its headers. Floors of the library do not link each other: programs link the
# whole library, shared or, for tests, static.
function(morvane_floor)
  cmake_parse_arguments(FLOOR "" "NAME;LEVEL" "SOURCES;USES" ${ARGN})
  if(FLOOR_SOURCES)
    add_library(${FLOOR_NAME} STATIC ${FLOOR_SOURCES})
    set(scope PUBLIC)
    target_link_libraries(${FLOOR_NAME} PUBLIC morvane_build)
    set_target_properties(${FLOOR_NAME} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    if(FLOOR_LEVEL LESS MORVANE_LIBRARY_LEVELS)
      # Nothing replaces the library's functions at run time, so that they can be inlined.
      # A bundle of sources may grow as much by it as they would one by one.
      target_compile_options(${FLOOR_NAME} PRIVATE -Wshadow -fno-semantic-interposition
        $<$<CXX_COMPILER_ID:GNU>:--param=inline-unit-growth=200>)
    endif()
  else()
    add_library(${FLOOR_NAME} INTERFACE)
    set(scope INTERFACE)
  endif()
  set_property(GLOBAL PROPERTY MORVANE_LEVEL_${FLOOR_NAME} ${FLOOR_LEVEL})
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR}
             OUTPUT_VARIABLE folder)
  set_property(GLOBAL PROPERTY MORVANE_LEVEL_OF_${folder} ${FLOOR_LEVEL})
  morvane_check_includes(${FLOOR_NAME} ${FLOOR_LEVEL} ${folder})
  foreach(used IN LISTS FLOOR_USES)
    get_property(level GLOBAL PROPERTY MORVANE_LEVEL_${used})
    if(level STREQUAL "")
      message(FATAL_ERROR "${FLOOR_NAME} uses ${used}, which is not a floor")
    endif()
    if(NOT level LESS FLOOR_LEVEL)
      message(FATAL_ERROR "${FLOOR_NAME} (level ${FLOOR_LEVEL}) must not use ${used} (level ${level})")
    endif()
    if(NOT level LESS MORVANE_LIBRARY_LEVELS)
      target_link_libraries(${FLOOR_NAME} ${scope} ${used})
    endif()
  endforeach()
endfunction()
