# The header that declares the SDK's records, enumerations and codes. shim/SdkTypes.h includes it by
# way of shim/SdkConfig.h. A generated one takes the place of the source tree's and is installed with
# the library: what is built with the package sees the same declarations.
set(MORVANE_SDK_HEADER "" CACHE STRING
    "Header of the SDK that declares its records, as in #include; empty: the library's own")
set(MORVANE_SDK_INCLUDE "" CACHE STRING "Folders in which the SDK's headers are found")
set(MORVANE_SDK_ADAPTER "" CACHE FILEPATH "Header that says how the SDK's records differ")

set(sdk_config_folder ${PROJECT_BINARY_DIR}/include/shim)
set(sdk_config_headers)
if(MORVANE_SDK_HEADER)
  find_file(sdk_header ${MORVANE_SDK_HEADER} PATHS ${MORVANE_SDK_INCLUDE} NO_CACHE)
  if(NOT sdk_header)
    message(FATAL_ERROR "MORVANE_SDK_HEADER: ${MORVANE_SDK_HEADER} is not in MORVANE_SDK_INCLUDE "
            "(${MORVANE_SDK_INCLUDE})")
  endif()
  message(STATUS "Records of the SDK: ${sdk_header}. Only the library and "
          "morvane-sdk-check are built; the rest needs the library's own records")
  list(APPEND sdk_config_headers ${sdk_config_folder}/SdkConfig.h)
elseif(MORVANE_SDK_ADAPTER OR MORVANE_SDK_INCLUDE)
  message(FATAL_ERROR "MORVANE_SDK_ADAPTER and MORVANE_SDK_INCLUDE need MORVANE_SDK_HEADER")
endif()
set(sdk_adapter)
if(MORVANE_SDK_ADAPTER)
  set(sdk_adapter shim/SdkAdapter.h)
  configure_file(${MORVANE_SDK_ADAPTER} ${sdk_config_folder}/SdkAdapter.h COPYONLY)
  list(APPEND sdk_config_headers ${sdk_config_folder}/SdkAdapter.h)
endif()
if(MORVANE_SDK_HEADER)
  configure_file(cmake/SdkConfig.h.in ${sdk_config_folder}/SdkConfig.h @ONLY)
else()  # the build folder may have been configured with one before
  file(REMOVE ${sdk_config_folder}/SdkConfig.h ${sdk_config_folder}/SdkAdapter.h)
endif()

# For pkg-config; CMake packages find the folders in the configuration.
list(TRANSFORM MORVANE_SDK_INCLUDE PREPEND " -isystem " OUTPUT_VARIABLE sdk_cflags)
list(JOIN sdk_cflags "" sdk_cflags)
