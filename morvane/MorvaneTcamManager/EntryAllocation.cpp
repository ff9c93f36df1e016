#include "morvane/MorvaneTcamManager/EntryAllocation.h"

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/StatTypesList.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

// --- Public getters --------------------------------------------------------------------------

U32 MorvaneBoundedTcamEntryManager::getEntry( U32 unit, U32 entry, const Kiv::String8 & desc ) {
  return getEntryWithStats( unit, entry, desc, defaultStatTypes() );
}

U32 MorvaneBoundedTcamEntryManager::getEntryWithStats( U32 unit, U32 entry,
                                                       const Kiv::String8 & desc,
                                                       const Kiv::Ptr< StatTypes > & statTypes ) {
  MORVANE_TRACE( traceEntry ) << "Unit: " << unit << "entry: " << entry
                              << " base entry: " << baseEntry() << " end entry: " << endEntry()
                              << " desc: " << desc;
  KIV_ASSERT( entry >= baseEntry() && entry < endEntry() );
  const U32 id = getEntryBase( unit, entry, desc, statTypes );
  if ( id == 0 )
    return 0;
  try {
    setPriorityForEntry( unit, entry, invalidPrio() );
  } catch ( ... ) {
    releaseEntry( unit, entry );
    throw;
  }
  return id;
}

U32 MorvaneUnboundedTcamEntryManager::getEntry( U32 unit, const Kiv::String8 & desc ) {
  return getEntryBase( unit, anyEntry, desc, defaultStatTypes() );
}

U32 MorvaneUnboundedTcamEntryManager::getEntryWithStats( U32 unit, const Kiv::String8 & desc,
                                                         const Kiv::Ptr< StatTypes > & statTypes ) {
  return getEntryBase( unit, anyEntry, desc, statTypes );
}

U32 MorvaneTcamEntryManager::getEntryBase( U32 unit, U32 entry, const Kiv::String8 & desc,
                                           const Kiv::Ptr< StatTypes > & statTypes ) {
  MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " " << name() << " getEntryBase"
                              << "(entry=0x" << Snaptrace::hex( entry ) << ")";
  const bool entryDesc = !desc.empty();
  KIV_ASSERT( entryDesc );
  try {
    return allocateEntry( unit, entry, desc, statTypes );
  } catch ( ... ) {
    giveBackIfIdle( unit );
    throw;
  }
}

// Every member of entryCreated but the placeholder has an installation mark, which is found faster.
bool MorvaneTcamEntryManager::isTaken( const UnitEntriesCreated & entries, U32 entry ) const {
  return entries.entryInstalledHas( entry ) ||
         ( entry == anyEntry && entries.entryCreatedHas( entry ) );
}

U32 MorvaneTcamEntryManager::allocateEntry( U32 unit, U32 entry, const Kiv::String8 & desc,
                                            const Kiv::Ptr< StatTypes > & statTypes ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  if ( entries->entryCreatedSize() == 0 ) {
    if ( !initializeGroup( unit ) )
      return 0;
    if ( holdsRange() && !entries->rangeCreated() && !allocateAllEntries( unit ) ) {
      giveBackIfIdle( unit );
      return 0;
    }
  } else if ( strategy() != tcamAllocateUnbounded && isTaken( *entries, entry ) ) {
    return 0;
  }
  const U32 id = EntryAllocation( *this, unit, entry, desc, statTypes ).run();
  if ( id == 0 ) {
    // Giving back what was taken makes room again; the refusal stands all the same.
    const bool refused = exhausted( unit );
    giveBackIfIdle( unit );
    if ( refused && !exhausted( unit ) )
      setExhausted( unit, true, false );
  }
  return id;
}

// --- One attempt -----------------------------------------------------------------------------

EntryAllocation::EntryAllocation( MorvaneTcamEntryManager & manager, U32 unit, U32 entry,
                                  const Kiv::String8 & desc,
                                  const Kiv::Ptr< StatTypes > & statTypes )
    : manager_( manager ),
      entries_( manager.unitEntries( unit ) ),
      unit_( unit ),
      entry_( entry ),
      desc_( desc ),
      statTypes_( statTypes ),
      creates_( !manager.holdsRange() || entries_->rangeEntryMissing( entry ) ) {}

U32 EntryAllocation::run() {
  try {
    if ( !createCopies() ) {
      undo();
      return 0;
    }
    manager_.setExhausted( unit_, false, false );
    record();
    if ( manager_.allocateStatsPerEntry() && !attachStats() ) {
      undo();
      manager_.setExhausted( unit_, true, false );
      return 0;
    }
    return handOver();
  } catch ( ... ) {
    undo();
    throw;
  }
}

