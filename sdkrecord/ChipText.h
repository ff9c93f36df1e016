// The shape of a software ASIC as lines of a record: one for the chip, one for each stage.
#pragma once

#include <string>

#include "sdkrecord/Words.h"
#include "softasic/ChipProfile.h"

namespace SdkRecord {

// With line ends
std::string chipText( U32 unit, SoftAsic::ChipProfile chip );

// What follows the first word of such a line. Throw FormError.
SoftAsic::ChipProfile readChip( Words & words, U32 & unit );
SoftAsic::StageProfile readStage( Words & words, U32 & unit );

}  // namespace SdkRecord
