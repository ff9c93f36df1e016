// The entry managers: forwards to the statistics of entries.

#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamManager/EntryStats.h"
#include "morvane/MorvaneTcamManager/Managers.h"
#include "morvane/Operation.h"

namespace Morvane {

U32 MorvaneTcamEntryManager::installStats( U32 unit, U32 groupId, U32 entryId,
                                           Kiv::Ptr< StatTypes > statTypes ) {
  const Operation operation( *this, unit );
  if ( !statTypes )
    statTypes = defaultStatTypes().ptr();
  EntryStats stats( *this, unit );
  Rollback rollback( *groupManager() );
  // The second of two records can fail to be written.
  rollback.addRecord( [ this, unit, entryId ] { EntryStats( *this, unit ).forget( entryId ); } );
  const U32 id = stats.install( groupId, entryId, StatTypesList( *statTypes ), rollback );
  rollback.commit();
  return id;
}

void MorvaneTcamEntryManager::removeStats( U32 unit, U32 entry ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  Release release( *groupManager(), unit );
  EntryStats( *this, unit ).drop( entry, release );
  release.run();
}

U64 MorvaneTcamEntryManager::hitsForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  U64 hits = 0;
  for ( const PipeCopy c : copies( unit ) )
    hits += EntryStats( *this, unit ).packets( c.entryId( entry ) );
  return hits;
}

U64 MorvaneTcamEntryManager::hitsForPipeEntry( U32 unit, U32 pipeEntry ) {
  const Operation operation( *this, unit );
  return EntryStats( *this, unit ).packets( pipeEntry );
}

U64 MorvaneTcamEntryManager::byteHitsForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  return EntryStats( *this, unit ).bytes( entry );
}

U64 MorvaneTcamEntryManager::greenPktHitsForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  return EntryStats( *this, unit ).greenPackets( entry );
}

U64 MorvaneTcamEntryManager::greenByteHitsForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  return EntryStats( *this, unit ).greenBytes( entry );
}

U64 MorvaneTcamEntryManager::yellowPktHitsForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  return EntryStats( *this, unit ).yellowPackets( entry );
}

U64 MorvaneTcamEntryManager::yellowByteHitsForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  return EntryStats( *this, unit ).yellowBytes( entry );
}

U64 MorvaneTcamEntryManager::pktDropsForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  return EntryStats( *this, unit ).redPackets( entry );
}

U64 MorvaneTcamEntryManager::byteDropsForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  return EntryStats( *this, unit ).redBytes( entry );
}

void MorvaneTcamEntryManager::clearHitsForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  if ( !allocateStatsPerEntry() )
    return;
  EntryStats stats( *this, unit );
  stats.idOf( entry );
  stats.clearPackets( entry );
}

void MorvaneTcamEntryManager::clearBytesForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  if ( !allocateStatsPerEntry() )
    return;
  EntryStats stats( *this, unit );
  stats.idOf( entry );
  stats.clearBytes( entry );
}

void MorvaneTcamEntryManager::clearCountersForEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  if ( !allocateStatsPerEntry() )
    return;
  EntryStats stats( *this, unit );
  stats.idOf( entry );
  stats.clearPackets( entry );
  stats.clearBytes( entry );
  stats.clearYellow( entry );
}

// One operation per entry: entries may be released in between.
void MorvaneTcamEntryManager::clearCounters( U32 unit ) {
  const Kiv::Ptr< MorvaneTcamGroupManager > groups( &holderOf( *this ) );
  const Kiv::Ptr< UnitEntriesCreated > entries = internalUnitEntry( unit );
  if ( !entries || !allocateStatsPerEntry() )
    return;
  for ( auto it = entries->entryCreatedIterConst(); it; ++it ) {
    const Operation operation( *groups, unit );
    if ( parent() && entries->parent() == this && entries->entryStats( it.key() ) != 0 )
      clearCountersForEntry( unit, it.key() );
  }
}

}  // namespace Morvane
