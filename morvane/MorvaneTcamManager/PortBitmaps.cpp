#include "morvane/MorvaneTcamManager/PortBitmaps.h"

#include "morvane/MorvaneTcamManager/EntryRecords.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

void PortBitmaps::inPortsIs( U32 entry, const bcm_pbmp_t & data, const bcm_pbmp_t & mask,
                             bool permanent ) {
  assertTaken( entries(), entry );
  const Kiv::ValidPtr< TcamEntryBcmPbmp > store = entries().tcamEntryBcmPbmpIs( entry );
  store->pbmpDataIs( data );
  store->pbmpMaskIs( mask );
  store->singlePortIs( false );
  store->permanentIs( permanent );
}

void PortBitmaps::inPortIs( U32 entry, U32 port, bool permanent ) {
  assertTaken( entries(), entry );
  const Kiv::ValidPtr< TcamEntryBcmPbmp > store = entries().tcamEntryBcmPbmpIs( entry );
  store->inPortIs( port );
  store->singlePortIs( true );
  store->permanentIs( permanent );
}

void PortBitmaps::dropTemporary( U32 entry ) {
  if ( entries().tcamEntryBcmPbmpSize() == 0 )
    return;
  const Kiv::Ptr< TcamEntryBcmPbmp > store = entries().tcamEntryBcmPbmp( entry );
  if ( store && !store->permanent() )
    entries().tcamEntryBcmPbmpDel( entry );
}

EntryInPorts PortBitmaps::read( U32 tcamEntryId ) const {
  const U32 unit = unit_;
  EntryInPorts ports;
  SDK_CHECKED( bcm_field_qualify_InPorts_get( unit, tcamEntryId, &ports.data, &ports.mask ) );
  return ports;
}

// Undoing a first installation clears the rule, and so the ports, of every copy but the first.
void PortBitmaps::apply( U32 entry, U32 tcamEntryId, Rollback & rollback ) {
  const U32 unit = unit_;
  const UnitEntriesCreated * const entries = entries_;
  const Kiv::Ptr< TcamEntryBcmPbmp > store = entries->tcamEntryBcmPbmp( entry );
  if ( !store )
    return;
  if ( store->singlePort() ) {
    SDK_CHECKED( bcm_field_qualify_InPort( unit, tcamEntryId,
                                           entries->tcamEntryBcmPbmp( entry )->inPort(), ~0 ) );
    FP_COMMAND() << "fp qual " << tcamEntryId << " InPort " << store->inPort();
    user_.addInPortForEntry( unit, tcamEntryId, store->inPort() );
  } else {
    SDK_CHECKED( bcm_field_qualify_InPorts( unit, tcamEntryId,
                                            entries->tcamEntryBcmPbmp( entry )->pbmpData(),
                                            entries->tcamEntryBcmPbmp( entry )->pbmpMask() ) );
    FP_COMMAND() << "fp qual " << tcamEntryId << " InPorts";
    user_.addInPortsForEntry( unit, tcamEntryId, store->pbmpData(), store->pbmpMask() );
  }
  if ( tcamEntryId != entry && !entries->entryInstalled( entry ) )
    rollback.addRecord(
        [ records = entries_, tcamEntryId ] { records->entryInPortsDel( tcamEntryId ); } );
}

// --- Loopback --------------------------------------------------------------------------------

void PortBitmaps::loopbackIs( U32 entry, bcm_field_action_t action, const bcm_pbmp_t & outPorts ) {
  assertTaken( entries(), entry );
  entries().outportsBcmPbmpIs( entry )->pbmpIs( outPorts );
  entries().loopbackPortRedirectActionIs( entry, action );
}

U32 PortBitmaps::requestedLoopback( U32 entry ) const {
  return entries().loopbackPortRedirectActionSize() != 0
             ? entries().loopbackPortRedirectAction( entry )
             : 0;
}

LoopbackRedirect PortBitmaps::wantedLoopback( U32 entry ) const {
  const U32 requested = requestedLoopback( entry );
  if ( requested == 0 )
    return entries().loopbackRedirectSize() != 0 ? entries().loopbackRedirect( entry )
                                                 : LoopbackRedirect();
  const Kiv::Ptr< OutportsTcamBcmPbmp > store = entries().outportsBcmPbmp( entry );
  return { requested, store ? store->pbmp() : bcm_pbmp_t{} };
}

void PortBitmaps::programLoopback( U32 entry, Rollback * rollback ) {
  const LoopbackRedirect wanted = wantedLoopback( entry );
  if ( wanted.action == 0 )
    return;
  const U32 unit = unit_;
  const bcm_field_action_t lbAction = static_cast< bcm_field_action_t >( wanted.action );
  // A redirect in force is part of the rule already.
  const bool isNew = requestedLoopback( entry ) != 0;
  // A twin does what its entry does.
  const bool firstPipe = groups_.singleView() || groups_.ovidWar( user_.group() );
  for ( const PipeCopy c : copies() ) {
    const U32 tcamEntryId = c.entryId( entry );
    const U32 port = getLoopbackPortId( unit, firstPipe ? 0 : c.pipe );
    MORVANE_TRACE( traceEntry ) << "Looback portId pipe " << c.pipe << ": " << port;
    bcm_pbmp_t outPorts = wanted.ports;
    Shim::portsAdd( outPorts, port );
    SDK_CHECKED( bcm_field_action_ports_add( unit, tcamEntryId, lbAction, outPorts ) );
    FP_COMMAND() << "fp action add " << tcamEntryId << " " << U32( lbAction ) << " port " << port;
    // The rules of the other copies are cleared as a whole.
    if ( rollback && isNew && c.first() )
      rollback->add( unit, { cleanupRemoveAction, tcamEntryId, U32( lbAction ) } );
    SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
    FP_COMMAND() << "fp entry install " << tcamEntryId;
    MORVANE_TRACE( traceEntry ) << "installEntry"
                                << " Entry installed: " << tcamEntryId;
  }
}

void PortBitmaps::dropApplied( U32 entry ) {
  if ( const LoopbackRedirect applied = wantedLoopback( entry ); applied.action != 0 )
    entries().loopbackRedirectIs( entry, applied );
  dropTemporary( entry );
  if ( entries().loopbackPortRedirectActionSize() != 0 )
    entries().loopbackPortRedirectActionDel( entry );
  if ( entries().outportsBcmPbmpSize() != 0 )
    entries().outportsBcmPbmpDel( entry );
}

}  // namespace Morvane
