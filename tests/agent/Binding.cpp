// A binding in a shared library: the chip of the platform small. It ends its process in the first
// installation of an entry if MORVANE_TEST_BINDING is set.

#include <cstdlib>

#include "platform/PlatformLoader.h"
#include "shim/SdkDecorator.h"
#include "shim/SdkPlugin.h"
#include "softasic/SoftAsic.h"

namespace {

SoftAsic::SoftAsic & chip() {
  static SoftAsic::SoftAsic asic;
  return asic;
}

class Binding : public Shim::SdkDecorator {
 public:
  Binding() : SdkDecorator( chip() ) {
    chip().addUnit( 0, Platform::loadPlatform( "small" ).chip );
  }
  int bcm_field_entry_install( Kiv::U32 unit, bcm_field_entry_t entry ) override {
    if ( std::getenv( "MORVANE_TEST_BINDING" ) != nullptr )
      std::abort();
    return next().bcm_field_entry_install( unit, entry );
  }
};

}  // namespace

MORVANE_SDK_PLUGIN( Binding )
