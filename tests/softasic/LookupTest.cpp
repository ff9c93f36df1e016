// Lookup against a brute-force model: random packets in, near and far from random rules, while
// entries are created, destroyed, reprioritised and changed.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <set>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

enum Field { srcIp, dstIp, protocol, srcPort, dstPort, tcpFlags, icmp, fieldCount };
using Values = std::array< U32, fieldCount >;

constexpr U32 bit( L3 l3 ) {
  return 1U << static_cast< U32 >( l3 );
}
constexpr U32 bit( Part part ) {
  return 1U << static_cast< U32 >( part );
}
// Packets that each qualifier value matches.
constexpr std::pair< bcm_field_IpFrag_t, U32 > frags[] = {
    { bcmFieldIpFragNon, bit( Part::whole ) },
    { bcmFieldIpFragFirst, bit( Part::first ) },
    { bcmFieldIpFragNonOrFirst, bit( Part::whole ) | bit( Part::first ) },
    { bcmFieldIpFragNotFirst, bit( Part::later ) },
    { bcmFieldIpFragAny, bit( Part::first ) | bit( Part::later ) } };
constexpr std::pair< bcm_field_IpType_t, U32 > types[] = {
    { bcmFieldIpTypeAny, ~0U },
    { bcmFieldIpTypeNonIp, bit( L3::none ) | bit( L3::arp ) },
    { bcmFieldIpTypeIpv4Any, bit( L3::ipv4 ) },
    { bcmFieldIpTypeIpv6, bit( L3::ipv6 ) },
    { bcmFieldIpTypeIp, bit( L3::ipv4 ) | bit( L3::ipv6 ) },
    { bcmFieldIpTypeArp, bit( L3::arp ) } };

// Range checkers of the chip, by id.
constexpr struct {
  U32 flag, low, high;
} ranges[] = { { BCM_FIELD_RANGE_SRCPORT, 20, 50 },
               { BCM_FIELD_RANGE_DSTPORT, 0, 39 },
               { BCM_FIELD_RANGE_PACKETLEN, 43, 56 },
               { BCM_FIELD_RANGE_OUTERVLAN, 2, 5 } };

// A rule in terms of packet fields; a zero mask is a wildcard.
struct Rule {
  Values values = {};
  Values masks = {};
  U32 ports = 0xFF;  // ingress ports that match
  int frag = -1;     // index in frags; -1: any
  U32 type = 0;      // index in types
  int range = -1;    // index in ranges; -1: none
  bool invert = false;
  U32 data = 0;  // first bytes after an IPv4 header
  U32 dataMask = 0;

  bool matchesRange( const Packet & packet ) const {
    const size_t checked[] = { packet.srcPort, packet.dstPort, frameOf( packet ).size(),
                               packet.tags.empty() ? 0U : packet.tags[ 0 ] };
    const bool present[] = { packet.hasPorts(), packet.hasPorts(), true, !packet.tags.empty() };
    const size_t value = checked[ range ];
    return present[ range ] &&
           ( value >= ranges[ range ].low && value <= ranges[ range ].high ) != invert;
  }
  bool matchesData( const Packet & packet ) const {
    const U32 have =
        packet.hasPorts() ? U32{ packet.srcPort } << 16 | packet.dstPort : U32{ packet.icmp } << 16;
    return packet.l3 == L3::ipv4 && packet.hasL4() && ( ( have ^ data ) & dataMask ) == 0;
  }

  bool matches( const Packet & packet, U32 port ) const {
    const Values have = { packet.srcIp,   packet.dstIp,    packet.protocol, packet.srcPort,
                          packet.dstPort, packet.tcpFlags, packet.icmp };
    const bool ipv4 = packet.l3 == L3::ipv4;
    const bool ip = packet.isIp();
    const bool l4 = packet.hasPorts();
    const bool present[] = { ipv4, ipv4, ip, l4, l4, l4 && packet.protocol == 6, packet.hasIcmp() };
    for ( U32 i = 0; i < fieldCount; ++i )
      if ( masks[ i ] != 0 &&
           !( present[ i ] && ( ( have[ i ] ^ values[ i ] ) & masks[ i ] ) == 0 ) )
        return false;
    return ( range < 0 || matchesRange( packet ) ) && ( dataMask == 0 || matchesData( packet ) ) &&
           ( ports >> port & 1 ) != 0 && ( types[ type ].second & bit( packet.l3 ) ) != 0 &&
           ( frag < 0 || ( ip && ( frags[ frag ].second & bit( packet.part ) ) != 0 ) );
  }
};

