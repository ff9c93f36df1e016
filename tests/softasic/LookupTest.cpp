// Random rules against a brute-force walk, on packets inside, beside and far from the rules, while
// entries come, go, move and change.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

// A rule as its author thinks of it; masks of 0 leave a field open.
struct ModelRule {
  U32 priority = 0;
  U64 serial = 0;  // age, for ties
  bool installed = false;
  bool enabled = true;
  U32 srcIp = 0, srcIpMask = 0;
  U32 dstIp = 0, dstIpMask = 0;
  U8 protocol = 0, protocolMask = 0;
  U16 srcPort = 0, srcPortMask = 0;
  U16 dstPort = 0, dstPortMask = 0;
  U8 flags = 0, flagsMask = 0;
  U16 icmp = 0, icmpMask = 0;
  U64 ports = ~0ULL;  // ingress ports that match
  int frag = -1;      // bcm_field_IpFrag_t; -1: open
  int ipType = 0;
};

bool fragMatches( int frag, const Packet & packet ) {
  const bool later = packet.part == Part::later;
  switch ( frag ) {
    case bcmFieldIpFragNon:
      return packet.part == Part::whole;
    case bcmFieldIpFragFirst:
      return packet.part == Part::first;
    case bcmFieldIpFragNonOrFirst:
      return !later;
    case bcmFieldIpFragNotFirst:
      return later;
    default:
      return packet.part != Part::whole;
  }
}

bool typeMatches( int type, const Packet & packet ) {
  switch ( type ) {
    case bcmFieldIpTypeNonIp:
      return !packet.isIp();
    case bcmFieldIpTypeIpv4Any:
      return packet.l3 == L3::ipv4;
    case bcmFieldIpTypeIpv6:
      return packet.l3 == L3::ipv6;
    case bcmFieldIpTypeIp:
      return packet.isIp();
    case bcmFieldIpTypeArp:
      return packet.l3 == L3::arp;
    default:
      return true;
  }
}

bool matches( const ModelRule & rule, const Packet & packet, U32 port ) {
  const auto field = []( bool present, U64 have, U64 want, U64 mask ) {
    return mask == 0 || ( present && ( ( have ^ want ) & mask ) == 0 );
  };
  const bool ipv4 = packet.l3 == L3::ipv4;
  return ( rule.ports >> port & 1 ) != 0 &&
         field( ipv4, packet.srcIp, rule.srcIp, rule.srcIpMask ) &&
         field( ipv4, packet.dstIp, rule.dstIp, rule.dstIpMask ) &&
         field( packet.isIp(), packet.protocol, rule.protocol, rule.protocolMask ) &&
         field( packet.hasPorts(), packet.srcPort, rule.srcPort, rule.srcPortMask ) &&
         field( packet.hasPorts(), packet.dstPort, rule.dstPort, rule.dstPortMask ) &&
         field( packet.hasPorts() && packet.protocol == 6, packet.tcpFlags, rule.flags,
                rule.flagsMask ) &&
         field( packet.hasIcmp(), packet.icmp, rule.icmp, rule.icmpMask ) &&
         ( rule.frag < 0 || ( packet.isIp() && fragMatches( rule.frag, packet ) ) ) &&
         typeMatches( rule.ipType, packet );
}

class LookupTest : public testing::TestWithParam< unsigned > {
 protected:
  static constexpr U32 group = 1;
  static constexpr U32 portCount = 8;

  LookupTest() : chip( profile() ), random( GetParam() ) {
    const int rc = chip.createGroup( groupConfig(
        group, { bcmFieldQualifySrcIp, bcmFieldQualifyDstIp, bcmFieldQualifyIpProtocol,
                 bcmFieldQualifyL4SrcPort, bcmFieldQualifyL4DstPort, bcmFieldQualifyTcpControl,
                 bcmFieldQualifyIcmpTypeCode, bcmFieldQualifyInPorts, bcmFieldQualifyIpFrag,
                 bcmFieldQualifyIpType } ) );
    EXPECT_EQ( rc, BCM_E_NONE );
  }
  static ChipProfile profile() { return smallProfile( 12, 32 ); }

  U32 below( U32 bound ) { return static_cast< U32 >( random() % bound ); }
  // Few distinct values, so that rules overlap, hit and shadow one another.
  U32 someAddress() { return 0x0a000000U | below( 4 ) << 16 | below( 4 ) << 8 | below( 8 ); }
  U32 somePrefix() {
    constexpr U32 lengths[] = { 0, 8, 16, 24, 30, 32 };
    const U32 length = lengths[ below( 6 ) ];
    return length == 0 ? 0 : ~0U << ( 32 - length );
  }
  U16 somePortMask() {
    constexpr U16 masks[] = { 0, 0, 0xFFFF, 0xFFF0, 0xFFC0, 0x8000 };
    return masks[ below( 6 ) ];
  }
  U8 someProtocol() {
    constexpr U8 protocols[] = { 6, 17, 1, 58, 47 };
    return protocols[ below( 5 ) ];
  }

