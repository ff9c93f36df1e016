# The testing kit: what programs need that test code above the library without a switch. The software
# ASIC, platform files, records of SDK calls and the auditor, in one static library.
set(kit_floors softasic sdktext sdkrecord platform audit)
set(kit_headers softasic sdktext sdkrecord platform agent/verify/audit)

add_library(MorvaneTcamTesting STATIC)
foreach(floor IN LISTS kit_floors)
  target_sources(MorvaneTcamTesting PRIVATE $<TARGET_OBJECTS:${floor}>)
endforeach()
if(MORVANE_M32)
  target_sources(MorvaneTcamTesting PRIVATE $<TARGET_OBJECTS:morvane_fmt>)
  set(fmt_for_pc)
else()
  target_link_libraries(MorvaneTcamTesting PRIVATE fmt::fmt)
  set(fmt_for_pc ", fmt")
endif()
set_target_properties(MorvaneTcamTesting PROPERTIES LINKER_LANGUAGE CXX EXPORT_NAME Testing)
target_link_libraries(MorvaneTcamTesting PUBLIC MorvaneTcamManager)
add_library(Morvane::Testing ALIAS MorvaneTcamTesting)

install(TARGETS MorvaneTcamTesting EXPORT MorvaneTcamTestingTargets)
install(EXPORT MorvaneTcamTestingTargets NAMESPACE Morvane::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/MorvaneTcamManager)
foreach(folder IN LISTS kit_headers)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder}/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/morvane-tcam/${folder}
    FILES_MATCHING PATTERN "*.h" PATTERN data EXCLUDE)
endforeach()
morvane_pkgconfig(morvane-tcam-testing)
