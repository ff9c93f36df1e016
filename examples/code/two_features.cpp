// Three features and one TCAM. IPv4 and router ACLs share a group, so that they fill slices
// together; MAC ACLs have a group of their own and must wait for a slice.
#include <cstdio>

#include "ExampleSwitch.h"

namespace {

using Morvane::MorvaneTcamEntryManager;

// The library marks a feature exhausted when its TCAM is full, and clears the mark when another
// attempt can succeed.
struct RoomWatch : MorvaneTcamEntryManager::Notifiee {
  explicit RoomWatch( Morvane::MorvaneBoundedTcamEntryManager & watched ) : feature( watched ) {
    notifierIs( Kiv::Ptr< const Kiv::Entity >( &feature ) );
  }
  void onExhausted( Kiv::U32 changed ) override {
    const bool full = feature.exhausted( changed );
    std::printf( "%s: %s\n", feature.desc().charPtr(), full ? "full" : "room again" );
  }
  Morvane::MorvaneBoundedTcamEntryManager & feature;
};

}  // namespace

int main() {
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  ExampleSwitch sw;
  auto & ip = *sw.groups->entryManager( Morvane::ipAclTcamGroup );
  auto & router = *sw.groups->entryManager( Morvane::routerAclTcamGroup );
  auto & mac = *sw.groups->entryManager( Morvane::macAclTcamGroup );
  RoomWatch watches[] = { RoomWatch( ip ), RoomWatch( router ), RoomWatch( mac ) };

  // The router ACL's first entry goes into a slice that the group already has.
  unsigned last = ip.getEntry( unit, ip.baseEntry(), "ip 0" );
  const unsigned slices = unsigned( sw.chip.groups( unit ).size() );
  const unsigned route = router.getEntry( unit, router.baseEntry(), "router 0" );
  std::printf( "router entry 0x%x, further groups: %zu\n", route,
               sw.chip.groups( unit ).size() - slices );

  // No room is a result, not an error: getEntry returns 0.
  unsigned count = 1;
  for ( unsigned next; ( next = ip.getEntry( unit, last + 1, "ip" ) ) != 0; ++count )
    last = next;
  std::printf( "ip entries: %u, room for router: %u\n", count, router.entriesAvailable( unit ) );
  std::printf( "mac entry: %u\n", mac.getEntry( unit, mac.baseEntry(), "mac 0" ) );

  // The mark of the MAC ACL is cleared when a try is worthwhile, not before.
  unsigned released = 0;
  unsigned tries = 0;
  unsigned entry = 0;
  while ( entry == 0 ) {
    ip.releaseEntry( unit, last-- );
    ++released;
    if ( mac.exhausted( unit ) )
      continue;
    ++tries;
    entry = mac.getEntry( unit, mac.baseEntry(), "mac 0" );
  }
  std::printf( "mac entry 0x%x after %u releases, %u tries\n", entry, released, tries );
  return 0;
}
