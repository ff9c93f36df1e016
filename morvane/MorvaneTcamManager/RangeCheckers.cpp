#include "morvane/MorvaneTcamManager/RangeCheckers.h"

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

U32 RangeCheckers::get( const RangeCheckerDesc & desc ) {
  // A range of outer VLANs would miss untagged packets there: ranges have no twins.
  if ( ( desc.rangeFlags() & BCM_FIELD_RANGE_OUTERVLAN ) != 0 &&
       Shim::sdkShim().kelmor_field_shared_by_pipes( unit_ ) )
    return 0;
  Rollback rollback( manager_ );
  if ( !manager_.rangeCheckerHas( desc ) )
    rollback.addRecord(
        [ manager = &manager_, key = &desc ] { manager->rangeCheckerDel( *key ); } );
  const Kiv::ValidPtr< RangeCheckerData > data = manager_.rangeCheckerIs( desc );
  U32 id = data->unitId( unit_ );
  if ( id == 0 )
    id = create( desc, *data );
  rollback.commit();
  if ( id != 0 )
    data->unitRefCountInc( unit_, 1 );
  return id;
}

U32 RangeCheckers::create( const RangeCheckerDesc & desc, RangeCheckerData & data ) {
  const U32 unit = unit_;
  bcm_field_range_t id{};
  const int rc =
      SDK_CALL( bcm_field_range_create( unit, &id, desc.rangeFlags(), desc.low(), desc.high() ) );
  FP_COMMAND() << "fp range create " << id << " " << desc.rangeFlags() << " " << desc.low() << " "
               << desc.high();
  // Running out of checkers is normal; every other failure is a fault.
  if ( rc == BCM_E_RESOURCE ) {
    manager_.rangeCheckersExhaustedIs( unit, true );
    return 0;
  }
  SDK_RESULT( rc );
  data.unitIdIs( unit, id );
  return id;
}

void RangeCheckers::release( const RangeCheckerDesc & desc ) {
  const Kiv::Ptr< RangeCheckerData > data = manager_.rangeChecker( desc );
  KIV_ASSERT( data );
  const U32 unit = unit_;
  KIV_ASSERT( data->unitRefCount( unit ) > 0 );
  if ( data->unitRefCountInc( unit, -1 ) != 0 )
    return;
  Release release( manager_, unit );
  release.add( { cleanupDestroyRange, data->unitId( unit ) } );
  data->unitIdDel( unit );
  if ( data->unitIdSize() == 0 )
    manager_.rangeCheckerDel( desc );
  manager_.rangeCheckersExhaustedIs( unit, false );
  release.run();
}

}  // namespace Morvane
