// Statistics of entries: one object per hardware copy, read as hits and bytes.

#include <cstdlib>
#include <initializer_list>

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/StatTypesList.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

StatTypesList::StatTypesList( const StatTypes & wanted ) {
  KIV_ASSERT( wanted.typeSize() <= BCM_FIELD_STAT_TYPES );
  for ( auto it = wanted.typeIterConst(); it; ++it ) {
    types[ count++ ] = static_cast< bcm_field_stat_t >( it.value() );
    if ( it.value() < BCM_FIELD_STAT_TYPES )  // the SDK refuses others
      bits |= statTypeBit( it.value() );
  }
}

U32 MorvaneTcamEntryManager::installStats( U32 unit, U32 groupId, U32 entryId,
                                           Kiv::Ptr< StatTypes > statTypes ) {
  if ( !statTypes )
    statTypes = defaultStatTypes();
  return installStats( unit, *unitEntries( unit ), groupId, entryId, StatTypesList( *statTypes ) );
}

U32 MorvaneTcamEntryManager::installStats( U32 unit, UnitEntriesCreated & entries, U32 groupId,
                                           U32 entryId, const StatTypesList & list ) {
  const bcm_field_stat_t * const statTypesList = list.types;
  const int statIdx = list.count;
  for ( int i = 0; i < statIdx; ++i )
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit << "(entry=0x" << Snaptrace::hex( entryId )
                                 << ")"
                                 << " StatType: " << S32( statTypesList[ i ] ) << " index: " << i;
  if ( statIdx == 2 )
    KIV_ASSERT( abs( statTypesList[ 0 ] - statTypesList[ 1 ] ) == 1 );

  bcm_field_stat_id_t statsId = 0;
  const int rc =
      SDK_CALL( bcm_field_stat_create( unit, groupId, statIdx, statTypesList, &statsId ) );
  FP_COMMAND() << "fp stat create group=" << groupId << " type0=packets";
  if ( rc == BCM_E_RESOURCE )
    return 0;
  SDK_RESULT_OF( rc, bcm_field_stat_create( unit, groupId, statIdx, statTypesList, &statsId ) );
  attachStats( unit, entries, entryId, statsId );
  if ( list.bits != usualStatTypes )
    entries.statTypesIs( entryId, list.bits );
  MORVANE_TRACE( traceDetail ) << " GroupId: " << groupId << " entryId: " << entryId
                               << " statId: " << statsId;
  return statsId;
}

void MorvaneTcamEntryManager::attachStats( U32 unit, UnitEntriesCreated & entries, U32 entryId,
                                           U32 statsId ) {
  try {
    SDK_CHECKED( bcm_field_entry_stat_attach( unit, entryId, statsId ) );
  } catch ( ... ) {
    // Nothing records the object yet, so nobody else could give it back.
    SDK_CHECKED( bcm_field_stat_destroy( unit, statsId ) );
    throw;
  }
  FP_COMMAND() << "fp stat attach entry=" << entryId << " StatId=" << statsId;
  entries.entryStatsIs( entryId, statsId );
}

void MorvaneTcamEntryManager::removeStats( U32 unit, U32 entry ) {
  removeStats( unit, *unitEntries( unit ), entry );
}

void MorvaneTcamEntryManager::removeStats( U32 unit, UnitEntriesCreated & entries, U32 entryId ) {
  const U32 statsId = entries.entryStats( entryId );
  if ( statsId == 0 ) {
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " can't find stats for entry " << entryId;
    return;
  }
  MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " Attempting to detach statId " << statsId;
  SDK_CHECKED( bcm_field_entry_stat_detach( unit, entryId, statsId ) );
  FP_COMMAND() << "fp stat detach entry=" << entryId << " StatId=" << statsId;
  // Nobody shall read the object while it goes.
  entries.entryStatsDel( entryId );
  try {
    SDK_CHECKED( bcm_field_stat_destroy( unit, statsId ) );
  } catch ( ... ) {
    SDK_CHECKED( bcm_field_entry_stat_attach( unit, entryId, statsId ) );
    entries.entryStatsIs( entryId, statsId );
    throw;
  }
  FP_COMMAND() << "fp stat destroy StatId= " << statsId;
  entries.statTypesDel( entryId );
}

// --- Reading ---------------------------------------------------------------------------------

U64 MorvaneTcamEntryManager::hitsForEntry( U32 unit, U32 entry ) {
  U64 hits = 0;
  for ( const PipeCopy c : copies( unit ) )
    hits += hitsForPipeEntry( unit, c.entryId( entry ) );
  return hits;
}

