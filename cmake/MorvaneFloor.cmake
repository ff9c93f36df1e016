# Layering: each folder is a floor with a level, and may use only floors of lower levels.

# Floors below this level form the shared library.
set(MORVANE_LIBRARY_LEVELS 5)

# morvane_floor( NAME name LEVEL number [SOURCES file...] [USES floor...] ) Creates the folder's
# target. Using a floor of the same or a higher level is a configuration error. Floors of the
# library do not link each other: programs link the whole library, shared or, for tests, static.
function(morvane_floor)
  cmake_parse_arguments(FLOOR "" "NAME;LEVEL" "SOURCES;USES" ${ARGN})
  if(FLOOR_SOURCES)
    add_library(${FLOOR_NAME} STATIC ${FLOOR_SOURCES})
    set(scope PUBLIC)
    target_link_libraries(${FLOOR_NAME} PUBLIC morvane_build)
    set_target_properties(${FLOOR_NAME} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    if(FLOOR_LEVEL LESS MORVANE_LIBRARY_LEVELS)
      target_compile_options(${FLOOR_NAME} PRIVATE -Wshadow)
    endif()
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
