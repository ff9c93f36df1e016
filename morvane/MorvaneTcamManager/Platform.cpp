#include "morvane/Platform.h"

#include <algorithm>

#include "kiv/Assert.h"

namespace Morvane {

namespace {

PlatformTables * tables_ = nullptr;

PlatformTables & tables() {
  return platformTables();
}

}  // namespace

PlatformTables & platformTables() {
  KIV_ASSERT( tables_ );
  return *tables_;
}

PlatformTables::~PlatformTables() = default;
TcamCapacityTable::~TcamCapacityTable() = default;

void platformIs( PlatformTables * tables ) {
  tables_ = tables;
}

U32 numTcamGroups() {
  return tables().numTcamGroups();
}

const TcamGroup * getTcamGroup( U32 index ) {
  KIV_ASSERT( index < numTcamGroups() );
  return &tables().tcamGroup( index );
}

U32 highestTcamGroupId() {
  U32 highest = 0;
  for ( U32 i = 0; i < numTcamGroups(); ++i )
    highest = std::max( highest, getTcamGroup( i )->group );
  return highest;
}

U32 numTcamReservations() {
  return tables().numTcamReservations();
}

TcamReservation * getTcamReservation( U32 index ) {
  KIV_ASSERT( index < numTcamReservations() );
  return &tables().tcamReservation( index );
}

U32 numGroupMapEntries() {
  return tables().numGroupMapEntries();
}

const TcamGroupMap * getGroupMap( U32 index ) {
  KIV_ASSERT( index < numGroupMapEntries() );
  return &tables().groupMap( index );
}

U32 numGroupExcludes() {
  return tables().numGroupExcludes();
}

const TcamGroupQualifiers * getGroupExcludes( U32 index ) {
  KIV_ASSERT( index < numGroupExcludes() );
  return &tables().groupExcludes( index );
}

U32 numGroupIncludes() {
  return tables().numGroupIncludes();
}

const TcamGroupQualifiers * getGroupIncludes( U32 index ) {
  KIV_ASSERT( index < numGroupIncludes() );
  return &tables().groupIncludes( index );
}

S32 chipTypeFromUnit( U32 unit ) {
  return tables().chipType( unit );
}
bool noStatsPerEntryGroup( U32 group ) {
  return tables().noStatsPerEntry( group );
}
bool groupRequiresMulticastWAR( U32 group ) {
  return tables().requiresMulticastWar( group );
}
bool isIPv4( U32 group ) {
  return tables().matchesIPv4( group );
}
bool isIPv6( U32 group ) {
  return tables().matchesIPv6( group );
}
U32 getLoopbackPortId( U32 unit, U32 pipe ) {
  return tables().loopbackPort( unit, pipe );
}

bool doAllocAtBeginning( TcamAllocationStrategy strategy, U32 /* group */, bool configured,
                         bool pdpModeEnabled, bool chipPrefers ) {
  if ( pdpModeEnabled )
    return false;
  if ( strategy == tcamAllocateAtBeginning )
    return true;
  return strategy == tcamAllocateAsChunk && ( configured || chipPrefers );
}

void tcamGroupQsetExcludes( bcm_field_qset_t * qset, U32 /* group */, bool excludeTtl,
                            bool excludeRangeChecks, bool groupByPreselector, bool secondCopy ) {
  if ( excludeTtl )
    Shim::Fields::qualifierDel( *qset, bcmFieldQualifyTtl );
  if ( excludeRangeChecks )
    Shim::Fields::qualifierDel( *qset, bcmFieldQualifyRangeCheck );
  // The preselector, or the choice of the copy, has already matched the source class.
  if ( groupByPreselector || secondCopy )
    Shim::Fields::qualifierDel( *qset, bcmFieldQualifyMixedSrcClassId );
}

const MorvaneCentral::Attributes & MorvaneCentral::morvaneAttributes() {
  return tables().attributes();
}

}  // namespace Morvane