namespace {

bool counts( const UnitEntriesCreated & entries, U32 pipeEntry, U32 type ) {
  const U32 types =
      entries.statTypesHas( pipeEntry ) ? entries.statTypes( pipeEntry ) : usualStatTypes;
  return ( types & statTypeBit( type ) ) != 0;
}

// Sum of read( statsId, type ) over those of the types that the entry counts. It may go while the
// ASIC is busy.
template < class Read >
U64 sumOf( const UnitEntriesCreated & entries, U32 pipeEntry,
           std::initializer_list< bcm_field_stat_t > types, Read read ) {
  U64 sum = 0;
  for ( const bcm_field_stat_t type : types ) {
    const U32 statsId = entries.entryStats( pipeEntry );
    if ( statsId != 0 && counts( entries, pipeEntry, type ) )
      sum += read( statsId, type );
  }
  return sum;
}

U64 pktHitsByColour( U32 unit, const UnitEntriesCreated & entries, U32 pipeEntry ) {
  return sumOf(
      entries, pipeEntry,
      { bcmFieldStatGreenPackets, bcmFieldStatYellowPackets, bcmFieldStatRedPackets },
      [ & ]( U32 statsId, bcm_field_stat_t statPackets ) {
        U64 pktHits = 0;
        SDK_CHECKED( bcm_field_stat_get( unit, statsId, statPackets, &pktHits ) );
        return pktHits;
      } );
}

U64 byteHitsByColour( U32 unit, const UnitEntriesCreated & entries, U32 pipeEntry ) {
  return sumOf(
      entries, pipeEntry, { bcmFieldStatGreenBytes, bcmFieldStatYellowBytes, bcmFieldStatRedBytes },
      [ & ]( U32 statsId, bcm_field_stat_t statBytes ) {
        U64 byteHits = 0;
        SDK_CHECKED( bcm_field_stat_get( unit, statsId, statBytes, &byteHits ) );
        return byteHits;
      } );
}

}  // namespace

// One call for each counter: the counter is part of the text that is traced.

U64 MorvaneTcamEntryManager::hitsForPipeEntry( U32 unit, U32 pipeEntry ) {
  U64 statsCount = 0;
  const U32 statsId = statsIdOf( unit, pipeEntry );
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  if ( !counts( *entries, pipeEntry, bcmFieldStatPackets ) )
    return pktHitsByColour( unit, *entries, pipeEntry );
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatPackets, &statsCount ) );
  return statsCount;
}

U64 MorvaneTcamEntryManager::byteHitsForEntry( U32 unit, U32 entry ) {
  U64 statsCount = 0;
  const U32 statsId = statsIdOf( unit, entry );
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  if ( !counts( *entries, entry, bcmFieldStatBytes ) )
    return byteHitsByColour( unit, *entries, entry );
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatBytes, &statsCount ) );
  return statsCount;
}

U64 MorvaneTcamEntryManager::greenPktHitsForEntry( U32 unit, U32 entry ) {
  U64 statsCount = 0;
  const U32 statsId = statsIdOf( unit, entry );
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatGreenPackets, &statsCount ) );
  return statsCount;
}

U64 MorvaneTcamEntryManager::greenByteHitsForEntry( U32 unit, U32 entry ) {
  U64 statsCount = 0;
  const U32 statsId = statsIdOf( unit, entry );
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatGreenBytes, &statsCount ) );
  return statsCount;
}

U64 MorvaneTcamEntryManager::yellowPktHitsForEntry( U32 unit, U32 entry ) {
  U64 statsCount = 0;
  const U32 statsId = statsIdOf( unit, entry );
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatYellowPackets, &statsCount ) );
  return statsCount;
}

U64 MorvaneTcamEntryManager::yellowByteHitsForEntry( U32 unit, U32 entry ) {
  U64 statsCount = 0;
  const U32 statsId = statsIdOf( unit, entry );
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatYellowBytes, &statsCount ) );
  return statsCount;
}

U64 MorvaneTcamEntryManager::pktDropsForEntry( U32 unit, U32 entry ) {
  U64 statsCount = 0;
  const U32 statsId = statsIdOf( unit, entry );
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatRedPackets, &statsCount ) );
  return statsCount;
}

U64 MorvaneTcamEntryManager::byteDropsForEntry( U32 unit, U32 entry ) {
  U64 statsCount = 0;
  const U32 statsId = statsIdOf( unit, entry );
  SDK_CHECKED( bcm_field_stat_get( unit, statsId, bcmFieldStatRedBytes, &statsCount ) );
  return statsCount;
}

U32 MorvaneTcamEntryManager::statsIdOf( U32 unit, U32 pipeEntry ) const {
  const U32 statsId = unitEntries( unit )->entryStats( pipeEntry );
  KIV_ASSERT( statsId > 0 );
  return statsId;
}

