// A binding that was built for another version of the interface.
#include "shim/SdkPlugin.h"

extern "C" __attribute__( ( visibility( "default" ) ) ) Shim::SdkShim * morvane_sdk(
    Kiv::U32, Kiv::U32 * plugin ) {
  *plugin = Shim::sdkInterfaceVersion + 1;
  return nullptr;
}
