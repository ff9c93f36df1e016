#include "sdkcheck/SoftwareChip.h"

namespace SdkCheck {

std::vector< std::string > softwareChips() {
  return {};
}

std::unique_ptr< Shim::SdkShim > softwareChip( const std::string &, Kiv::U32 ) {
  return nullptr;
}

}  // namespace SdkCheck
