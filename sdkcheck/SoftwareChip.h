// The SDK that is checked if no library is named: a software ASIC. A build with an SDK's own header
// has none (NoSoftwareChip.cpp).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "shim/SdkShim.h"

namespace SdkCheck {

// Empty: there is no software ASIC.
std::vector< std::string > softwareChips();

// With the chip as the unit.
std::unique_ptr< Shim::SdkShim > softwareChip( const std::string & chip, Kiv::U32 unit );

}  // namespace SdkCheck
