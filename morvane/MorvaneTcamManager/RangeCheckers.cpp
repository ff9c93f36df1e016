// Shared range checkers: one in hardware per interval, flags and unit, while it has users.

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

U32 MorvaneTcamGroupManager::getRangeChecker( U32 unit, RangeCheckerDesc desc ) {
  const Kiv::ValidPtr< RangeCheckerData > data = rangeCheckerIs( desc );
  // A checker without users is about to be destroyed by the activity that gave it back last.
  if ( data->unitRefCount( unit ) == 0 || data->unitId( unit ) == 0 )
    return createRangeChecker( unit, desc );
  data->unitRefCountInc( unit, 1 );
  return data->unitId( unit );
}

U32 MorvaneTcamGroupManager::createRangeChecker( U32 unit, RangeCheckerDesc desc ) {
  bcm_field_range_t id = 0;
  int rc;
  try {
    rc =
        SDK_CALL( bcm_field_range_create( unit, &id, desc.rangeFlags(), desc.low(), desc.high() ) );
  } catch ( ... ) {
    dropUnusedRangeChecker( desc );
    throw;
  }
  FP_COMMAND() << "fp range create " << id << " " << desc.rangeFlags() << " " << desc.low() << " "
               << desc.high();
  // No checker left is what clients are ready for; every other failure is a fault.
  if ( rc == BCM_E_RESOURCE ) {
    rangeCheckersExhaustedIs( unit, true );
    return 0;
  }
  SDK_RESULT( rc );
  // Meanwhile the record may have gone, or another activity may have made a checker as well.
  const Kiv::ValidPtr< RangeCheckerData > data = rangeCheckerIs( desc );
  if ( data->unitRefCount( unit ) != 0 ) {
    SDK_CHECKED( bcm_field_range_destroy( unit, id ) );
    return getRangeChecker( unit, desc );
  }
  data->unitIdIs( unit, id );
  data->unitRefCountInc( unit, 1 );
  return id;
}

void MorvaneTcamGroupManager::releaseRangeChecker( U32 unit, RangeCheckerDesc desc ) {
  const Kiv::Ptr< RangeCheckerData > data = rangeChecker( desc );
  KIV_ASSERT( data );
  KIV_ASSERT( data->unitRefCount( unit ) > 0 );
  if ( data->unitRefCountInc( unit, -1 ) != 0 )
    return;
  const U32 id = data->unitId( unit );
  try {
    SDK_CHECKED( bcm_field_range_destroy( unit, data->unitId( unit ) ) );
  } catch ( ... ) {
    // The checker is still there, and its user's.
    data->unitRefCountInc( unit, 1 );
    throw;
  }
  FP_COMMAND() << "fp range destroy " << id;
  // A checker that another activity made meanwhile, and which may have the same id, stays.
  if ( data->unitRefCount( unit ) == 0 )
    data->unitIdDel( unit );
  rangeCheckersExhaustedIs( unit, false );
  if ( rangeChecker( desc ).rawPtr_ == data.rawPtr_ )
    dropUnusedRangeChecker( desc );
}

// Removes the record when no unit has a checker for it.
void MorvaneTcamGroupManager::dropUnusedRangeChecker( RangeCheckerDesc desc ) {
  const Kiv::Ptr< RangeCheckerData > data = rangeChecker( desc );
  if ( data && data->unitIdSize() == 0 )
    rangeCheckerDel( desc );
}

U32 MorvaneTcamEntryManager::getRangeChecker( U32 unit, RangeCheckerDesc desc ) {
  return groupManager()->getRangeChecker( unit, desc );
}

void MorvaneTcamEntryManager::releaseRangeChecker( U32 unit, RangeCheckerDesc desc ) {
  groupManager()->releaseRangeChecker( unit, desc );
}

bool MorvaneTcamEntryManager::rangeCheckersExhausted( U32 unit ) const {
  return groupManager()->rangeCheckersExhausted( unit );
}

}  // namespace Morvane
