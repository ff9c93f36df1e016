// Entries and their statistics: each manager's books against every hardware copy.
#include "agent/audit/UnitAudit.h"

namespace Audit {

void UnitAudit::auditManager( const EntryManager & owner ) {
  const Kiv::Ptr< Books > books = owner.internalUnitEntry( unit_ );
  if ( !books ) {
    report( "{} has no books", owner.desc().charPtr() );
    return;
  }
  references_[ owner.group() ] += books->groupReferences();
  for ( auto it = books->entryCreatedIterConst(); it; ++it )
    auditEntry( owner, *books, it.key() );
  if ( books->rangeCreated() ) {
    for ( U32 entry = owner.baseEntry(); entry < owner.endEntry(); ++entry )
      if ( !books->entryCreatedHas( entry ) && !books->rangeEntryMissing( entry ) )
        auditIdleEntry( owner, entry );
  }
  auditRecords( owner, *books );
}

void UnitAudit::auditEntry( const EntryManager & owner, const Books & books, U32 entry ) {
  const auto first = chip_.entry( unit_, entry );
  if ( !first ) {
    report( "entry {:#x} of {} is not on the chip", entry, owner.desc().charPtr() );
    return;
  }
  for ( const Morvane::PipeCopy at : manager_.pipeCopies( unit_, owner.group() ) )
    auditCopy( owner, books, entry, at, *first );
  if ( !manager_.tcamManagerForEntryHas( entry ) )
    report( "entry {:#x} of {} has no owner", entry, owner.desc().charPtr() );
}

void UnitAudit::auditCopy( const EntryManager & owner, const Books & books, U32 entry,
                           const Morvane::PipeCopy & at, const SoftAsic::EntryView & first ) {
  const U32 id = at.entryId( entry );
  ownedEntries_.insert( id );
  const auto copy = chip_.entry( unit_, id );
  if ( !copy ) {
    report( "entry {:#x} of {} is not on the chip", id, owner.desc().charPtr() );
    return;
  }
  if ( copy->group != at.pipeGroup )
    report( "entry {:#x} is in group {:#x}, not {:#x}", id, copy->group, at.pipeGroup );
  if ( books.groupId( id ) != at.pipeGroup )
    report( "entry {:#x} is recorded in group {:#x}, not {:#x}", id, books.groupId( id ),
            at.pipeGroup );
  if ( copy->installed != books.entryInstalled( entry ) )
    report( "entry {:#x} is {}installed", id, copy->installed ? "" : "not " );
  const bool twin = isTwin( owner, at );
  if ( copy->enabled ==
       ( books.entryDisabled( entry ) || ( twin && books.ovidTwinIdle( entry ) ) ) )
    report( "entry {:#x} is {}", id, copy->enabled ? "enabled" : "disabled" );
  if ( copy->priority != first.priority )
    report( "entry {:#x} has priority {}, the first copy {}", id, copy->priority, first.priority );
  if ( twin )
    auditTwin( owner, books, *copy, first );
  else if ( copy->effective != first.effective )
    report( "entry {:#x} holds another rule than the first copy", id );
  if ( owner.allocateStatsPerEntry() == ( copy->stat == 0 ) )
    report( "entry {:#x} has {} statistics", id, copy->stat == 0 ? "no" : "unwanted" );
  auditStat( books, *copy );
  auditPolicer( owner, at, *copy, first );
}

// An entry of a range that nobody holds waits in hardware, wiped.
void UnitAudit::auditIdleEntry( const EntryManager & owner, U32 entry ) {
  for ( const Morvane::PipeCopy at : manager_.pipeCopies( unit_, owner.group() ) ) {
    const U32 id = at.entryId( entry );
    ownedEntries_.insert( id );
    const auto copy = chip_.entry( unit_, id );
    if ( !copy )
      report( "entry {:#x} of the range of {} is not on the chip", id, owner.desc().charPtr() );
    else if ( copy->installed || !copy->enabled || copy->stat != 0 || copy->policer != 0 ||
              copy->pending != SoftAsic::RuleView() )
      report( "entry {:#x} of {} is not wiped", id, owner.desc().charPtr() );
  }
}

void UnitAudit::auditStat( const Books & books, const SoftAsic::EntryView & onChip ) {
  const U32 recorded = books.entryStats( onChip.id );
  if ( recorded != onChip.stat )
    report( "entry {:#x} has statistics {}, recorded are {}", onChip.id, onChip.stat, recorded );
  if ( recorded == 0 )
    return;
  ownedStats_.insert( recorded );
  const auto stat = statistics_.find( recorded );
  if ( stat == statistics_.end() )
    report( "statistics {} of entry {:#x} are not on the chip", recorded, onChip.id );
  else if ( stat->second.owner != onChip.id )
    report( "statistics {} belong to entry {:#x}, not {:#x}", recorded, stat->second.owner,
            onChip.id );
}

// What the books keep beside entryCreated belongs to an entry in it.
void UnitAudit::auditRecords( const EntryManager & owner, const Books & books ) {
  const auto orphan = [ & ]( const char * what, U32 id ) {
    if ( !books.entryCreatedHas( Morvane::tcamNumberBits.get( id ) ) )
      report( "{} of {} is left of entry {:#x}", what, owner.desc().charPtr(), id );
  };
  for ( auto it = books.entryStatsIterConst(); it; ++it )
    orphan( "a statistics id", it.key() );
  for ( auto it = books.groupIdIterConst(); it; ++it )
    orphan( "a group id", it.key() );
  for ( auto it = books.entryInstalledIterConst(); it; ++it )
    orphan( "an installation mark", it.key() );
  for ( auto it = books.entryInPortsIterConst(); it; ++it )
    orphan( "a record of input ports", it.key() );
  for ( auto it = books.entryDisabledIterConst(); it; ++it )
    orphan( "a disabled mark", it.key() );
  for ( auto it = books.ovidTwinIterConst(); it; ++it )
    orphan( "a twin", it.key() );
  for ( auto it = books.ovidTwinIdleIterConst(); it; ++it )
    orphan( "an idle mark of a twin", it.key() );
  for ( auto it = books.loopbackPortRedirectActionIterConst(); it; ++it )
    orphan( "a loopback redirect", it.key() );
  for ( auto it = books.tcamEntryBcmPbmpIterConst(); it; ++it )
    orphan( "a store of input ports", it.key() );
  for ( auto it = books.outportsBcmPbmpIterConst(); it; ++it )
    orphan( "a store of output ports", it.key() );
  for ( auto it = books.rangeEntryMissingIterConst(); it; ++it )
    if ( !books.rangeCreated() || books.entryCreatedHas( it.key() ) ||
         it.key() < owner.baseEntry() || it.key() >= owner.endEntry() )
      report( "entry {:#x} of {} is wrongly marked as missing", it.key(), owner.desc().charPtr() );
}

void UnitAudit::auditForeignEntries() {
  for ( const auto & [ id, group ] : groups_ ) {
    for ( const U32 entry : group.entries )
      if ( !ownedEntries_.contains( entry ) )
        report( "entry {:#x} in group {:#x} belongs to nobody", entry, id );
  }
}

void UnitAudit::auditForeignStats() {
  for ( const auto & [ id, stat ] : statistics_ )
    if ( !ownedStats_.contains( id ) )
      report( "statistics {} belong to nobody", id );
}

}  // namespace Audit