// --- Clearing --------------------------------------------------------------------------------
//
// The entry must have statistics; it may be released while its counters are cleared, so that they
// are looked up before each call.

void MorvaneTcamEntryManager::clearHitsForEntry( U32 unit, U32 entry ) {
  if ( !allocateStatsPerEntry() )
    return;
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  statsIdOf( unit, entry );
  clearHits( unit, *entries, entry );
}

void MorvaneTcamEntryManager::clearBytesForEntry( U32 unit, U32 entry ) {
  if ( !allocateStatsPerEntry() )
    return;
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  statsIdOf( unit, entry );
  clearBytes( unit, *entries, entry );
}

void MorvaneTcamEntryManager::clearHits( U32 unit, const UnitEntriesCreated & entries, U32 entry ) {
  for ( const PipeCopy c : copies( unit ) ) {
    const U32 pipeEntry = c.entryId( entry );
    if ( const U32 statsId = entries.entryStats( pipeEntry ) )
      SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatPackets, 0 ) );
    if ( const U32 statsId = entries.entryStats( pipeEntry ) )
      SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatGreenPackets, 0 ) );
    if ( const U32 statsId = entries.entryStats( pipeEntry ) )
      SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatRedPackets, 0 ) );
  }
}

void MorvaneTcamEntryManager::clearBytes( U32 unit, const UnitEntriesCreated & entries,
                                          U32 entry ) {
  for ( const PipeCopy c : copies( unit ) ) {
    const U32 pipeEntry = c.entryId( entry );
    if ( const U32 statsId = entries.entryStats( pipeEntry ) )
      SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatBytes, 0 ) );
    if ( const U32 statsId = entries.entryStats( pipeEntry ) )
      SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatGreenBytes, 0 ) );
    if ( const U32 statsId = entries.entryStats( pipeEntry ) )
      SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatRedBytes, 0 ) );
  }
}

namespace {

// Clearing hits and bytes alone leaves what a policer passed as yellow.
void clearYellow( PipeCopies copies, U32 unit, const UnitEntriesCreated & entries, U32 entry ) {
  for ( const PipeCopy c : copies ) {
    const U32 pipeEntry = c.entryId( entry );
    if ( const U32 statsId = entries.entryStats( pipeEntry ) )
      SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatYellowPackets, 0 ) );
    if ( const U32 statsId = entries.entryStats( pipeEntry ) )
      SDK_CHECKED_RV( bcm_field_stat_set( unit, statsId, bcmFieldStatYellowBytes, 0 ) );
  }
}

}  // namespace

void MorvaneTcamEntryManager::clearCountersForEntry( U32 unit, U32 entry ) {
  if ( !allocateStatsPerEntry() )
    return;
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  statsIdOf( unit, entry );
  clearHits( unit, *entries, entry );
  clearBytes( unit, *entries, entry );
  clearYellow( copies( unit ), unit, *entries, entry );
}

void MorvaneTcamEntryManager::clearCounters( U32 unit ) {
  const Kiv::Ptr< UnitEntriesCreated > entries = internalUnitEntry( unit );
  if ( !entries || !allocateStatsPerEntry() )
    return;
  for ( auto it = entries->entryCreatedIterConst(); it; ++it ) {
    clearHits( unit, *entries, it.key() );
    clearBytes( unit, *entries, it.key() );
    clearYellow( copies( unit ), unit, *entries, it.key() );
  }
}

namespace {

template < class Wanted >
void clearCountersOf( const MorvaneTcamGroupManager & manager, U32 unit, Wanted wanted ) {
  // The caller's pointer holds it, for it may be taken down meanwhile.
  const auto clear = [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
    if ( wanted( *user ) )
      user->clearCounters( unit );
  };
  for ( auto it = manager.entryManagerIterConst(); it; ++it )
    clear( it.member() );
  for ( auto it = manager.unboundedEntryManagerIterConst(); it; ++it )
    clear( it.member() );
}

}  // namespace

void MorvaneTcamGroupManager::clearGroupCounters( U32 unit, U32 group ) {
  clearCountersOf(
      *this, unit,
      [ & ]( const MorvaneTcamEntryManager & user ) { return user.group() == group; } );
}

void MorvaneTcamGroupManager::clearUnitCounters( U32 unit ) {
  clearCountersOf(
      *this, unit, []( const MorvaneTcamEntryManager & ) { return true; } );
}

void MorvaneTcamGroupManager::clearAllCounters() {
  for ( auto unitIter = modChipInfoIterConst(); unitIter; ++unitIter )
    clearUnitCounters( unitIter.key() );
}

}  // namespace Morvane
