#include "morvane/MorvaneTcamCapacity/CapacityInfo.h"

#include "kiv/Assert.h"
#include "shim/SdkShim.h"

namespace Morvane {

namespace {

constexpr S32 ingressStage = 0;

// Size that an empty ingress slice reports on a chip whose ingress keys take two rows, and its real
// size.
constexpr S32 emptySliceReported = 512;
constexpr S32 emptySliceHolds = 256;

void halve( kelmor_tcam_stage_info_t & stage ) {
  stage.entries_total /= 2;
  for ( S32 j = 0; j < stage.slice_count; ++j ) {
    kelmor_tcam_slice_info_t & slice = stage.slice[ j ];
    if ( slice.entries_total == emptySliceReported && slice.entries_free == emptySliceReported )
      slice = { emptySliceHolds, emptySliceHolds };
  }
}

}  // namespace

void checkCapacity( U32 unit, kelmor_tcam_capacity_info_t & info ) {
  KIV_ASSERT( info.stage_count <= KELMOR_TCAM_STAGES_MAX );
  const bool halfSize = Shim::sdkShim().kelmor_field_ingress_half_size( unit );
  for ( S32 i = 0; i < info.stage_count; ++i ) {
    kelmor_tcam_stage_info_t & stage = info.stage[ i ];
    KIV_ASSERT( stage.slice_count <= KELMOR_TCAM_SLICES_MAX );
    if ( halfSize && stage.stage == ingressStage )
      halve( stage );
  }
}

S32 freeEntries( const kelmor_tcam_stage_info_t & stage ) {
  S32 free = 0;
  for ( S32 j = 0; j < stage.slice_count; ++j )
    free += stage.slice[ j ].entries_free;
  return free;
}

U32 usedEntries( const kelmor_tcam_stage_info_t & stage ) {
  U32 used = 0;
  for ( S32 j = 0; j < stage.slice_count; ++j )
    used += static_cast< U32 >( stage.slice[ j ].entries_total - stage.slice[ j ].entries_free );
  return used;
}

}  // namespace Morvane
