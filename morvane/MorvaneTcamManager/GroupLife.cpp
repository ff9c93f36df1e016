#include "morvane/MorvaneTcamManager/GroupLife.h"

#include <algorithm>

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/GroupBuilder.h"
#include "morvane/MorvaneTcamManager/Managers.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/FlowGroup.h"
#include "morvane/MorvaneTcamManager/Udf/Records.h"
#include "shim/SdkCall.h"

namespace Morvane {

// --- Creation --------------------------------------------------------------------------------

bool GroupLife::acquire( U32 group, Rollback & rollback, GroupReferences & taken ) {
  const U8 key = static_cast< U8 >( group );
  if ( manager_.groupOpenFlowAclUdfValid( key ) || manager_.groupOpenFlowVxlanAclUdfValid( key ) )
    return FlowGroup( manager_, unit_, group ).acquire( rollback, taken );

  GroupBuilder builder( manager_, unit_, group, firstCreation );
  builder.makeQualifierSet( rollback );
  if ( manager_.groupMirroringAclUdfValid( key ) && !manager_.groupComplete( unit_, group ) )
    builder.addCarried( *manager_.groupIdToMirroringAclUdfIs( key ) );
  builder.prepare();
  const bool complete = acquireCopies( builder, group, rollback, taken );
  if ( !complete )
    forgetMirroringAclType( group );
  return complete;
}

bool GroupLife::acquireCopies( GroupBuilder & builder, U32 group, Rollback & rollback,
                               GroupReferences & taken ) {
  for ( const PipeCopy c : manager_.pipeCopies( unit_, group ) ) {
    if ( referenceExisting( group, c, rollback, taken ) )
      continue;
    if ( !createCopy( builder, c, rollback ) )
      return false;
    taken.add( c.pipeGroup );
    if ( builder.request().forUdf ) {
      const U32 unit = unit_;
      const U32 pipeGroupId = c.pipeGroup;
      MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " group " << pipeGroupId
                                  << " ref count is now 1";
      SDK_UNCHECKED( bcm_field_group_dump( unit, pipeGroupId ) );
    }
  }
  return true;
}

bool GroupLife::createCopy( GroupBuilder & builder, const PipeCopy & at, Rollback & rollback ) {
  const U32 unit = unit_;
  GroupCounts * const counts = manager_.groupCountsIs( at.pipeGroup ).get();
  const bool created = builder.create( at, rollback );
  counts->unitRefCountIs( unit, created ? 1 : 0 );
  if ( !created )
    return false;
  counts->unitAllocatedIs( unit, 0 );
  rollback.addRecord( [ counts, unit ] { counts->unitRefCountIs( unit, 0 ); } );
  return true;
}

bool GroupLife::referenceExisting( U32 group, const PipeCopy & at, Rollback & rollback,
                                   GroupReferences & taken ) {
  const U32 unit = unit_;
  GroupCounts * const counts = manager_.groupCounts( at.pipeGroup ).get();
  if ( !counts || counts->unitRefCount( unit ) <= 0 )
    return false;
  // A mirroring group has one user and keeps one reference.
  if ( manager_.groupMirroringAclValid( static_cast< U8 >( group ) ) ) {
    MORVANE_TRACE( traceGroup ) << "Unit: " << unit
                                << " Not incrementing ref cnt for mirroring acl group "
                                << " pipe " << at.pipe << " group Id " << at.pipeGroup;
    return true;
  }
  counts->unitRefCountInc( unit, 1 );
  rollback.addRecord( [ counts, unit ] { counts->unitRefCountInc( unit, -1 ); } );
  taken.add( at.pipeGroup );
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " group " << at.pipeGroup
                              << " ref count is now " << counts->unitRefCount( unit );
  return true;
}

// --- Teardown --------------------------------------------------------------------------------

void GroupLife::drop( U32 pipeGroupId, bool releaseUdf, Release & release ) {
  const Kiv::ValidPtr< GroupCounts > counts = manager_.groupCountsIs( pipeGroupId );
  const S32 count = counts->unitRefCountHas( unit_ ) ? counts->unitRefCount( unit_ ) - 1 : -1;
  counts->unitRefCountIs( unit_, count );
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " group " << pipeGroupId
                              << " ref count is now " << count;
  if ( count != 0 )
    return;
  release.add( { cleanupCompressEntries, pipeGroupId } );
  if ( manager_.managedPriority( pipeGroupId ) )
    release.add( { cleanupCompressGroup, pipeGroupId } );
  release.add( { cleanupDestroyGroup, pipeGroupId } );
  dropPreselector( pipeGroupId, release );
  // A remaining copy may still match on a UDF qualifier.
  if ( releaseUdf && !manager_.groupExists( unit_, tcamNumberBits.get( pipeGroupId ) ) )
    releaseUdfQualifiers( pipeGroupId, release );
}

void GroupLife::drop( const GroupReferences & taken, Release & release ) {
  for ( U32 i = taken.size(); i-- > 0; )
    drop( taken[ i ], true, release );
}

void GroupLife::dropAll( U32 group, Release & release ) {
  GroupReferences all;
  for ( const PipeCopy c : manager_.pipeCopies( unit_, group ) )
    all.add( c.pipeGroup );
  drop( all, release );
}

void GroupLife::dropPreselector( U32 pipeGroupId, Release & release ) {
  const MorvaneTcamGroupManager::UnitGroupId key{ unit_, pipeGroupId };
  if ( !manager_.groupIdToPreselIdHas( key ) )
    return;
  release.add( { cleanupDestroyPreselector, manager_.groupIdToPreselId( key ) } );
  manager_.groupIdToPreselIdDel( key );
}

void GroupLife::releaseUdfQualifiers( U32 pipeGroupId, Release & release ) {
  const U8 key = static_cast< U8 >( pipeGroupId );
  const U32 group = tcamNumberBits.get( pipeGroupId );
  if ( manager_.groupOpenFlowVxlanAclUdfValid( key ) || manager_.groupOpenFlowAclUdfValid( key ) )
    FlowGroup( manager_, unit_, group ).dropQualifiers( release );
  if ( manager_.groupMirroringAclUdfValid( key ) )
    dropMirroringUdfs( manager_, unit_, group, release );
}

// --- Questions -------------------------------------------------------------------------------

S32 GroupLife::foreignReferences( U32 group ) const {
  const U32 first = manager_.getPipeGroupId( unit_, 0, 0, group );
  const Kiv::Ptr< GroupCounts > counts = manager_.groupCounts( first );
  S32 perReference = 0;  // 2 with twins, which share their entries' group
  for ( const PipeCopy c : manager_.pipeCopies( unit_, group ) )
    perReference += c.pipeGroup == first ? 1 : 0;
  S32 left = counts && perReference != 0 ? counts->unitRefCount( unit_ ) / perReference : 0;
  forEachEntryManager( manager_, [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
    const Kiv::Ptr< UnitEntriesCreated > entries = user->internalUnitEntry( unit_ );
    if ( user->group() == group && entries )
      left -= static_cast< S32 >( entries->groupReferences() );
  } );
  return left;
}

bool GroupLife::dropUnused( U32 group ) {
  bool dropped = false;
  forEachEntryManager( manager_, [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
    const Kiv::Ptr< UnitEntriesCreated > entries = user->internalUnitEntry( unit_ );
    if ( dropped || user->group() != group || !entries || entries->entryCreatedSize() != 0 ||
         entries->groupReferences() <= ( entries->rangeCreated() ? 1U : 0U ) )
      return;
    entries->groupReferencesIs( entries->groupReferences() - 1 );
    dropped = true;
  } );
  return dropped;
}

U32 GroupLife::freeEntries( U32 group ) {
  const U32 unit = unit_;
  bcm_field_group_status_s status = {};
  SDK_CHECKED( bcm_field_group_status_get( unit, group, &status ) );
  // An entry and its twin are in the same group.
  const int needed = manager_.ovidWar( group ) ? 2 : 1;
  if ( Shim::Fields::groupEntriesFree( status ) < needed && manager_.sliceFreedSize() != 0 ) {
    compressFreedSlices();
    SDK_CHECKED( bcm_field_group_status_get( unit, group, &status ) );
  }
  return static_cast< U32 >( Shim::Fields::groupEntriesFree( status ) / needed );
}

// All copies, even if one throws: copies with unequal free rows do not take the same entries.
void GroupLife::compressFreedSlices() {
  Kiv::RbTreeMap< U32, bool > groups;
  for ( auto it = manager_.sliceFreedIterConst(); it; ++it )
    if ( it.value() )
      for ( const PipeCopy c : manager_.pipeCopies( unit_, it.key() ) )
        groups.insert( c.pipeGroup, true );
  Release release( manager_, unit_ );
  for ( auto it = groups.iter(); it; ++it )
    release.add( { cleanupCompressMarkedGroup, it.key() } );
  manager_.sliceFreedDelAll();
  release.run();
}

void GroupLife::forgetMirroringAclType( U32 group ) {
  for ( auto unitIter = manager_.modChipInfoIterConst(); unitIter; ++unitIter )
    if ( unitIter.key() != unit_ && manager_.groupExists( unitIter.key(), group ) )
      return;
  manager_.groupMirroringAclTypeIs( static_cast< U8 >( group ), -1 );
}

MirroringTypeKeeper::MirroringTypeKeeper( MorvaneTcamGroupManager & manager, U32 group )
    : manager_( manager ),
      group_( static_cast< U8 >( group ) ),
      had_( manager.groupMirroringAclTypeHas( group_ ) ),
      type_( manager.groupMirroringAclType( group_ ) ) {}

MirroringTypeKeeper::~MirroringTypeKeeper() {
  if ( had_ )
    manager_.groupMirroringAclTypeIs( group_, type_ );
}

}  // namespace Morvane
