# morvane_pkgconfig( name ) configures cmake/NAME.pc.in and installs it. The file finds its prefix
# from its own place.
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_folder} OUTPUT_VARIABLE prefix_from_pc)
function(morvane_pkgconfig name)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${pkgconfig_folder})
endfunction()
