// The ASIC's capacity record, as all its readers take it. Internal.
#pragma once

#include "kiv/Types.h"
#include "shim/SdkTypes.h"

namespace Morvane {

using namespace Kiv::Integers;

// Asserts that the record keeps its bounds, and corrects what a chip whose ingress keys take two
// rows of a slice says of its ingress stage.
void checkCapacity( U32 unit, kelmor_tcam_capacity_info_t & info );

// Free entries, and entries in use, in all slices of a stage.
S32 freeEntries( const kelmor_tcam_stage_info_t & stage );
U32 usedEntries( const kelmor_tcam_stage_info_t & stage );

}  // namespace Morvane
