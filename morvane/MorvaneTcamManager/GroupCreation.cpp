// Bringing a group into existence on a unit, one reference at a time.

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/GroupBuilder.h"
#include "morvane/MorvaneTcamManager/Trace.h"

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
  stageIngressIs( group, true );
  if ( groupOpenFlowAclUdfValid( key ) || groupOpenFlowVxlanAclUdfValid( key ) )
    return createGroupOpenFlowAclUdf( unit, group );

  GroupBuilder builder( *this, unit, group );
  builder.makeQualifierSet();
  builder.prepare();
  for ( const PipeCopy c : pipeCopies( unit, group ) ) {
    if ( referenceExisting( unit, group, c, taken ) )
      continue;
    const bool created = builder.create( c );
    const Kiv::ValidPtr< GroupCounts > counts = groupCountsIs( c.pipeGroup );
    counts->unitRefCountIs( unit, created ? 1 : 0 );
    if ( !created ) {
      groupMirroringAclTypeIs( key, -1 );
      return false;
    }
    counts->unitAllocatedIs( unit, 0 );
    taken.add( c.pipeGroup );
  }
  return true;
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
