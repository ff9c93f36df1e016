// Entries and their statistics: each manager's records against every hardware copy.
#include "agent/verify/audit/UnitAudit.h"

namespace Audit {

void UnitAudit::auditManager( const EntryManager & owner ) {
  const Kiv::Ptr< EntryRecords > records = owner.internalUnitEntry( unit_ );
  if ( !records ) {
    report( "{} has no records", owner.desc().charPtr() );
    return;
  }
  references_[ owner.group() ] += records->groupReferences();
  for ( auto it = records->entryCreatedIterConst(); it; ++it )
    auditEntry( owner, *records, it.key() );
  if ( records->rangeCreated() ) {
    for ( U32 entry = owner.baseEntry(); entry < owner.endEntry(); ++entry )
      if ( !records->entryCreatedHas( entry ) && !records->rangeEntryMissing( entry ) )
        auditIdleEntry( owner, entry );
  }
  auditRecords( owner, *records );
}

void UnitAudit::auditEntry( const EntryManager & owner, const EntryRecords & records, U32 entry ) {
  const auto first = chip_.entry( unit_, entry );
  if ( !first ) {
    report( "entry {:#x} of {} is not on the chip", entry, owner.desc().charPtr() );
    return;
  }
  for ( const Morvane::PipeCopy at : manager_.pipeCopies( unit_, owner.group() ) )
    auditCopy( owner, records, entry, at, *first );
  if ( !manager_.tcamManagerForEntryHas( entry ) )
    report( "entry {:#x} of {} has no owner", entry, owner.desc().charPtr() );
}

void UnitAudit::auditCopy( const EntryManager & owner, const EntryRecords & records, U32 entry,
                           const Morvane::PipeCopy & at, const SoftAsic::EntryView & first ) {
  const U32 id = at.entryId( entry );
  ownedEntries_.insert( id );
  const auto copy = chip_.entry( unit_, id );
  if ( !copy ) {
    report( "entry {:#x} of {} is not on the chip", id, owner.desc().charPtr() );
    return;
  }
  auditStat( records, *copy );
  if ( copy->group != at.pipeGroup )
    report( "entry {:#x} is in group {:#x}, not {:#x}", id, copy->group, at.pipeGroup );
  if ( records.groupId( id ) != at.pipeGroup )
    report( "entry {:#x} is recorded in group {:#x}, not {:#x}", id, records.groupId( id ),
            at.pipeGroup );
  if ( owner.allocateStatsPerEntry() == ( copy->stat == 0 ) )
    report( "entry {:#x} has {} statistics", id, copy->stat == 0 ? "no" : "unwanted" );
  const bool twin = isTwin( owner, at );
  if ( twin )
    auditTwin( owner, records, *copy, first );
  if ( pending_.unsettled( id ) )
    return;
  auditState( records, entry, *copy, twin );
  if ( copy->priority != first.priority )
    report( "entry {:#x} has priority {}, the first copy {}", id, copy->priority, first.priority );
  if ( !twin )
    auditRule( records, entry, at, *copy, first );
  auditPolicer( owner, at, *copy, first );
}

void UnitAudit::auditState( const EntryRecords & records, U32 entry,
                            const SoftAsic::EntryView & copy, bool twin ) {
  if ( copy.installed != records.entryInstalled( entry ) )
    report( "entry {:#x} is {}installed", copy.id, copy.installed ? "" : "not " );
  if ( copy.enabled ==
       ( records.entryDisabled( entry ) || ( twin && records.ovidTwinIdle( entry ) ) ) )
    report( "entry {:#x} is {}", copy.id, copy.enabled ? "enabled" : "disabled" );
}

// Every copy holds the same rule, but that a redirect to loopback is to its own pipe's port.
void UnitAudit::auditRule( const EntryRecords & records, U32 entry, const Morvane::PipeCopy & at,
                           const SoftAsic::EntryView & copy, const SoftAsic::EntryView & first ) {
  SoftAsic::RuleView rule = copy.effective;
  SoftAsic::RuleView expected = first.effective;
  const Morvane::LoopbackRedirect redirect = records.loopbackRedirect( entry );
  if ( redirect.action != 0 && copy.installed ) {
    bcm_pbmp_t ports = redirect.ports;
    ports.add( Morvane::getLoopbackPortId( unit_, manager_.singleView() ? 0 : at.pipe ) );
    for ( SoftAsic::ActionView & action : expected.actions )
      if ( static_cast< U32 >( action.action ) == redirect.action )
        action.ports = ports;
  }
  if ( rule != expected )
    report( "entry {:#x} holds another rule than the first copy", copy.id );
}

// Unallocated entries of a pre-created range are on the chip, cleared.
void UnitAudit::auditIdleEntry( const EntryManager & owner, U32 entry ) {
  for ( const Morvane::PipeCopy at : manager_.pipeCopies( unit_, owner.group() ) ) {
    const U32 id = at.entryId( entry );
    ownedEntries_.insert( id );
    const auto copy = chip_.entry( unit_, id );
    if ( !copy )
      report( "entry {:#x} of the range of {} is not on the chip", id, owner.desc().charPtr() );
    else if ( pending_.unsettled( id ) )
      continue;
    else if ( copy->installed || !copy->enabled || copy->stat != 0 || copy->policer != 0 ||
              copy->pending != SoftAsic::RuleView() )
      report( "entry {:#x} of {} is not cleared", id, owner.desc().charPtr() );
  }
}

void UnitAudit::auditStat( const EntryRecords & records, const SoftAsic::EntryView & onChip ) {
  const U32 recorded = records.entryStats( onChip.id );
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

// All other records belong to an entry in entryCreated.
void UnitAudit::auditRecords( const EntryManager & owner, const EntryRecords & records ) {
  const auto orphan = [ & ]( const char * what, U32 id ) {
    if ( !records.entryCreatedHas( Morvane::tcamNumberBits.get( id ) ) )
      report( "{} of {} is left of entry {:#x}", what, owner.desc().charPtr(), id );
  };
  for ( auto it = records.entryStatsIterConst(); it; ++it )
    orphan( "a statistics id", it.key() );
  for ( auto it = records.statTypesIterConst(); it; ++it )
    orphan( "a list of counters", it.key() );
  for ( auto it = records.groupIdIterConst(); it; ++it )
    orphan( "a group id", it.key() );
  for ( auto it = records.entryInstalledIterConst(); it; ++it )
    orphan( "an installation mark", it.key() );
  for ( auto it = records.entryInPortsIterConst(); it; ++it )
    orphan( "a record of input ports", it.key() );
  for ( auto it = records.entryDisabledIterConst(); it; ++it )
    orphan( "a disabled mark", it.key() );
  for ( auto it = records.ovidTwinIterConst(); it; ++it )
    orphan( "a twin", it.key() );
  for ( auto it = records.ovidTwinIdleIterConst(); it; ++it )
    orphan( "an idle mark of a twin", it.key() );
  for ( auto it = records.loopbackPortRedirectActionIterConst(); it; ++it )
    orphan( "a loopback redirect", it.key() );
  for ( auto it = records.loopbackRedirectIterConst(); it; ++it )
    orphan( "a loopback redirect in force", it.key() );
  for ( auto it = records.tcamEntryBcmPbmpIterConst(); it; ++it )
    orphan( "a store of input ports", it.key() );
  for ( auto it = records.outportsBcmPbmpIterConst(); it; ++it )
    orphan( "a store of output ports", it.key() );
  if ( records.multicastWarEntry() != 0 )
    orphan( "the multicast entry", records.multicastWarEntry() );
  for ( auto it = records.rangeEntryMissingIterConst(); it; ++it )
    if ( !records.rangeCreated() || records.entryCreatedHas( it.key() ) ||
         it.key() < owner.baseEntry() || it.key() >= owner.endEntry() )
      report( "entry {:#x} of {} is wrongly marked as missing", it.key(), owner.desc().charPtr() );
}

void UnitAudit::auditForeignEntries() {
  for ( const auto & [ id, group ] : groups_ ) {
    for ( const U32 entry : group.entries )
      if ( !ownedEntries_.contains( entry ) && !pending_.entries.contains( entry ) )
        report( "entry {:#x} in group {:#x} belongs to nobody", entry, id );
  }
}

void UnitAudit::auditForeignStats() {
  for ( const auto & [ id, stat ] : statistics_ )
    if ( !ownedStats_.contains( id ) && !pending_.stats.contains( id ) )
      report( "statistics {} belong to nobody", id );
}

}  // namespace Audit
