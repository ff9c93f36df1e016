// The map from VLANs to the entries that match them, and the reaction to a changed bitmap.

#include "kiv/Strep.h"
#include "morvane/MorvaneOvidWarSm.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/OvidTwins.h"
#include "morvane/Operation.h"

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
  return ovidEntries_.make( Kiv::Name( Kiv::valueToStrep( key ) ) );
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
    if ( entries->managerSize() == 0 )
      ovidEntriesDel( key );
  } );
}

bcm_pbmp_t MorvaneOvidWarSm::untaggedPorts( U32 unit, const OvidMatch & match ) const {
  bcm_pbmp_t ports = {};
  if ( !directory() )
    return ports;
  match.forEachVlan( [ & ]( U16 vlan ) {
    ports = Shim::portsOf( ports, directory()->ovidUtBitmap( { unit, vlan } ),
                           []( U32 a, U32 b ) { return a | b; } );
  } );
  return ports;
}

void MorvaneOvidWarSm::onOvidUtBitmap( const MorvaneUnitOvidKey & key ) {
  const Kiv::Ptr< OvidEntries > waiting = ovidEntries( key );
  if ( !waiting || waiting->managerSize() == 0 )
    return;
  // While this waits, another activity may delete this object or change its entries.
  const Kiv::Ptr< MorvaneOvidWarSm > self( this );
  MorvaneTcamGroupManager & groups = *waiting->managerIterConst().value()->groupManager();
  const Operation operation( groups, key.unit, Operation::Cleanup::withRelease );
  const Kiv::Ptr< OvidEntries > entries = ovidEntries( key );
  if ( !notifier() || !entries )
    return;
  std::exception_ptr failure;
  Release release( groups, key.unit );
  for ( auto it = entries->managerIterConst(); it; ++it ) {
    // A twin that fails is rewritten by the cleanup. NOLINTNEXTLINE(performance-unnecessary-*)
    const Kiv::Ptr< MorvaneTcamEntryManager > manager = it.value();
    try {
      finishCleanup( groups, key.unit );
      OvidTwins( *manager, key.unit ).rewrite( it.key() );
    } catch ( ... ) {
      failure = std::current_exception();
      release.add( { cleanupRewriteTwin, it.key() } );
    }
  }
  if ( failure )
    std::rethrow_exception( failure );
}

}  // namespace Morvane
