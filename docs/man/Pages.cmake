# Manual pages of the file formats, from the documents.
find_program(MORVANE_AWK awk)
if(NOT MORVANE_AWK)
  message(STATUS "There is no awk: manual pages of the file formats are left out")
  return()
endif()

set(format_pages
  "rules=docs/rules-file.md=rules files, access lists in JSON"
  "formats=docs/formats.md=formats of access lists"
  "platform=platform/README.md=platform files, chips and their groups in JSON"
  "packets=docs/packets.md=packets in words, traces and captures"
  "records=docs/records-of-calls.md=records of SDK calls"
  "shell=docs/shell.md=commands and scripts of the shell")

# What links between the documents name.
foreach(page IN LISTS format_pages)
  string(REGEX MATCH "^([^=]*)=([^=]*)=(.*)" page "${page}")
  set(name morvane-${CMAKE_MATCH_1}\(5\))
  string(APPEND all_pages " ${name}")
  string(REGEX REPLACE "^docs/" "" link ${CMAKE_MATCH_2})
  string(APPEND linked_pages " ${link}=${name}")
endforeach()

set(page_folder ${PROJECT_BINARY_DIR}/share/man/man5)
file(MAKE_DIRECTORY ${page_folder})
foreach(page IN LISTS format_pages)
  string(REGEX MATCH "^([^=]*)=([^=]*)=(.*)" page "${page}")
  set(name morvane-${CMAKE_MATCH_1})
  string(REPLACE " ${name}(5)" "" others "${all_pages}")
  add_custom_command(OUTPUT ${page_folder}/${name}.5
    COMMAND ${MORVANE_AWK} -v name=${name} -v section=5 -v "what=${CMAKE_MATCH_3}"
      -v date=${MORVANE_DATE} -v version=${PROJECT_VERSION} -v "pages=${linked_pages}"
      -v "also=morvane-tcam(1)${others}" -f ${CMAKE_CURRENT_LIST_DIR}/page.awk ${CMAKE_MATCH_2}
      > ${page_folder}/${name}.5
    DEPENDS ${CMAKE_CURRENT_LIST_DIR}/page.awk ${PROJECT_SOURCE_DIR}/${CMAKE_MATCH_2}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
  list(APPEND written_pages ${page_folder}/${name}.5)
endforeach()
install(FILES ${written_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)
add_custom_target(manual_pages ALL DEPENDS ${written_pages})