struct ModelEntry {
  Rule rule;
  U32 priority = 0;
  U64 serial = 0;  // breaks priority ties
  bool installed = true;
  bool enabled = true;

  bool before( const ModelEntry & other ) const {
    return priority > other.priority || ( priority == other.priority && serial < other.serial );
  }
};

class LookupTest : public testing::TestWithParam< unsigned > {
 protected:
  static constexpr U32 group = 1;
  static constexpr U32 portCount = 8;
  static constexpr U32 room = 12 * 32;

  LookupTest() {
    for ( const auto & [ flag, low, high ] : ranges ) {
      U32 id = 0;
      EXPECT_EQ( chip.bcm_field_range_create( 0, &id, flag, low, high ), BCM_E_NONE );
    }
    bcm_field_data_qualifier_s data = { 0, 0, bcmFieldDataOffsetBaseOuterL4Header, 0, 4 };
    bcm_field_data_packet_format_s ipv4 = { 0, 0, 0, BCM_FIELD_DATA_FORMAT_IP4, 0, 0, 0 };
    EXPECT_EQ( chip.bcm_field_data_qualifier_create( 0, &data ), BCM_E_NONE );
    EXPECT_EQ( chip.bcm_field_data_qualifier_packet_format_add( 0, 1, &ipv4 ), BCM_E_NONE );
    const int rc = chip.createGroup( groupConfig(
        group, { bcmFieldQualifySrcIp, bcmFieldQualifyDstIp, bcmFieldQualifyIpProtocol,
                 bcmFieldQualifyL4SrcPort, bcmFieldQualifyL4DstPort, bcmFieldQualifyTcpControl,
                 bcmFieldQualifyIcmpTypeCode, bcmFieldQualifyInPorts, bcmFieldQualifyIpFrag,
                 bcmFieldQualifyIpType, bcmFieldQualifyRangeCheck } ) );
    EXPECT_EQ( rc, BCM_E_NONE );
  }

  U32 below( U32 bound ) { return static_cast< U32 >( random() % bound ); }
  U32 oneOf( std::initializer_list< U32 > list ) {
    return list.begin()[ below( static_cast< U32 >( list.size() ) ) ];
  }
  // Few distinct values, so that rules overlap and shadow one another.
  U32 someAddress() { return 0x0a000000U | below( 4 ) << 16 | below( 4 ) << 8 | below( 8 ); }
  U32 somePrefix() { return oneOf( { 0, ~0U << 24, ~0U << 16, ~0U << 8, ~0U << 2, ~0U } ); }
  U32 somePortMask() { return oneOf( { 0, 0, 0xFFFF, 0xFFF0, 0xFFC0, 0x8000 } ); }
  U32 seldom( U32 mask ) { return below( 6 ) == 0 ? mask : 0; }
  Values someValues() {
    return { someAddress(), someAddress(),  oneOf( { 6, 17, 1, 58, 47 } ), below( 80 ), below( 80 ),
             below( 32 ),   below( 3 ) << 8 };
  }
  Rule someRule() {
    if ( GetParam() % 2 == 0 && !model.empty() && below( 4 ) != 0 )  // many rules with equal keys
      return std::next( model.begin(), below( std::min( 4U, U32( model.size() ) ) ) )->second.rule;
    Rule rule;
    rule.values = someValues();
    rule.masks = { somePrefix(),   somePrefix(),   oneOf( { 0, 0xFF } ), somePortMask(),
                   somePortMask(), seldom( 0x12 ), seldom( 0xFF00 ) };
    rule.ports = below( 3 ) == 0 ? below( 256 ) : 0xFF;
    rule.frag = below( 5 ) == 0 ? static_cast< int >( below( 5 ) ) : -1;
    rule.type = below( 5 ) == 0 ? below( 6 ) : 0;
    rule.range = below( 5 ) == 0 ? static_cast< int >( below( 4 ) ) : -1;
    rule.invert = below( 2 ) == 0;
    rule.dataMask = widened ? seldom( oneOf( { 0xFFF0FFFF, 0xFFC00000 } ) ) : 0;
    rule.data = rule.values[ srcPort ] << 16 | rule.values[ dstPort ];
    return rule;
  }

