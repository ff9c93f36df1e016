// Bringing a group into existence on a unit, one reference at a time.

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/GroupBuilder.h"
#include "morvane/MorvaneTcamManager/OpenFlowGroup.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

bool MorvaneTcamGroupManager::initializeGroup( U32 unit, U32 group ) {
  GroupReferences taken;
  try {
    return initializeGroup( unit, group, taken );
  } catch ( ... ) {
    giveBackReferences( unit, taken );
    throw;
  }
}

bool MorvaneTcamGroupManager::initializeGroup( U32 unit, U32 group, GroupReferences & taken ) {
  const U8 key = static_cast< U8 >( group );
  if ( groupOpenFlowAclUdfValid( key ) || groupOpenFlowVxlanAclUdfValid( key ) )
    return OpenFlowGroup( *this, unit, group, taken ).create();
  // What a teardown that was broken off has left.
  if ( groupMirroringAclUdfValid( key ) && !groupExists( unit, group ) )
    releaseMirroringUdfs( unit, group );

  GroupBuilder builder( *this, unit, group, firstCreation );
  builder.makeQualifierSet();
  builder.prepare();
  const bool created = createCopies( builder, unit, group, taken );
  if ( !created )
    forgetMirroringAclType( group );
  return created;
}

bool MorvaneTcamGroupManager::createCopies( GroupBuilder & builder, U32 unit, U32 group,
                                            GroupReferences & taken ) {
  for ( const PipeCopy c : pipeCopies( unit, group ) ) {
    if ( referenceExisting( unit, group, c, taken ) )
      continue;
    const bool created = builder.create( c );
    const Kiv::ValidPtr< GroupCounts > counts = groupCountsIs( c.pipeGroup );
    counts->unitRefCountIs( unit, created ? 1 : 0 );
    if ( !created )
      return false;
    counts->unitAllocatedIs( unit, 0 );
    taken.add( c.pipeGroup );
    if ( builder.request().forUdf ) {
      const U32 pipeGroupId = c.pipeGroup;
      MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " group " << pipeGroupId
                                  << " ref count is now " << counts->unitRefCount( unit );
      SDK_UNCHECKED( bcm_field_group_dump( unit, pipeGroupId ) );
    }
  }
  return true;
}

bool MorvaneTcamGroupManager::groupExists( U32 unit, U32 groupId ) const {
  for ( const PipeCopy c : pipeCopies( unit, groupId ) ) {
    const Kiv::Ptr< GroupCounts > counts = groupCounts( c.pipeGroup );
    if ( counts && counts->unitRefCount( unit ) > 0 )
      return true;
  }
  return false;
}

// A group that lives on another unit goes on matching by its type.
void MorvaneTcamGroupManager::forgetMirroringAclType( U32 group ) {
  for ( auto unitIter = modChipInfoIterConst(); unitIter; ++unitIter )
    if ( groupExists( unitIter.key(), group ) )
      return;
  groupMirroringAclTypeIs( static_cast< U8 >( group ), -1 );
}

bool MorvaneTcamGroupManager::referenceExisting( U32 unit, U32 group, const PipeCopy & at,
                                                 GroupReferences & taken ) {
  const Kiv::Ptr< GroupCounts > counts = groupCounts( at.pipeGroup );
  if ( !counts || counts->unitRefCount( unit ) <= 0 )
    return false;
  // A mirroring group has one user, whose own books say how long it lives.
  if ( groupMirroringAclValid( static_cast< U8 >( group ) ) ) {
    MORVANE_TRACE( traceGroup ) << "Unit: " << unit
                                << " Not incrementing ref cnt for mirroring acl group "
                                << " pipe " << at.pipe << " group Id " << at.pipeGroup;
    return true;
  }
  counts->unitRefCountInc( unit, 1 );
  taken.add( at.pipeGroup );
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " group " << at.pipeGroup
                              << " ref count is now " << counts->unitRefCount( unit );
  return true;
}

}  // namespace Morvane
