#include "morvane/MorvaneTcamCapacity/CapacityInfo.h"

#include "kiv/Assert.h"
#include "shim/SdkShim.h"

namespace Morvane {

using Shim::Fields;

namespace {

constexpr S32 ingressStage = 0;

// Size that an empty ingress slice reports on a chip whose ingress keys take two rows, and its real
// size.
constexpr S32 emptySliceReported = 512;
constexpr S32 emptySliceHolds = 256;

void halve( kelmor_tcam_stage_info_t & stage ) {
  Fields::stageTotalIs( stage, Fields::stageTotal( stage ) / 2 );
  for ( S32 j = 0; j < Fields::sliceCount( stage ); ++j ) {
    auto & slice = Fields::slice( stage, j );
    if ( Fields::sliceTotal( slice ) == emptySliceReported &&
         Fields::sliceFree( slice ) == emptySliceReported ) {
      Fields::sliceTotalIs( slice, emptySliceHolds );
      Fields::sliceFreeIs( slice, emptySliceHolds );
    }
  }
}

}  // namespace

void checkCapacity( U32 unit, kelmor_tcam_capacity_info_t & info ) {
  const S32 stage_count = Fields::stageCount( info );
  KIV_ASSERT( stage_count <= KELMOR_TCAM_STAGES_MAX );
  const bool halfSize = Shim::sdkShim().kelmor_field_ingress_half_size( unit );
  for ( S32 i = 0; i < stage_count; ++i ) {
    auto & stage = Fields::stage( info, i );
    const S32 slice_count = Fields::sliceCount( stage );
    KIV_ASSERT( slice_count <= KELMOR_TCAM_SLICES_MAX );
    if ( halfSize && Fields::stageNumber( stage ) == ingressStage )
      halve( stage );
  }
}

S32 freeEntries( const kelmor_tcam_stage_info_t & stage ) {
  S32 free = 0;
  for ( S32 j = 0; j < Fields::sliceCount( stage ); ++j )
    free += Fields::sliceFree( Fields::slice( stage, j ) );
  return free;
}

U32 usedEntries( const kelmor_tcam_stage_info_t & stage ) {
  U32 used = 0;
  for ( S32 j = 0; j < Fields::sliceCount( stage ); ++j ) {
    const auto & slice = Fields::slice( stage, j );
    used += static_cast< U32 >( Fields::sliceTotal( slice ) - Fields::sliceFree( slice ) );
  }
  return used;
}

}  // namespace Morvane