  void program( U32 id, const Rule & rule ) {
    const auto & [ v, m ] = std::tie( rule.values, rule.masks );
    const auto narrow = []( U32 value ) { return static_cast< U16 >( value ); };
    const auto byte = []( U32 value ) { return static_cast< U8 >( value ); };
    const bcm_pbmp_t in = { { rule.ports } };
    const U32 range = static_cast< U32 >( rule.range ) + 1;
    Frame data;
    append( data, { { rule.data, 4 }, { rule.dataMask, 4 } } );
    chip.bcm_field_qualify_clear( 0, id );
    const int rc = firstError(
        { chip.bcm_field_qualify_SrcIp( 0, id, v[ srcIp ], m[ srcIp ] ),
          chip.bcm_field_qualify_DstIp( 0, id, v[ dstIp ], m[ dstIp ] ),
          chip.bcm_field_qualify_IpProtocol( 0, id, byte( v[ protocol ] ), byte( m[ protocol ] ) ),
          chip.bcm_field_qualify_L4SrcPort( 0, id, narrow( v[ srcPort ] ), narrow( m[ srcPort ] ) ),
          chip.bcm_field_qualify_L4DstPort( 0, id, narrow( v[ dstPort ] ), narrow( m[ dstPort ] ) ),
          chip.bcm_field_qualify_TcpControl( 0, id, byte( v[ tcpFlags ] ), byte( m[ tcpFlags ] ) ),
          chip.bcm_field_qualify_IcmpTypeCode( 0, id, narrow( v[ icmp ] ), narrow( m[ icmp ] ) ),
          chip.bcm_field_qualify_InPorts( 0, id, in, { { 0xFF } } ),
          chip.bcm_field_qualify_IpType( 0, id, types[ rule.type ].first ),
          rule.frag < 0 ? 0 : chip.bcm_field_qualify_IpFrag( 0, id, frags[ rule.frag ].first ),
          range == 0 ? 0 : chip.bcm_field_qualify_RangeCheck( 0, id, range, rule.invert ? 1 : 0 ),
          widened ? chip.bcm_field_qualify_data( 0, id, 1, &data[ 0 ], &data[ 4 ], 4 ) : 0,
          chip.bcm_field_entry_install( 0, id ) } );
    ASSERT_EQ( rc, BCM_E_NONE );
  }
  // Mostly near a rule: its values, with random wildcard bits and occasionally a random fixed
  // field.
  Packet somePacket() {
    Values values = someValues();
    if ( !model.empty() && below( 4 ) != 0 ) {
      const Rule & rule = std::next( model.begin(), below( U32( model.size() ) ) )->second.rule;
      for ( U32 i = 0; i < fieldCount; ++i )
        values[ i ] = ( rule.values[ i ] & rule.masks[ i ] ) | ( values[ i ] & ~rule.masks[ i ] );
      values[ oneOf( { srcPort, dstPort, srcIp, dstIp } ) ] ^= oneOf( { 0, 0, 1 } );
    }
    Packet packet;
    packet.srcIp = values[ srcIp ];
    packet.dstIp = values[ dstIp ];
    packet.protocol = static_cast< U8 >( values[ protocol ] );
    packet.srcPort = static_cast< U16 >( values[ srcPort ] );
    packet.dstPort = static_cast< U16 >( values[ dstPort ] );
    packet.tcpFlags = static_cast< U8 >( values[ tcpFlags ] );
    packet.icmp = static_cast< U16 >( values[ icmp ] );
    packet.part = below( 5 ) == 0 ? static_cast< Part >( below( 3 ) ) : Part::whole;
    packet.l3 = below( 8 ) == 0 ? static_cast< L3 >( below( 4 ) ) : L3::ipv4;
    packet.options = 4 * below( 3 );
    packet.tags.assign( oneOf( { 0, 0, 0, 0, 1, 2 } ), static_cast< U16 >( 4 + below( 3 ) ) );
    return packet;
  }

  U32 bruteForce( const Packet & packet, U32 port ) const {
    auto best = model.end();
    for ( auto i = model.begin(); i != model.end(); ++i )
      if ( i->second.installed && i->second.enabled && i->second.rule.matches( packet, port ) &&
           ( best == model.end() || i->second.before( best->second ) ) )
        best = i;
    return best == model.end() ? 0 : best->first;
  }

