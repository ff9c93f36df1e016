# The target morvane_fmt: fmt in this build's word size.
find_package(fmt REQUIRED)
if(MORVANE_M32)
  # The package has no library of this word size; header-only costs seconds a source.
  get_target_property(fmt_headers fmt::fmt INTERFACE_INCLUDE_DIRECTORIES)
  add_library(morvane_fmt STATIC cmake/Fmt.cpp)
  target_include_directories(morvane_fmt SYSTEM PUBLIC ${fmt_headers})
else()
  add_library(morvane_fmt INTERFACE)
  target_link_libraries(morvane_fmt INTERFACE fmt::fmt)
endif()
