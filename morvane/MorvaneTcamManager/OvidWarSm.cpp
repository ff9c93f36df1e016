// The map from VLANs to the entries that match them, and what follows a change of a bitmap.

#include "kiv/Strep.h"
#include "morvane/MorvaneOvidWarSm.h"

namespace Morvane {

MorvaneOvidWarSm::MorvaneOvidWarSm( const Kiv::Name & name,
                                    Kiv::Ptr< const MorvaneOvidUtBitmapDir > directory )
    : Kiv::Entity( name ), directory_( this, "directory", std::move( directory ) ) {
  notifierIs( this->directory() );
}

const char * MorvaneOvidWarSm::fwkType() const {
  return "Morvane::MorvaneOvidWarSm";
}

Kiv::Ptr< OvidEntries > MorvaneOvidWarSm::newOvidEntries( MorvaneUnitOvidKey key ) {
  return Kiv::make< OvidEntries >( Kiv::Name( Kiv::valueToStrep( key ) ) );
}

void MorvaneOvidWarSm::entryIs( U32 unit, U32 entry, const OvidMatch & match,
                                const Kiv::Ptr< MorvaneTcamEntryManager > & manager ) {
  match.forEachVlan( [ & ]( U16 vlan ) {
    ovidEntriesIs( { unit, vlan } )->managerIs( entry, manager );
  } );
}

void MorvaneOvidWarSm::entryDel( U32 unit, U32 entry, const OvidMatch & match ) {
  match.forEachVlan( [ & ]( U16 vlan ) {
    const MorvaneUnitOvidKey key( unit, vlan );
    const Kiv::Ptr< OvidEntries > entries = ovidEntries( key );
    if ( !entries )
      return;
    entries->managerDel( entry );
    if ( entries->managerSize() != 0 )
      return;
    ovidEntriesDel( key );
    overdueDel( key );
  } );
}

bcm_pbmp_t MorvaneOvidWarSm::untaggedPorts( U32 unit, const OvidMatch & match ) const {
  bcm_pbmp_t ports = {};
  if ( !directory() )
    return ports;
  match.forEachVlan( [ & ]( U16 vlan ) {
    const bcm_pbmp_t untagged = directory()->ovidUtBitmap( { unit, vlan } );
    for ( U32 word = 0; word < BCM_PBMP_PORT_MAX / 32; ++word )
      ports.pbits[ word ] |= untagged.pbits[ word ];
  } );
  return ports;
}

void MorvaneOvidWarSm::onOvidUtBitmap( const MorvaneUnitOvidKey & key ) {
  if ( ovidEntriesHas( key ) )
    overdueIs( key, true );
  std::exception_ptr failure;
  for ( auto it = overdueIterConst(); it; ++it )
    rewriteTwins( it.key(), failure );
  if ( failure )
    std::rethrow_exception( failure );
}

// Keeps the first failure; one twin that fails does not hold up the others.
void MorvaneOvidWarSm::rewriteTwins( const MorvaneUnitOvidKey & key,
                                     std::exception_ptr & failure ) {
  const Kiv::Ptr< OvidEntries > entries = ovidEntries( key );
  if ( !entries )
    return;
  bool done = true;
  for ( auto it = entries->managerIterConst(); it; ++it ) {
    // Held, for the member may go meanwhile. NOLINTNEXTLINE(performance-unnecessary-copy-*)
    const Kiv::Ptr< MorvaneTcamEntryManager > manager = it.value();
    try {
      manager->rewriteOvidTwin( key.unit, it.key() );
    } catch ( ... ) {
      done = false;
      if ( !failure )
        failure = std::current_exception();
    }
  }
  if ( done )
    overdueDel( key );
  else if ( ovidEntriesHas( key ) )  // another activity may have gone through them meanwhile
    overdueIs( key, true );
}

}  // namespace Morvane