U32 EntryAllocation::handOver() {
  const U32 unit = unit_;
  const U32 entryId = entry_;
  manager_.groupManager()->traceGroupStatus( unit, entries_->groupId( entryId ) );
  const MorvaneCentral::Attributes & agent = MorvaneCentral::morvaneAttributes();
  if ( agent.dumpEntries && agent.dumpNewEntries )
    SDK_CHECKED( bcm_field_entry_dump( unit, entryId ) );
  KIV_ASSERT( entryId > 0 );
  groups().tcamManagerForEntryIs( entryId, Kiv::Ptr< MorvaneTcamEntryManager >( &manager_ ) );
  MORVANE_TRACE( traceEntry ) << "getEntryBase returning entryId: " << entryId
                              << " for : " << desc_;
  return entryId;
}

bool EntryAllocation::createCopies() {
  PipeCopies copies = manager_.copies( unit_ );
  KIV_ASSERT( !copies.empty() );
  const bool ordersEntries = groups().managedPriority( manager_.group() );
  for ( const PipeCopy c : copies ) {
    if ( creates_ ) {
      const int rc = createCopy( c );
      if ( rc < 0 )
        return refused( c, rc );
      ++created_;
    }
    if ( ordersEntries ) {
      const U32 unit = unit_;
      const U32 entryId = c.entryId( entry_ );
      const U32 defPrio = manager_.defaultPrio( entry_ );
      SDK_CHECKED( bcm_field_entry_prio_set( unit, entryId, defPrio ) );
    }
  }
  if ( creates_ && manager_.holdsRange() )
    entries_->rangeEntryMissingDel( entry_ );
  return true;
}

int EntryAllocation::createCopy( const PipeCopy & at ) {
  const U32 unit = unit_;
  const U32 groupId = at.pipeGroup;
  bcm_field_entry_t entryId = at.entryId( entry_ );
  int rc;
  if ( entry_ == anyEntry && manager_.strategy() == tcamAllocateUnbounded ) {
    rc = SDK_CALL( bcm_field_entry_create( unit, groupId, &entryId ) );
    if ( rc >= 0 )
      entry_ = tcamNumberBits.get( entryId );
  } else {
    rc = SDK_CALL( bcm_field_entry_create_id( unit, groupId, entryId ) );
  }
  if ( rc >= 0 ) {
    FP_COMMAND() << "fp entry create " << groupId << " " << entryId;
    manager_.countsOf( at ).unitAllocatedInc( unit, 1 );
  }
  MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " getEntryBase"
                              << " Entry created with entryId: 0x" << Snaptrace::hex( entryId )
                              << " in group: " << groupId;
  return rc;
}

// Pipe 0 may be full; a later pipe that differs from it means broken books. A twin shares the table
// of pipe 0, where its entry may have taken the last row.
bool EntryAllocation::refused( const PipeCopy & at, int rc ) {
  const U32 pipe = groups().ovidWar( manager_.group() ) ? 0 : at.pipe;
  KIV_ASSERT( pipe == 0 && "Failed to create per pipe entries" );
  MORVANE_TRACE( traceFailure ) << "Unit: " << unit_ << " getEntryBase"
                                << " Error " << rc << " for entry 0x"
                                << Snaptrace::hex( at.entryId( entry_ ) ) << " for " << desc_;
  if ( rc != BCM_E_RESOURCE && rc != BCM_E_EXISTS )
    SDK_RESULT( rc );
  MORVANE_TRACE( traceFailure ) << "Unit: " << unit_ << " " << manager_.name()
                                << " failed to grab entry";
  if ( rc == BCM_E_RESOURCE )
    manager_.setExhausted( unit_, true, false );
  return false;
}

void EntryAllocation::record() {
  recorded_ = true;
  entries_->entryCreatedIs( entry_, desc_ );
  entries_->entryInstalledIs( entry_, false );
  for ( const PipeCopy c : manager_.copies( unit_ ) )
    entries_->groupIdIs( c.entryId( entry_ ), c.pipeGroup );
}

bool EntryAllocation::attachStats() {
  static const StatTypesList usual( *defaultStatTypes() );
  const bool isUsual = !statTypes_ || statTypes_.rawPtr_ == defaultStatTypes().ptr().rawPtr_;
  const StatTypesList list = isUsual ? usual : StatTypesList( *statTypes_ );
  for ( const PipeCopy c : manager_.copies( unit_ ) )
    if ( manager_.installStats( unit_, *entries_, c.pipeGroup, c.entryId( entry_ ), list ) == 0 )
      return false;
  return true;
}

void EntryAllocation::undo() {
  if ( recorded_ ) {
    for ( const PipeCopy c : manager_.copies( unit_ ) ) {
      const U32 entryId = c.entryId( entry_ );
      manager_.removeStats( unit_, *entries_, entryId );
      entries_->groupIdDel( entryId );
    }
    entries_->entryInstalledDel( entry_ );
    entries_->entryCreatedDel( entry_ );
  }
  // An entry of a range goes too: what could not get its statistics is made again at its next use.
  const bool fromRange = recorded_ && !creates_;
  manager_.destroyEntryCopies( unit_, entry_, fromRange ? allCopies : created_ );
  if ( manager_.holdsRange() && ( fromRange || created_ != 0 ) )
    entries_->rangeEntryMissingIs( entry_, true );
}

}  // namespace Morvane
