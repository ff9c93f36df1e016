# Sets MORVANE_DATE to the date of the version, as YYYY-MM-DD: that of the newest entry of
# debian/changelog, so that builds at other times write the same manual pages.
file(STRINGS ${PROJECT_SOURCE_DIR}/debian/changelog entry REGEX "^ -- " LIMIT_COUNT 1)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS debian/changelog)
if(NOT entry MATCHES " ([0-9][0-9]) ([A-Z][a-z][a-z]) ([0-9]+) [0-9:]+ [-+0-9]+$")
  message(FATAL_ERROR "debian/changelog: the newest entry has no date: ${entry}")
endif()
set(months Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec)
list(FIND months ${CMAKE_MATCH_2} month)
math(EXPR month "${month} + 101")  # two digits after the first
string(SUBSTRING ${month} 1 2 month)
set(MORVANE_DATE ${CMAKE_MATCH_3}-${month}-${CMAKE_MATCH_1})
