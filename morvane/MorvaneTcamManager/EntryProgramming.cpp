// Writing a handed-out entry's rule into every pipe and copy.

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/EntryAllocation.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

int MorvaneTcamEntryManager::installEntry( U32 unit, U32 entry ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  MORVANE_TRACE( traceEntry ) << "installEntry"
                              << " entry " << entry;
  const bool wasInstalled = entries->entryInstalled( entry );
  U32 installed = 0;
  try {
    installCopies( unit, *entries, entry, installed );
  } catch ( ... ) {
    // Either every copy is in the lookup, or none is. A twin that is half rewritten never is.
    U32 removed = 0;
    if ( groupManager()->ovidWar( group() ) )
      removeOvidWarEntry( unit, entry );
    else if ( !wasInstalled )
      removeCopies( unit, entry, installed, removed );
    throw;
  }
  entries->entryInstalledIs( entry, true );
  if ( entries->loopbackPortRedirectAction( entry ) != 0 )
    programLoopback( unit, entry );
  dropTemporaryStore( *entries, entry );
  entries->loopbackPortRedirectActionDel( entry );
  entries->outportsBcmPbmpDel( entry );
  return 0;
}

void MorvaneTcamEntryManager::installCopies( U32 unit, UnitEntriesCreated & entries, U32 entry,
                                             U32 & installed ) {
  const bool ovidWar = groupManager()->ovidWar( group() );
  for ( const PipeCopy c : copies( unit ) ) {
    const U32 tcamEntryId = c.entryId( entry );
    if ( ovidWar ) {
      processOvidWarEntry( unit, entry, tcamEntryId );
      continue;
    }
    if ( !c.first() )
      SDK_CHECKED( SdkShim->kelmor_field_entry_copy_id( unit, entry, tcamEntryId ) );
    if ( entries.tcamEntryBcmPbmpSize() != 0 )
      applyInPorts( unit, entry, tcamEntryId );
    SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
    ++installed;
    MORVANE_TRACE( traceEntry ) << "installEntry"
                                << " Entry installed: " << tcamEntryId;
  }
}

// Takes the first `howMany` hardware copies out of the lookup, and counts them in `removed`.
void MorvaneTcamEntryManager::removeCopies( U32 unit, U32 entry, U32 howMany, U32 & removed ) {
  for ( const PipeCopy c : copies( unit ) ) {
    if ( removed == howMany )
      return;
    const U32 tcamEntryId = c.entryId( entry );
    SDK_CHECKED( bcm_field_entry_remove( unit, tcamEntryId ) );
    ++removed;
    MORVANE_TRACE( traceEntry ) << "removeEntry"
                                << " Entry removed: " << tcamEntryId;
  }
}

int MorvaneTcamEntryManager::reinstallEntry( U32 unit, U32 entry ) {
  return installEntry( unit, entry );
}

int MorvaneTcamEntryManager::removeEntry( U32 unit, U32 entry ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  // The twin leaves the map first: no bitmap that changes meanwhile shall install it again.
  const bool ovidWar = groupManager()->ovidWar( group() );
  const OvidTwin twin = entries->ovidTwin( entry );
  if ( ovidWar )
    tcamMgrUpdateOvidEntryMap( unit, entry, {} );
  U32 removed = 0;
  try {
    removeCopies( unit, entry, allCopies, removed );
  } catch ( ... ) {
    for ( const PipeCopy c : copies( unit ) ) {
      if ( removed-- == 0 )
        break;
      const U32 tcamEntryId = c.entryId( entry );
      SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
    }
    if ( ovidWar ) {
      tcamMgrUpdateOvidEntryMap( unit, entry, twin );
      rewriteOvidTwin( unit, entry );
    }
    throw;
  }
  entries->entryInstalledIs( entry, false );
  dropTemporaryStore( *entries, entry );
  return 0;
}

void MorvaneTcamEntryManager::enableEntry( U32 unit, U32 entry, bool enable, int toleratedRc ) {
  if ( groupManager()->singleView() )
    KIV_ASSERT( groupManager()->tcamManagerForEntry( entry ).rawPtr_ == this );
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  bool refused = false;
  for ( const PipeCopy c : copies( unit ) ) {
    if ( enable && c.pipe != 0 && entries->ovidTwinIdle( entry ) )
      continue;
    const U32 tcamEntryId = c.entryId( entry );
    if ( SDK_TOLERATED( toleratedRc, bcm_field_entry_enable_set( unit, tcamEntryId, enable ) ) < 0 )
      refused = true;
    else if ( !enable )
      entries->entryDisabledIs( entry, true );
  }
  if ( enable && !refused )
    entries->entryDisabledDel( entry );
}

int MorvaneTcamEntryManager::setPriorityForEntry( U32 unit, U32 entry, U32 priority ) {
  if ( priority == invalidPrio() )
    priority = defaultPrio( entry );
  MORVANE_TRACE( traceEntry ) << "setPriorityForEntry"
                              << " fp entry prio " << entry << " " << priority;
  for ( const PipeCopy c : copies( unit ) ) {
    const U32 entryId = c.entryId( entry );
    SDK_CHECKED( bcm_field_entry_prio_set( unit, entryId, priority ) );
    FP_COMMAND() << "fp entry prio " << entryId << " " << priority;
  }
  return 0;
}

void MorvaneTcamEntryManager::compressEntries( U32 unit ) {
  const Kiv::Ptr< UnitEntriesCreated > entries = internalUnitEntry( unit );
  if ( !entries || entries->entryCreatedSize() == 0 )
    return;
  for ( const PipeCopy c : copies( unit ) ) {
    const U32 groupId = c.pipeGroup;
    SDK_UNCHECKED( bcm_field_group_compress( unit, groupId ) );
    FP_COMMAND() << "fp group compress " << groupId;
  }
  groupManager()->sliceFreedDel( group() );
}

}  // namespace Morvane
