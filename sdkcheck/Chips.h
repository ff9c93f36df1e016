// The software ASIC as the SDK to check, in the shapes of chip that change what the library does.
#pragma once

#include <vector>

#include "softasic/ChipProfile.h"

namespace SdkCheck {

// "single": one pipe. "pipes": two pipes with two copies each, groups by preselector and of fixed
// width. "shared": three pipes that share their tables. "half": keys of two rows, one port a key.
const std::vector< SoftAsic::ChipProfile > & chips();

}  // namespace SdkCheck
