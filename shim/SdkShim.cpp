#include "shim/SdkShim.h"

namespace Shim {

SdkShim * sdk_ = nullptr;

SdkShim::~SdkShim() = default;

const char * sdkOpName( SdkOp op ) {
  static constexpr const char * names[] = {
#define SDK_OP( name, params, args ) #name,
#include "shim/SdkOperations.inc"
  };
  return op < SdkOp::count ? names[ static_cast< U32 >( op ) ] : "unknown";
}

}  // namespace Shim
