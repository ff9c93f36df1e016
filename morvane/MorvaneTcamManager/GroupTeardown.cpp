// Giving groups back: references, preselectors, and the hardware group with its last user.

#include <exception>

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

void MorvaneTcamGroupManager::uninitializeGroup( U32 unit, U32 groupId ) {
  std::exception_ptr broken;
  for ( const PipeCopy c : pipeCopies( unit, groupId ) )
    giveBackReference( unit, c.pipeGroup, broken );
  if ( broken )
    std::rethrow_exception( broken );
}

void MorvaneTcamGroupManager::giveBackReferences( U32 unit, const GroupReferences & taken ) {
  std::exception_ptr broken;
  for ( const U32 pipeGroupId : taken )
    giveBackReference( unit, pipeGroupId, broken );
  if ( broken )
    std::rethrow_exception( broken );
}

void MorvaneTcamGroupManager::giveBackReference( U32 unit, U32 pipeGroupId,
                                                 std::exception_ptr & broken ) {
  try {
    uninitializeTcamGroup( unit, pipeGroupId, true );
  } catch ( ... ) {
    if ( groupCountsIs( pipeGroupId )->unitRefCount( unit ) > 0 )
      throw;
    broken = std::current_exception();
  }
}

void MorvaneTcamGroupManager::uninitializeTcamGroup( U32 unit, U32 pipeGroupId, bool releaseUdf ) {
  const Kiv::ValidPtr< GroupCounts > counts = groupCountsIs( pipeGroupId );
  const S32 count = counts->unitRefCountHas( unit ) ? counts->unitRefCount( unit ) - 1 : -1;
  counts->unitRefCountIs( unit, count );
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " group " << pipeGroupId
                              << " ref count is now " << count;
  if ( count != 0 )
    return;
  // An activity that makes the group anew meanwhile destroys what is marked, and the mark.
  const UnitGroupId key{ unit, pipeGroupId };
  if ( groupIdToPreselIdHas( key ) )
    preselectorLeftIs( key, true );
  try {
    destroyPipeGroup( unit, pipeGroupId );
  } catch ( ... ) {
    // The hardware group is still there.
    preselectorLeftDel( key );
    counts->unitRefCountIs( unit, 1 );
    throw;
  }
  if ( preselectorLeft( key ) )
    doDestroyGroupPreselId( unit, pipeGroupId );

  // No copy that lives matches on a qualifier that is gone.
  if ( releaseUdf && !groupExists( unit, tcamNumberBits.get( pipeGroupId ) ) )
    releaseUdfQualifiers( unit, pipeGroupId );
}

void MorvaneTcamGroupManager::releaseUdfQualifiers( U32 unit, U32 pipeGroupId ) {
  const U8 key = static_cast< U8 >( pipeGroupId );
  if ( groupOpenFlowVxlanAclUdfValid( key ) || groupOpenFlowAclUdfValid( key ) )
    destroyOpenFlowUdfQualifiers( unit, pipeGroupId );
  if ( groupMirroringAclUdfValid( key ) )
    uninitializeMirroringUdfQualifiers( unit, pipeGroupId );
}

void MorvaneTcamGroupManager::destroyPipeGroup( U32 unit, U32 pipeGroupId ) {
  for ( auto it = entryManagerIterConst(); it; ++it )
    it.member()->compressEntries( unit );
  for ( auto it = unboundedEntryManagerIterConst(); it; ++it )
    it.member()->compressEntries( unit );

  const U32 groupId = pipeGroupId;
  if ( managedPriority( pipeGroupId ) ) {
    SDK_UNCHECKED( bcm_field_group_compress( unit, groupId ) );
    FP_COMMAND() << "fp group compress " << groupId;
  }
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " Destroying group " << groupId;
  SDK_CHECKED( bcm_field_group_destroy( unit, groupId ) );
  FP_COMMAND() << "fp group destroy " << groupId;
}

void MorvaneTcamGroupManager::doStoreGroupPreselId( U32 unit, U32 groupId, U32 preselId ) {
  groupIdToPreselIdIs( { unit, groupId }, preselId );
}

void MorvaneTcamGroupManager::doDestroyGroupPreselId( U32 unit, U32 groupId ) {
  const UnitGroupId key{ unit, groupId };
  if ( !groupIdToPreselIdHas( key ) )
    return;
  const U32 preselId = groupIdToPreselId( key );
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " doDestroyGroupPreselId " << preselId;
  try {
    SDK_CHECKED( bcm_field_presel_destroy( unit, preselId ) );
  } catch ( ... ) {
    preselectorLeftIs( key, true );
    throw;
  }
  preselectorLeftDel( key );
  groupIdToPreselIdDel( key );
}

}  // namespace Morvane