  // Physical order along all slices must be rank order.
  void checkRows() {
    const auto entries = chip.entries( 0, group );
    ASSERT_EQ( entries.size(), model.size() );
    std::set< std::pair< U32, U32 > > places;
    for ( size_t i = 0; i < entries.size(); ++i ) {
      EXPECT_TRUE( places.emplace( entries[ i ].slice, entries[ i ].row ).second );
      EXPECT_EQ( entries[ i ].priority, model.at( entries[ i ].id ).priority );
      if ( i == 0 )
        continue;
      EXPECT_LT( entries[ i - 1 ].position, entries[ i ].position );
      EXPECT_TRUE( model.at( entries[ i - 1 ].id ).before( model.at( entries[ i ].id ) ) );
    }
  }

  void step() {
    const U32 id = 1 + below( 400 );
    const auto found = model.find( id );
    if ( found != model.end() )
      return change( id, found->second );
    ASSERT_EQ( chip.bcm_field_entry_create_id( 0, group, id ),
               model.size() < room ? BCM_E_NONE : BCM_E_RESOURCE );
    if ( model.size() == room )
      return;
    ModelEntry & entry = model[ id ];
    entry = { someRule(), below( 60 ), ++serial };
    ASSERT_EQ( chip.bcm_field_entry_prio_set( 0, id, entry.priority ), 0 );
    program( id, entry.rule );
  }

  void change( U32 id, ModelEntry & entry ) {
    switch ( below( 6 ) ) {
      case 0:
        entry.priority = below( 60 );
        ASSERT_EQ( chip.bcm_field_entry_prio_set( 0, id, entry.priority ), 0 );
        return;
      case 1:
        entry.enabled = !entry.enabled;
        ASSERT_EQ( chip.bcm_field_entry_enable_set( 0, id, entry.enabled ? 1 : 0 ), 0 );
        return;
      case 2:
        entry.rule = someRule();
        entry.installed = true;
        return program( id, entry.rule );
      case 3:
        ASSERT_EQ( chip.bcm_field_group_compress( 0, group ), 0 );
        return;
      default:
        ASSERT_EQ( chip.bcm_field_entry_remove( 0, id ),
                   entry.installed ? BCM_E_NONE : BCM_E_NOT_FOUND );
        if ( std::exchange( entry.installed, false ) && below( 2 ) == 0 )
          return;
        ASSERT_EQ( chip.bcm_field_entry_destroy( 0, id ), 0 );
        model.erase( id );
    }
  }

  static ChipProfile profile() {
    ChipProfile profile = smallProfile( 12, 32 );
    profile.stages[ 0 ].slices[ 0 ].keyBits = 256;
    profile.rangeCheckers = 4;
    profile.dataChunks = profile.dataFormats = 1;
    return profile;
  }
  TestChip chip{ profile() };
  bool widened = false;
  std::mt19937 random{ GetParam() };
  std::map< U32, ModelEntry > model;
  U64 serial = 0;
};

TEST_P( LookupTest, AgreesWithBruteForceAfterEveryStep ) {
  U32 hits = 0;
  for ( int i = 0; i < 3000 && !HasFatalFailure(); ++i ) {
    SCOPED_TRACE( testing::Message() << "seed " << GetParam() << " step " << i );
    step();
    if ( i == 1000 ) {  // adds a data qualifier to a group in use
      bcm_field_qset_t qset = {};
      chip.bcm_field_group_get( 0, group, &qset );
      qset.addData( 1 );
      ASSERT_EQ( chip.bcm_field_group_set( 0, group, qset ), BCM_E_NONE );
      widened = true;
    }
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
  EXPECT_GT( hits, 3000U );  // not only misses
  EXPECT_GT( model.size(), 100U );
  while ( !model.empty() && !HasFatalFailure() )
    change( model.begin()->first, model.begin()->second );
  EXPECT_EQ( chip.tables( 0 )[ 0 ].entries, 0U );
  EXPECT_EQ( chip.tables( 0 )[ 0 ].freeSlices, 11U );  // the group keeps one slice
  EXPECT_EQ( chip.winner( {} ), 0U );
}

INSTANTIATE_TEST_SUITE_P( Seeds, LookupTest, testing::Range( 1U, 7U ) );

}  // namespace
}  // namespace SoftAsicTest
