# The floors of the house: each folder may use only what stands below it.

# Floors below this level make up the shared library.
set(MORVANE_LIBRARY_LEVELS 5)

# morvane_floor( NAME name LEVEL number [SOURCES file...] [USES floor...] )
# Makes the folder's target. A floor that uses one of its own level or above does not configure.
# Floors of the library do not link each other: the shared library (or, for tests, the static one)
# is linked as a whole by whoever makes a program.
function(morvane_floor)
  cmake_parse_arguments(FLOOR "" "NAME;LEVEL" "SOURCES;USES" ${ARGN})
  if(FLOOR_SOURCES)
    add_library(${FLOOR_NAME} STATIC ${FLOOR_SOURCES})
    set(scope PUBLIC)
    target_link_libraries(${FLOOR_NAME} PUBLIC morvane_build)
    set_target_properties(${FLOOR_NAME} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  else()
    add_library(${FLOOR_NAME} INTERFACE)
    set(scope INTERFACE)
  endif()
  set_property(GLOBAL PROPERTY MORVANE_LEVEL_${FLOOR_NAME} ${FLOOR_LEVEL})
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
