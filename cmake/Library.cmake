# The shared library, linked from its floors, and its installation.
set(library_floors kiv snaptrace shim morvane)
set(library_headers kiv Fru snaptrace shim morvane)

list(JOIN library_floors "," floors)
add_library(MorvaneTcamManager SHARED)
foreach(floor IN LISTS library_floors)
  target_sources(MorvaneTcamManager PRIVATE $<TARGET_OBJECTS:${floor}>)
endforeach()
set_target_properties(MorvaneTcamManager PROPERTIES
  LINKER_LANGUAGE CXX
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  EXPORT_NAME TcamManager)
target_link_libraries(MorvaneTcamManager PUBLIC Threads::Threads)
# Which names are exported, of those that KIV_API lets out.
set(exported_names)
foreach(namespace 3Fru 3Kiv 4Shim 7Morvane 9Snaptrace)
  foreach(kind N NK TVN TIN TSN TTN THN TWN TCN GVN "Th*_N" "Tv*_N")
    string(APPEND exported_names "    _Z${kind}${namespace}*;\n")
  endforeach()
endforeach()
configure_file(cmake/Library.map.in ${PROJECT_BINARY_DIR}/Library.map @ONLY)
target_link_options(MorvaneTcamManager PRIVATE
  -Wl,--version-script=${PROJECT_BINARY_DIR}/Library.map)
# clang has the sanitizers' functions in programs only.
if(NOT (MORVANE_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES Clang))
  target_link_options(MorvaneTcamManager PRIVATE -Wl,-z,defs)
endif()
set_target_properties(MorvaneTcamManager PROPERTIES
  LINK_DEPENDS ${PROJECT_BINARY_DIR}/Library.map)
target_include_directories(MorvaneTcamManager INTERFACE
  $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/morvane-tcam>)
target_include_directories(MorvaneTcamManager SYSTEM INTERFACE
  $<BUILD_INTERFACE:${MORVANE_SDK_INCLUDE}>)
target_compile_features(MorvaneTcamManager INTERFACE cxx_std_20)
add_library(Morvane::TcamManager ALIAS MorvaneTcamManager)

# The same floors for tests and benchmarks, which use internal symbols.
add_library(morvane_static INTERFACE)
target_link_libraries(morvane_static INTERFACE
  morvane_build "$<LINK_GROUP:RESCAN,${floors}>")

install(TARGETS MorvaneTcamManager EXPORT MorvaneTcamManagerTargets)
install(EXPORT MorvaneTcamManagerTargets NAMESPACE Morvane::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/MorvaneTcamManager)
foreach(folder IN LISTS library_headers)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/morvane-tcam
    FILES_MATCHING PATTERN "*.h" PATTERN "*.inc" REGEX "/MorvaneTcam[A-Za-z]*$" EXCLUDE)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/include/morvane/Version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/morvane-tcam/morvane)
install(FILES ${sdk_config_headers}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/morvane-tcam/shim)
morvane_pkgconfig(morvane-tcam-manager)

# The agent's command finds the library under any prefix.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

include(CMakePackageConfigHelpers)
configure_package_config_file(cmake/MorvaneTcamManagerConfig.cmake.in
  ${PROJECT_BINARY_DIR}/MorvaneTcamManagerConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/MorvaneTcamManager)
# CMake determined the word size without -m32; the package needs the real one.
block()
  if(MORVANE_M32)
    set(CMAKE_SIZEOF_VOID_P 4)
  endif()
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/MorvaneTcamManagerConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
endblock()
install(FILES
  ${PROJECT_BINARY_DIR}/MorvaneTcamManagerConfig.cmake
  ${PROJECT_BINARY_DIR}/MorvaneTcamManagerConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/MorvaneTcamManager)
