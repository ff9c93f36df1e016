// A rule that limits the rate of packets to one host, and counts what it lets pass and drops.
#include <cstdio>

#include "ExampleSwitch.h"

int main() {
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  ExampleSwitch sw;
  auto & acl = *sw.groups->entryManager( Morvane::ipAclTcamGroup );

  // The counters of the entry: those of all packets, and those of the policer's colours.
  const auto counters = Kiv::make< Morvane::StatTypes >( Kiv::Name( "counters" ) );
  for ( unsigned type : { bcmFieldStatPackets, bcmFieldStatBytes, bcmFieldStatGreenPackets,
                          bcmFieldStatGreenBytes, bcmFieldStatYellowPackets,
                          bcmFieldStatYellowBytes, bcmFieldStatRedPackets, bcmFieldStatRedBytes } )
    counters->typeIs( counters->typeSize(), type );
  const unsigned entry =
      acl.getEntryWithStats( unit, acl.baseEntry(), "police 192.0.2.9", counters );
  SDK_CHECKED( bcm_field_qualify_IpType( unit, entry, bcmFieldIpTypeIpv4Any ) );
  SDK_CHECKED( bcm_field_qualify_DstIp( unit, entry, 0xC0000209, 0xFFFFFFFF ) );

  // 1 Mbit/s, with bursts of 16 kbit: 33 packets of 60 bytes. The limit holds for each pipe.
  bcm_policer_config_t config = {};
  config.mode = bcmPolicerModeCommitted;
  config.ckbits_sec = 1000;
  config.ckbits_burst = 16;
  const unsigned policer =
      sw.groups->createPolicer( unit, reinterpret_cast< Kiv::U8 * >( &config ) );
  acl.attachPolicer( unit, entry, policer, true );
  acl.installEntry( unit, entry );

  const auto report = [ & ]( const char * when ) {
    std::printf( "%s: %u packets, %u green, %u dropped\n", when,
                 unsigned( acl.hitsForEntry( unit, entry ) ),
                 unsigned( acl.greenPktHitsForEntry( unit, entry ) ),
                 unsigned( acl.pktDropsForEntry( unit, entry ) ) );
  };
  const auto burst = [ & ] {
    for ( int packet = 0; packet < 50; ++packet )
      sw.send( tcpPacket( 0xC0000209 ) );
  };
  burst();
  report( "burst" );
  sw.chip.advance( unit, 4'800'000 );  // 4.8 ms refill 4,800 bits: ten packets
  burst();
  report( "after 4.8 ms" );
  acl.clearCountersForEntry( unit, entry );
  report( "cleared" );

  // Releasing the entry detaches the policer, which can then be destroyed.
  acl.releaseEntry( unit, entry );
  sw.groups->removePolicer( unit, policer );
  std::printf( "policers left: %zu\n", sw.chip.policers( unit ).size() );
  return 0;
}