  ModelRule someRule() {
    ModelRule rule;
    rule.srcIp = someAddress();
    rule.srcIpMask = somePrefix();
    rule.dstIp = someAddress();
    rule.dstIpMask = somePrefix();
    rule.protocol = someProtocol();
    rule.protocolMask = below( 2 ) == 0 ? 0xFF : 0;
    rule.srcPort = static_cast< U16 >( below( 80 ) );
    rule.srcPortMask = somePortMask();
    rule.dstPort = static_cast< U16 >( below( 80 ) );
    rule.dstPortMask = somePortMask();
    rule.flags = static_cast< U8 >( below( 32 ) );
    rule.flagsMask = below( 6 ) == 0 ? 0x12 : 0;
    rule.icmp = static_cast< U16 >( below( 3 ) << 8 );
    rule.icmpMask = below( 6 ) == 0 ? 0xFF00 : 0;
    rule.ports = below( 3 ) == 0 ? below( 256 ) : ~0ULL;
    rule.frag = below( 5 ) == 0 ? static_cast< int >( below( 5 ) ) : -1;
    rule.ipType = below( 5 ) == 0 ? static_cast< int >( below( 6 ) ) : 0;
    return rule;
  }

  void program( U32 id, const ModelRule & rule ) {
    bcm_pbmp_t all = {};
    bcm_pbmp_t in = {};
    for ( U32 port = 0; port < portCount; ++port ) {
      all.add( port );
      if ( ( rule.ports >> port & 1 ) != 0 )
        in.add( port );
    }
    chip.bcm_field_qualify_clear( 0, id );
    EXPECT_EQ( chip.bcm_field_qualify_SrcIp( 0, id, rule.srcIp, rule.srcIpMask ), 0 );
    EXPECT_EQ( chip.bcm_field_qualify_DstIp( 0, id, rule.dstIp, rule.dstIpMask ), 0 );
    EXPECT_EQ( chip.bcm_field_qualify_IpProtocol( 0, id, rule.protocol, rule.protocolMask ), 0 );
    EXPECT_EQ( chip.bcm_field_qualify_L4SrcPort( 0, id, rule.srcPort, rule.srcPortMask ), 0 );
    EXPECT_EQ( chip.bcm_field_qualify_L4DstPort( 0, id, rule.dstPort, rule.dstPortMask ), 0 );
    EXPECT_EQ( chip.bcm_field_qualify_TcpControl( 0, id, rule.flags, rule.flagsMask ), 0 );
    EXPECT_EQ( chip.bcm_field_qualify_IcmpTypeCode( 0, id, rule.icmp, rule.icmpMask ), 0 );
    EXPECT_EQ( chip.bcm_field_qualify_InPorts( 0, id, in, all ), 0 );
    EXPECT_EQ(
        chip.bcm_field_qualify_IpType( 0, id, static_cast< bcm_field_IpType_t >( rule.ipType ) ),
        0 );
    if ( rule.frag >= 0 ) {
      const auto frag = static_cast< bcm_field_IpFrag_t >( rule.frag );
      EXPECT_EQ( chip.bcm_field_qualify_IpFrag( 0, id, frag ), 0 );
    }
  }

  // Mostly near a rule: its own values, with the open bits and now and then a fixed one at random.
  Packet somePacket() {
    Packet packet;
    packet.srcIp = someAddress();
    packet.dstIp = someAddress();
    packet.protocol = someProtocol();
    packet.srcPort = static_cast< U16 >( below( 80 ) );
    packet.dstPort = static_cast< U16 >( below( 80 ) );
    packet.tcpFlags = static_cast< U8 >( below( 32 ) );
    packet.icmp = static_cast< U16 >( below( 3 ) << 8 );
    packet.part = below( 5 ) == 0 ? static_cast< Part >( below( 3 ) ) : Part::whole;
    packet.l3 = below( 8 ) == 0 ? static_cast< L3 >( below( 4 ) ) : L3::ipv4;
    packet.options = 4 * below( 3 );
    for ( U32 tags = below( 4 ) == 0 ? below( 3 ) : 0; tags > 0; --tags )
      packet.tags.push_back( 5 );
    if ( !model.empty() && below( 4 ) != 0 ) {
      const ModelRule & rule = std::next( model.begin(), below( model.size() ) )->second;
      packet.srcIp = ( rule.srcIp & rule.srcIpMask ) | ( packet.srcIp & ~rule.srcIpMask );
      packet.dstIp = ( rule.dstIp & rule.dstIpMask ) | ( packet.dstIp & ~rule.dstIpMask );
      packet.protocol = rule.protocolMask != 0 ? rule.protocol : packet.protocol;
      packet.srcPort = rule.srcPort ^ static_cast< U16 >( below( 2 ) );
      packet.dstPort = rule.dstPort;
    }
    return packet;
  }

