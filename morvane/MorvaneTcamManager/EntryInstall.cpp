#include "morvane/MorvaneTcamManager/EntryInstall.h"

#include "morvane/MorvaneTcamManager/EntryRecords.h"
#include "morvane/MorvaneTcamManager/OvidTwins.h"
#include "morvane/MorvaneTcamManager/PortBitmaps.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

// --- Rules -----------------------------------------------------------------------------------

void EntryInstall::install( U32 entry ) {
  MORVANE_TRACE( traceEntry ) << "installEntry"
                              << " entry " << entry;
  const bool wasInstalled = assertTaken( entries(), entry );
  Rollback rollback( groups_ );
  writeCopies( entry, rollback, wasInstalled );
  rollback.commit();
  entries().entryInstalledIs( entry, true );
  PortBitmaps( *this ).dropApplied( entry );
}

void EntryInstall::reinstallCopies( U32 entry ) {
  Rollback none( groups_ );  // an installed entry has nothing to be undone
  for ( const PipeCopy c : copies() )
    writeCopy( entry, c, none, true );
  PortBitmaps( *this ).programLoopback( entry, nullptr );
}

void EntryInstall::writeCopies( U32 entry, Rollback & rollback, bool wasInstalled ) {
  bool first = true;
  for ( const PipeCopy c : copies() ) {
    writeCopy( entry, c, rollback, wasInstalled );
    // The old rule is lost: a failure from here on is repaired by completing the installation.
    if ( first && wasInstalled )
      rollback.add( unit_, { cleanupReinstallEntry, entry } );
    first = false;
  }
  PortBitmaps( *this ).programLoopback( entry, wasInstalled ? nullptr : &rollback );
}

// A first installation is undone copy by copy.
void EntryInstall::writeCopy( U32 entry, const PipeCopy & at, Rollback & rollback,
                              bool wasInstalled ) {
  const U32 unit = unit_;
  const U32 tcamEntryId = at.entryId( entry );
  const bool twin = !at.first() && groups_.ovidWar( user_.group() );
  if ( twin ) {
    OvidTwins( *this ).processOvidWarEntry( entry, wasInstalled ? nullptr : &rollback );
    return;
  }
  if ( !at.first() ) {
    SDK_CHECKED( SdkShim->kelmor_field_entry_copy_id( unit, entry, tcamEntryId ) );
    FP_COMMAND() << "fp entry copy " << entry << " " << tcamEntryId;
    if ( !wasInstalled )
      rollback.add( unit, { cleanupClearRule, tcamEntryId } );
  }
  if ( entries().tcamEntryBcmPbmpSize() != 0 )
    PortBitmaps( *this ).apply( entry, tcamEntryId, rollback );
  SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
  FP_COMMAND() << "fp entry install " << tcamEntryId;
  if ( !wasInstalled )
    rollback.add( unit, { cleanupUninstallEntry, tcamEntryId } );
  MORVANE_TRACE( traceEntry ) << "installEntry"
                              << " Entry installed: " << tcamEntryId;
}

void EntryInstall::remove( U32 entry ) {
  assertTaken( entries(), entry );
  Release release( groups_, unit_ );
  for ( const PipeCopy c : copies() )
    release.add( { cleanupRemoveEntry, c.entryId( entry ) } );
  if ( groups_.ovidWar( user_.group() ) )
    OvidTwins( *this ).forget( entry );
  entries().entryInstalledIs( entry, false );
  PortBitmaps( *this ).dropTemporary( entry );
  release.run();
}

// --- State -----------------------------------------------------------------------------------

void EntryInstall::enable( U32 entry, bool enable, int toleratedRc ) {
  assertTaken( entries(), entry );
  const U32 unit = unit_;
  const bool wasEnabled = !entries().entryDisabled( entry );
  const bool twinIdle = entries().ovidTwinIdle( entry );
  bool refused = false;
  bool changed = false;
  Rollback rollback( groups_ );
  for ( const PipeCopy c : copies() ) {
    const bool idle = c.pipe != 0 && twinIdle;
    if ( enable && idle )
      continue;
    const U32 tcamEntryId = c.entryId( entry );
    if ( SDK_TOLERATED( toleratedRc, bcm_field_entry_enable_set( unit, tcamEntryId, enable ) ) <
         0 ) {
      refused = true;
      continue;
    }
    changed = true;
    FP_COMMAND() << "fp entry enable " << tcamEntryId << " " << U32( enable );
    rollback.add( unit, { cleanupEnableEntry, tcamEntryId, U32( wasEnabled && !idle ),
                          static_cast< U32 >( toleratedRc ) } );
  }
  rollback.commit();
  if ( enable && !refused )
    entries().entryDisabledDel( entry );
  else if ( !enable && changed )
    entries().entryDisabledIs( entry, true );
}

void EntryInstall::setPriority( U32 entry, U32 priority ) {
  Rollback rollback( groups_ );
  writePriority( entry, priority, &rollback );
  rollback.commit();
}

void EntryInstall::writePriority( U32 entry, U32 priority, Rollback * rollback ) {
  const U32 unit = unit_;
  if ( priority == user_.invalidPrio() )
    priority = user_.defaultPrio( entry );
  MORVANE_TRACE( traceEntry ) << "setPriorityForEntry"
                              << " fp entry prio " << entry << " " << priority;
  for ( const PipeCopy c : copies() ) {
    const U32 entryId = c.entryId( entry );
    // If this copy fails, it still has the former priority, for the others to be restored from.
    if ( rollback )
      rollback->sourceIs( entryId );
    SDK_CHECKED( bcm_field_entry_prio_set( unit, entryId, priority ) );
    FP_COMMAND() << "fp entry prio " << entryId << " " << priority;
    if ( !rollback )
      continue;
    // The way there and back may leave other free rows than the remaining copies have, which then
    // do not take the same entries.
    if ( c.first() )
      rollback->add( unit, { cleanupCompressEntries, c.pipeGroup } );
    rollback->add( unit, { cleanupCopyPriority, entryId } );
  }
}

// Compresses the other copies even if one throws: copies with unequal free rows do not take the
// same entries.
void EntryInstall::compress() {
  if ( entries().entryCreatedSize() == 0 )
    return;
  Release release( groups_, unit_ );
  for ( const PipeCopy c : copies() )
    release.add( { cleanupCompressGroup, c.pipeGroup } );
  groups_.sliceFreedDel( user_.group() );
  release.run();
}

}  // namespace Morvane
