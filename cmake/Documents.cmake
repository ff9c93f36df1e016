# Documents, examples and platform files, installed beside the commands and the library.
install(FILES README.md ARCHITECTURE.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md" PATTERN "*.svg"
  PATTERN man EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN "*.py" EXCLUDE)
install(DIRECTORY platform/data/ DESTINATION ${CMAKE_INSTALL_DATADIR}/morvane-tcam/platforms)
install(FILES platform/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME platforms.md)