  U32 bruteForce( const Packet & packet, U32 port ) const {
    U32 best = 0;
    for ( const auto & [ id, rule ] : model ) {
      if ( !rule.installed || !rule.enabled || !matches( rule, packet, port ) )
        continue;
      const auto & other = best == 0 ? rule : model.at( best );
      if ( best == 0 || rule.priority > other.priority ||
           ( rule.priority == other.priority && rule.serial < other.serial ) )
        best = id;
    }
    return best;
  }

  // The physical order is the logical one: position by position, along all slices.
  void checkRows() {
    const auto entries = chip.entries( 0, group );
    ASSERT_EQ( entries.size(), model.size() );
    std::map< std::pair< U32, U32 >, U32 > places;
    for ( size_t i = 0; i < entries.size(); ++i ) {
      EXPECT_TRUE( places.emplace( std::pair( entries[ i ].slice, entries[ i ].row ), 0 ).second );
      EXPECT_EQ( entries[ i ].priority, model.at( entries[ i ].id ).priority );
      if ( i == 0 )
        continue;
      const ModelRule & before = model.at( entries[ i - 1 ].id );
      const ModelRule & rule = model.at( entries[ i ].id );
      EXPECT_LT( entries[ i - 1 ].position, entries[ i ].position );
      EXPECT_TRUE( before.priority > rule.priority ||
                   ( before.priority == rule.priority && before.serial < rule.serial ) );
    }
  }

  void step() {
    const U32 id = 1 + below( 400 );
    const auto found = model.find( id );
    if ( found == model.end() ) {
      ASSERT_EQ( chip.bcm_field_entry_create_id( 0, group, id ),
                 model.size() < 384 ? BCM_E_NONE : BCM_E_RESOURCE );
      if ( model.size() == 384 )
        return;
      ModelRule rule = someRule();
      rule.serial = ++serial;
      rule.priority = below( 60 );
      rule.installed = true;
      program( id, rule );
      ASSERT_EQ( chip.bcm_field_entry_prio_set( 0, id, rule.priority ), 0 );
      ASSERT_EQ( chip.bcm_field_entry_install( 0, id ), 0 );
      model[ id ] = rule;
      return;
    }
    change( id, found->second );
  }

  void change( U32 id, ModelRule & rule ) {
    switch ( below( 6 ) ) {
      case 0:
        rule.priority = below( 60 );
        ASSERT_EQ( chip.bcm_field_entry_prio_set( 0, id, rule.priority ), 0 );
        return;
      case 1:
        rule.enabled = !rule.enabled;
        ASSERT_EQ( chip.bcm_field_entry_enable_set( 0, id, rule.enabled ? 1 : 0 ), 0 );
        return;
      case 2: {
        const ModelRule old = rule;
        rule = someRule();
        rule.serial = old.serial;
        rule.priority = old.priority;
        rule.enabled = old.enabled;
        rule.installed = true;
        program( id, rule );
        ASSERT_EQ( chip.bcm_field_entry_install( 0, id ), 0 );
        return;
      }
      case 3:
        ASSERT_EQ( chip.bcm_field_group_compress( 0, group ), 0 );
        return;
      default:
        ASSERT_EQ( chip.bcm_field_entry_remove( 0, id ),
                   rule.installed ? BCM_E_NONE : BCM_E_NOT_FOUND );
        if ( std::exchange( rule.installed, false ) && below( 2 ) == 0 )
          return;
        ASSERT_EQ( chip.bcm_field_entry_destroy( 0, id ), 0 );
        model.erase( id );
    }
  }

  TestChip chip;
  std::mt19937 random;
  std::map< U32, ModelRule > model;
  U64 serial = 0;
};

TEST_P( LookupTest, AgreesWithBruteForceAfterEveryStep ) {
  U32 hits = 0;
  for ( int i = 0; i < 3000 && !HasFatalFailure(); ++i ) {
    SCOPED_TRACE( testing::Message() << "seed " << GetParam() << " step " << i );
    step();
    for ( int n = 0; n < 4; ++n ) {
      const Packet packet = somePacket();
      const U32 port = below( portCount );
      const U32 expected = bruteForce( packet, port );
      ASSERT_EQ( chip.winner( packet, port ), expected );
      hits += expected != 0 ? 1 : 0;
    }
    if ( i % 50 == 0 )
      checkRows();
  }
  EXPECT_GT( hits, 3000U );  // the walk is no test of misses only
  EXPECT_GT( model.size(), 100U );
  while ( !model.empty() && !HasFatalFailure() )
    change( model.begin()->first, model.begin()->second );
  EXPECT_EQ( chip.tables( 0 )[ 0 ].entries, 0U );
  EXPECT_EQ( chip.tables( 0 )[ 0 ].freeSlices, 11U );  // the group keeps one
  EXPECT_EQ( chip.winner( {} ), 0U );
}

INSTANTIATE_TEST_SUITE_P( Seeds, LookupTest, testing::Range( 1U, 7U ) );

}  // namespace
}  // namespace SoftAsicTest
