// Checks and corrections of the ASIC's capacity record, for all its readers. Internal.
#pragma once

#include "kiv/Types.h"
#include "shim/SdkTypes.h"

namespace Morvane {

using namespace Kiv::Integers;

// Asserts the bounds of the record, and corrects the ingress stage of a chip whose ingress keys
// take two rows of a slice.
void checkCapacity( U32 unit, kelmor_tcam_capacity_info_t & info );

// Free entries, and entries in use, in all slices of a stage.
S32 freeEntries( const kelmor_tcam_stage_info_t & stage );
U32 usedEntries( const kelmor_tcam_stage_info_t & stage );

}  // namespace Morvane
