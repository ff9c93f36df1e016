// Twins: writing them, disabling those that nothing needs, and keeping the map of VLANs.

#include "kiv/Assert.h"
#include "morvane/MorvaneOvidWarSm.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

MorvaneOvidWarSm & warSmOf( const MorvaneTcamGroupManager & groups ) {
  KIV_ASSERT( groups.ovidWarSm() );
  return *groups.ovidWarSm();
}

}  // namespace

// Installs the entry itself, or its twin.
void MorvaneTcamEntryManager::processOvidWarEntry( U32 unit, U32 entry, U32 tcamEntryId ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  if ( tcamEntryId == entry ) {
    if ( entries->tcamEntryBcmPbmpSize() != 0 )
      applyInPorts( unit, entry, tcamEntryId );
    SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
    return;
  }
  // A bitmap that changes from here on passes the twin by, until it is qualified.
  tcamMgrUpdateOvidEntryMap( unit, entry, {} );
  const OvidTwin twin = ovidTwinFor( unit, entry );
  if ( !twin.match.needsTwin() )
    ovidTwinIdleIs( unit, entry, true );
  SDK_CHECKED( SdkShim->kelmor_field_entry_copy_id( unit, entry, tcamEntryId ) );
  entries->entryInPortsDel( tcamEntryId );
  if ( !twin.match.needsTwin() ) {
    SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
    return;
  }
  SDK_CHECKED( bcm_field_qualify_OuterVlanId( unit, tcamEntryId, 0, -1 ) );
  tcamMgrUpdateOvidEntryMap( unit, entry, twin );
  rewriteOvidTwin( unit, entry );
  ovidTwinIdleIs( unit, entry, false );
}

// What the twin of an entry must be made from, read from the entry as it stands.
OvidTwin MorvaneTcamEntryManager::ovidTwinFor( U32 unit, U32 entry ) const {
  OvidTwin twin;
  // A group that was made anew for other packets may have lost the qualifier.
  const int rc = SDK_TOLERATED(
      BCM_E_PARAM,
      bcm_field_qualify_OuterVlanId_get( unit, entry, &twin.match.vlan, &twin.match.mask ) );
  if ( rc < 0 || !twin.match.needsTwin() )
    return {};
  const EntryInPorts own = inPortsForEntry( unit, entry );
  for ( U32 word = 0; word < BCM_PBMP_PORT_MAX / 32; ++word )
    twin.ports.pbits[ word ] = own.data.pbits[ word ] | ~own.mask.pbits[ word ];
  return twin;
}

void MorvaneTcamEntryManager::rewriteOvidTwin( U32 unit, U32 entry ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  const U32 tcamEntryId = ovidTwinId( entry );
  // The bitmap may change again, or the entry go, while the ASIC is busy.
  while ( entries->ovidTwinHas( entry ) ) {
    const EntryInPorts wanted = ovidTwinPorts( unit, entries->ovidTwin( entry ) );
    if ( entries->entryInPortsHas( tcamEntryId ) && entries->entryInPorts( tcamEntryId ) == wanted )
      return;
    installOvidTwin( unit, tcamEntryId, wanted );
  }
}

EntryInPorts MorvaneTcamEntryManager::ovidTwinPorts( U32 unit, const OvidTwin & twin ) const {
  EntryInPorts ports;
  ports.data = warSmOf( *groupManager() ).untaggedPorts( unit, twin.match );
  for ( U32 word = 0; word < BCM_PBMP_PORT_MAX / 32; ++word ) {
    ports.data.pbits[ word ] &= twin.ports.pbits[ word ];
    ports.mask.pbits[ word ] = ~0U;
  }
  return ports;
}

// Its entry may be removed, or released, while the ASIC is busy: the twin stays away then.
void MorvaneTcamEntryManager::installOvidTwin( U32 unit, U32 tcamEntryId,
                                               const EntryInPorts & ports ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  const U32 owner = tcamNumberBits.get( tcamEntryId );
  SDK_CHECKED( bcm_field_qualify_InPorts( unit, tcamEntryId, ports.data, ports.mask ) );
  try {
    if ( entries->ovidTwinHas( owner ) )
      lookUpOvidTwin( unit, *entries, tcamEntryId );
  } catch ( ... ) {
    // A twin that is installed stays qualified as it is installed.
    if ( entries->ovidTwinHas( owner ) && entries->entryInPortsHas( tcamEntryId ) ) {
      const EntryInPorts before = entries->entryInPorts( tcamEntryId );
      SDK_CHECKED( bcm_field_qualify_InPorts( unit, tcamEntryId, before.data, before.mask ) );
    }
    throw;
  }
  if ( !entries->ovidTwinHas( owner ) )
    return;
  addInPortsForEntry( unit, tcamEntryId, ports.data, ports.mask );
  MORVANE_TRACE( traceEntry ) << "rewriteOvidTwin"
                              << " Entry installed: " << tcamEntryId;
}

// A twin that is in the lookup is only reinstalled, which does not bring back one that has left it
// meanwhile. `entry` is the twin.
void MorvaneTcamEntryManager::lookUpOvidTwin( U32 unit, const UnitEntriesCreated & entries,
                                              U32 entry ) {
  if ( !entries.entryInPortsHas( entry ) ) {
    const U32 tcamEntryId = entry;
    SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
    return;
  }
  const int rc = SDK_CALL( bcm_field_entry_reinstall( unit, entry ) );
  if ( entries.ovidTwinHas( tcamNumberBits.get( entry ) ) )
    SDK_RESULT_OF( rc, bcm_field_entry_reinstall( unit, entry ) );
}

// A twin that no outer-VLAN match needs is disabled, whatever its feature asks for.
void MorvaneTcamEntryManager::ovidTwinIdleIs( U32 unit, U32 entry, bool idle ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  if ( entries->ovidTwinIdle( entry ) == idle )
    return;
  const U32 tcamEntryId = ovidTwinId( entry );
  if ( !entries->entryDisabled( entry ) )
    SDK_CHECKED( bcm_field_entry_enable_set( unit, tcamEntryId, !idle ) );
  if ( idle )
    entries->ovidTwinIdleIs( entry, true );
  else
    entries->ovidTwinIdleDel( entry );
}

// The books and the map of VLANs change together. A twin without a match is no longer in use.
void MorvaneTcamEntryManager::tcamMgrUpdateOvidEntryMap( U32 unit, U32 entry,
                                                         const OvidTwin & twin ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  MorvaneOvidWarSm & warSm = warSmOf( *groupManager() );
  if ( entries->ovidTwinHas( entry ) ) {
    warSm.entryDel( unit, entry, entries->ovidTwin( entry ).match );
    entries->ovidTwinDel( entry );
  }
  if ( !twin.match.needsTwin() )
    return;
  entries->ovidTwinIs( entry, twin );
  warSm.entryIs( unit, entry, twin.match, Kiv::Ptr< MorvaneTcamEntryManager >( this ) );
}

// After an installation that was broken off: takes both out of the lookup, as far as they are
// there.
void MorvaneTcamEntryManager::removeOvidWarEntry( U32 unit, U32 entry ) {
  tcamMgrUpdateOvidEntryMap( unit, entry, {} );
  for ( const PipeCopy c : copies( unit ) ) {
    const U32 entryId = c.entryId( entry );
    SDK_TOLERATED( BCM_E_NOT_FOUND, bcm_field_entry_remove( unit, entryId ) );
  }
  unitEntries( unit )->entryInstalledIs( entry, false );
}

}  // namespace Morvane
