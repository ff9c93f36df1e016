// Input ports and loopback redirects of entries: kept until the next installation writes them.

#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

void MorvaneTcamEntryManager::inPortsForEntryIs( U32 unit, U32 entry, const bcm_pbmp_t & data,
                                                 const bcm_pbmp_t & mask, bool permanent ) {
  const Kiv::ValidPtr< TcamEntryBcmPbmp > store = unitEntries( unit )->tcamEntryBcmPbmpIs( entry );
  store->pbmpDataIs( data );
  store->pbmpMaskIs( mask );
  store->singlePortIs( false );
  store->permanentIs( permanent );
}

void MorvaneTcamEntryManager::inPortForEntryIs( U32 unit, U32 entry, U32 port, bool permanent ) {
  const Kiv::ValidPtr< TcamEntryBcmPbmp > store = unitEntries( unit )->tcamEntryBcmPbmpIs( entry );
  store->inPortIs( port );
  store->singlePortIs( true );
  store->permanentIs( permanent );
}

void MorvaneTcamEntryManager::removeTcamEntryBcmPbmp( U32 unit, U32 entry ) {
  dropTemporaryStore( *unitEntries( unit ), entry );
}

void MorvaneTcamEntryManager::dropTemporaryStore( UnitEntriesCreated & entries, U32 entry ) {
  const Kiv::Ptr< TcamEntryBcmPbmp > store = entries.tcamEntryBcmPbmp( entry );
  if ( store && !store->permanent() )
    entries.tcamEntryBcmPbmpDel( entry );
}

void MorvaneTcamEntryManager::tcamEntryBcmPbmpForget( U32 unit, U32 entry ) {
  unitEntries( unit )->tcamEntryBcmPbmpDel( entry );
}

void MorvaneTcamEntryManager::addInPortsForEntry( U32 unit, U32 tcamEntryId,
                                                  const bcm_pbmp_t & data,
                                                  const bcm_pbmp_t & mask ) {
  unitEntries( unit )->entryInPortsIs( tcamEntryId, { data, mask } );
}

void MorvaneTcamEntryManager::addInPortForEntry( U32 unit, U32 tcamEntryId, U32 port ) {
  EntryInPorts ports;
  ports.data.add( port );
  for ( auto & word : ports.mask.pbits )
    word = ~0U;
  unitEntries( unit )->entryInPortsIs( tcamEntryId, ports );
}

EntryInPorts MorvaneTcamEntryManager::inPortsForEntry( U32 unit, U32 tcamEntryId ) const {
  EntryInPorts ports;
  SDK_CHECKED( bcm_field_qualify_InPorts_get( unit, tcamEntryId, &ports.data, &ports.mask ) );
  return ports;
}

void MorvaneTcamEntryManager::applyInPorts( U32 unit, U32 entry, U32 tcamEntryId ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  const Kiv::Ptr< TcamEntryBcmPbmp > store = entries->tcamEntryBcmPbmp( entry );
  if ( !store )
    return;
  if ( store->singlePort() ) {
    SDK_CHECKED( bcm_field_qualify_InPort( unit, tcamEntryId,
                                           entries->tcamEntryBcmPbmp( entry )->inPort(), ~0 ) );
    addInPortForEntry( unit, tcamEntryId, store->inPort() );
  } else {
    SDK_CHECKED( bcm_field_qualify_InPorts( unit, tcamEntryId,
                                            entries->tcamEntryBcmPbmp( entry )->pbmpData(),
                                            entries->tcamEntryBcmPbmp( entry )->pbmpMask() ) );
    addInPortsForEntry( unit, tcamEntryId, store->pbmpData(), store->pbmpMask() );
  }
}

void MorvaneTcamEntryManager::loopbackRedirectIs( U32 unit, U32 entry, bcm_field_action_t action,
                                                  const bcm_pbmp_t & outPorts ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  entries->outportsBcmPbmpIs( entry )->pbmpIs( outPorts );
  entries->loopbackPortRedirectActionIs( entry, action );
}

void MorvaneTcamEntryManager::programLoopback( U32 unit, U32 entry ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  const bcm_field_action_t lbAction =
      static_cast< bcm_field_action_t >( entries->loopbackPortRedirectAction( entry ) );
  const Kiv::Ptr< OutportsTcamBcmPbmp > store = entries->outportsBcmPbmp( entry );
  // A twin does what its entry does.
  const bool firstPipe = groupManager()->singleView() || groupManager()->ovidWar( group() );
  for ( const PipeCopy c : copies( unit ) ) {
    const U32 tcamEntryId = c.entryId( entry );
    const U32 port = getLoopbackPortId( unit, firstPipe ? 0 : c.pipe );
    MORVANE_TRACE( traceEntry ) << "Looback portId pipe " << c.pipe << ": " << port;
    bcm_pbmp_t outPorts = store ? store->pbmp() : bcm_pbmp_t{};
    outPorts.add( port );
    SDK_CHECKED( bcm_field_action_ports_add( unit, tcamEntryId, lbAction, outPorts ) );
    SDK_CHECKED( bcm_field_entry_install( unit, tcamEntryId ) );
    MORVANE_TRACE( traceEntry ) << "installEntry"
                                << " Entry installed: " << tcamEntryId;
  }
}

}  // namespace Morvane
