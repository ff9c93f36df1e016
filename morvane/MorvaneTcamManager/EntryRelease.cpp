// Giving entries back: every step of the allocation undone in reverse.

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/EntryAllocation.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

void MorvaneTcamEntryManager::releaseEntry( U32 unit, U32 entry ) {
  releaseEntryInternal( unit, entry, true );
}

void MorvaneTcamEntryManager::releaseEntryInternal( U32 unit, U32 entry, bool giveBackGroup ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " " << name() << " releaseEntry"
                              << "(entry=0x" << Snaptrace::hex( entry ) << ")";
  KIV_ASSERT( isTaken( *entries, entry ) );
  if ( entries->entryInstalled( entry ) )
    removeEntry( unit, entry );

  // A range keeps its hardware entries, for their next users.
  if ( holdsRange() && entries->entryDisabled( entry ) )
    enableEntry( unit, entry, true, 0 );
  if ( holdsRange() )
    ovidTwinIdleIs( unit, entry, false );
  bool sliceFreed = false;
  for ( const PipeCopy c : copies( unit ) )
    sliceFreed = releaseEntryCopy( unit, *entries, c, c.entryId( entry ) ) || sliceFreed;
  entries->tcamEntryBcmPbmpDel( entry );
  entries->loopbackPortRedirectActionDel( entry );
  entries->outportsBcmPbmpDel( entry );
  entries->entryDisabledDel( entry );
  entries->ovidTwinIdleDel( entry );
  dropOwner( unit, entry );
  if ( entries->multicastWarEntry() == entry )
    entries->multicastWarEntryIs( 0 );
  entries->entryInstalledDel( entry );
  entries->entryCreatedDel( entry );
  setExhausted( unit, false, sliceFreed );
  if ( giveBackGroup )
    giveBackIfIdle( unit );
}

// Takes one hardware copy back; true when a slice came free. A release that was broken off by an
// exception can be called again and goes on where it stopped.
bool MorvaneTcamEntryManager::releaseEntryCopy( U32 unit, UnitEntriesCreated & entries,
                                                const PipeCopy & at, U32 entryId ) {
  if ( !entries.groupIdHas( entryId ) )
    return false;
  // The books do not say whether the entry has a policer, and a busy entry cannot go.
  SDK_CHECKED( bcm_field_entry_policer_detach_all( unit, entryId ) );
  if ( allocateStatsPerEntry() )
    removeStats( unit, entries, entryId );
  bool sliceFreed = false;
  if ( !holdsRange() ) {
    sliceFreed = destroyEntryCopy( unit, at, entryId );
  } else {
    SDK_CHECKED( bcm_field_qualify_clear( unit, entryId ) );
    SDK_CHECKED( bcm_field_action_remove_all( unit, entryId ) );
  }
  entries.groupIdDel( entryId );
  entries.entryInPortsDel( entryId );
  return sliceFreed;
}

namespace {

template < class Iter >
Kiv::Ptr< MorvaneTcamEntryManager > holderOf( U32 entry, Iter manager,
                                              const MorvaneTcamEntryManager * but ) {
  for ( ; manager; ++manager ) {
    Kiv::Ptr< MorvaneTcamEntryManager > holder = manager.member();
    for ( auto it = holder->internalUnitEntryIterConst(); it; ++it )
      if ( holder.rawPtr_ != but && it.member()->entryCreatedHas( entry ) )
        return holder;
  }
  return nullptr;
}

}  // namespace

// Entry ids are shared by all units, and the registration with them.
void MorvaneTcamEntryManager::dropOwner( U32 unit, U32 entry ) {
  if ( groupManager()->tcamManagerForEntry( entry ).rawPtr_ != this )
    return;
  if ( groupManager()->modChipInfoSize() == 1 ) {
    groupManager()->tcamManagerForEntryDel( entry );
    return;
  }
  for ( auto it = internalUnitEntryIterConst(); it; ++it )
    if ( it.key() != unit && it.member()->entryCreatedHas( entry ) )
      return;
  // An id that the SDK chose may serve another manager on another unit, which takes over.
  Kiv::Ptr< MorvaneTcamEntryManager > heir =
      holderOf( entry, groupManager()->entryManagerIterConst(), this );
  if ( !heir )
    heir = holderOf( entry, groupManager()->unboundedEntryManagerIterConst(), this );
  if ( heir )
    groupManager()->tcamManagerForEntryIs( entry, heir );
  else
    groupManager()->tcamManagerForEntryDel( entry );
}

}  // namespace Morvane
