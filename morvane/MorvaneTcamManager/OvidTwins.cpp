#include "morvane/MorvaneTcamManager/OvidTwins.h"

#include "kiv/Assert.h"
#include "morvane/MorvaneOvidWarSm.h"
#include "morvane/MorvaneTcamManager/PortBitmaps.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

MorvaneOvidWarSm & warSmOf( const MorvaneTcamGroupManager & groups ) {
  KIV_ASSERT( groups.ovidWarSm() );
  return *groups.ovidWarSm();
}

// `entry` is the twin.
void reinstall( U32 unit, U32 entry ) {
  SDK_CHECKED( bcm_field_entry_reinstall( unit, entry ) );
  FP_COMMAND() << "fp entry reinstall " << entry;
}

}  // namespace

void OvidTwins::processOvidWarEntry( U32 entry, Rollback * rollback ) {
  const U32 unit = unit_;
  const U32 tcamEntryId = ovidTwinId( entry );
  forget( entry );
  const OvidTwin twin = read( entry );
  if ( !twin.match.needsTwin() )
    idleIs( entry, true, rollback );
  SDK_CHECKED( SdkShim->kelmor_field_entry_copy_id( unit, entry, tcamEntryId ) );
  FP_COMMAND() << "fp entry copy " << entry << " " << tcamEntryId;
  entries().entryInPortsDel( tcamEntryId );
  if ( rollback )
    rollback->add( unit, { cleanupClearRule, tcamEntryId } );
  installAs( entry, twin, rollback );
}

void OvidTwins::installAs( U32 entry, const OvidTwin & twin, Rollback * rollback ) {
  const U32 unit = unit_;
  const U32 tcamEntryId = ovidTwinId( entry );
  if ( rollback )
    rollback->addRecord(
        [ user = &user_, unit, entry ] { OvidTwins( *user, unit ).forget( entry ); } );
  if ( twin.match.needsTwin() ) {
    // Before the ports are read, so that a change during the calls finds the entry and waits.
    tcamMgrUpdateOvidEntryMap( entry, twin );
    SDK_CHECKED( bcm_field_qualify_OuterVlanId( unit, tcamEntryId, 0, -1 ) );
    FP_COMMAND() << "fp qual " << tcamEntryId << " OuterVlanId 0";
    const EntryInPorts ports = portsOf( twin );
    SDK_CHECKED( bcm_field_qualify_InPorts( unit, tcamEntryId, ports.data, ports.mask ) );
    FP_COMMAND() << "fp qual " << tcamEntryId << " InPorts";
    SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
    entries().entryInPortsIs( tcamEntryId, ports );
  } else {
    SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
  }
  FP_COMMAND() << "fp entry install " << tcamEntryId;
  if ( rollback )
    rollback->add( unit, { cleanupUninstallEntry, tcamEntryId } );
  if ( twin.match.needsTwin() )
    idleIs( entry, false, rollback );
}

// Reads the input of the twin from the entry's current rule.
OvidTwin OvidTwins::read( U32 entry ) const {
  const U32 unit = unit_;
  OvidTwin twin;
  const int rc = SDK_CALL(
      bcm_field_qualify_OuterVlanId_get( unit, entry, &twin.match.vlan, &twin.match.mask ) );
  // The recreated group may lack the qualifier: mirroring groups can change their ACL type.
  if ( rc != BCM_E_PARAM || groupMatchesVlan() )
    SDK_RESULT_OF(
        rc, bcm_field_qualify_OuterVlanId_get( unit, entry, &twin.match.vlan, &twin.match.mask ) );
  if ( rc < 0 || !twin.match.needsTwin() )
    return {};
  const EntryInPorts own = PortBitmaps( *this ).read( entry );
  twin.ports = Shim::portsOf( own.data, own.mask, []( U32 a, U32 b ) { return a | ~b; } );
  return twin;
}

bool OvidTwins::groupMatchesVlan() const {
  const U32 unit = unit_;
  const U32 pipeGroupId = user_.group();
  bcm_field_qset_t qset = {};
  SDK_CHECKED( bcm_field_group_get( unit, pipeGroupId, &qset ) );
  return Shim::Fields::qualifierHas( qset, bcmFieldQualifyOuterVlanId );
}

void OvidTwins::rewrite( U32 entry ) {
  if ( !entries().ovidTwinHas( entry ) )
    return;
  const U32 unit = unit_;
  const U32 tcamEntryId = ovidTwinId( entry );
  const EntryInPorts ports = portsOf( entries().ovidTwin( entry ) );
  if ( entries().entryInPortsHas( tcamEntryId ) && entries().entryInPorts( tcamEntryId ) == ports )
    return;
  // Should a call throw, the ports are unknown and the next attempt writes them in any case.
  entries().entryInPortsDel( tcamEntryId );
  SDK_CHECKED( bcm_field_qualify_InPorts( unit, tcamEntryId, ports.data, ports.mask ) );
  FP_COMMAND() << "fp qual " << tcamEntryId << " InPorts";
  reinstall( unit, tcamEntryId );
  entries().entryInPortsIs( tcamEntryId, ports );
  MORVANE_TRACE( traceEntry ) << "rewriteOvidTwin"
                              << " Entry installed: " << tcamEntryId;
}

EntryInPorts OvidTwins::portsOf( const OvidTwin & twin ) const {
  EntryInPorts ports;
  ports.data = Shim::portsOf( warSmOf( groups_ ).untaggedPorts( unit_, twin.match ), twin.ports,
                              []( U32 a, U32 b ) { return a & b; } );
  ports.mask = Shim::allPorts();
  return ports;
}

// A twin that its rule does not need is disabled, whatever state the feature sets.
void OvidTwins::idleIs( U32 entry, bool idle, Rollback * rollback ) {
  const bool wasIdle = entries().ovidTwinIdle( entry );
  if ( wasIdle == idle )
    return;
  const U32 unit = unit_;
  const U32 tcamEntryId = ovidTwinId( entry );
  if ( !entries().entryDisabled( entry ) ) {
    SDK_CHECKED( bcm_field_entry_enable_set( unit, tcamEntryId, !idle ) );
    FP_COMMAND() << "fp entry enable " << tcamEntryId << " " << U32( !idle );
    if ( rollback )
      rollback->add( unit, { cleanupEnableEntry, tcamEntryId, U32( !wasIdle ) } );
  }
  if ( rollback )
    rollback->addRecord( [ records = entries_, entry, wasIdle ] {
      if ( wasIdle )
        records->ovidTwinIdleIs( entry, true );
      else
        records->ovidTwinIdleDel( entry );
    } );
  if ( idle )
    entries().ovidTwinIdleIs( entry, true );
  else
    entries().ovidTwinIdleDel( entry );
}

// Changes the records and the map of VLANs together. A default `twin` is not in use.
void OvidTwins::tcamMgrUpdateOvidEntryMap( U32 entry, const OvidTwin & twin ) {
  if ( entries().ovidTwinHas( entry ) ) {
    warSmOf( groups_ ).entryDel( unit_, entry, entries().ovidTwin( entry ).match );
    entries().ovidTwinDel( entry );
  }
  if ( !twin.match.needsTwin() )
    return;
  entries().ovidTwinIs( entry, twin );
  warSmOf( groups_ ).entryIs( unit_, entry, twin.match,
                              Kiv::Ptr< MorvaneTcamEntryManager >( &user_ ) );
}

}  // namespace Morvane
