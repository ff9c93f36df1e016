#include <gmock/gmock.h>

#include "agent/acl/Names.h"
#include "agent/acl/RuleText.h"
#include "agent/feature/AclShares.h"
#include "agent/feature/FieldCover.h"
#include "agent/packets/RandomPackets.h"
#include "agent/read/AclFiles.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using testing::IsEmpty;

Acl rulesList( const std::string & text ) {
  return parseAclText( { "l", false }, "f", text, formatNamed( "rules" ) ).lists.at( 0 );
}

FieldBits lowBits( U32 count ) {
  const auto half = []( U32 bits ) { return bits >= 64 ? ~U64{ 0 } : ( U64{ 1 } << bits ) - 1; };
  return { half( count - std::min( count, 64U ) ), half( std::min( count, 64U ) ) };
}

// A prefix, a whole value, or a mask with holes.
TernaryBits randomMatch( Random & random, U32 width ) {
  const FieldBits all = lowBits( width );
  const FieldBits host = lowBits( random.below( width ) );
  const bool holes = random.below( 3 ) == 0;
  const FieldBits mask = { all.high & ~host.high & ( holes ? random.word() : ~U64{ 0 } ),
                           all.low & ~host.low & ( holes ? random.word() : ~U64{ 0 } ) };
  return { { random.word() & mask.high, random.word() & mask.low }, mask };
}

// One to three alternatives; protocols are those with L4 fields.
void restrictField( Random & random, const MatchField & field, AclRule & rule ) {
  constexpr U8 protocols[] = { protocolTcp, protocolUdp, protocolIcmp, protocolIcmp6 };
  std::vector< TernaryBits > matches;
  std::vector< AnyRange > ranges;
  const U32 end = 1U << std::min( field.width, 16U );
  for ( U32 i = 1 + random.below( 3 ); i > 0; --i ) {
    matches.push_back( field.id == FieldId::protocol
                           ? TernaryBits{ { 0, protocols[ random.below( 4 ) ] }, { 0, 0xFF } }
                           : randomMatch( random, field.width ) );
    const bool ports = field.id == FieldId::inPorts || field.id == FieldId::outPorts;
    const U32 low = random.below( ports ? 8 : end );
    ranges.push_back(
        { low, std::min( end - 1, low + random.below( random.below( 2 ) == 0 ? 4 : end ) ) } );
  }
  if ( field.id == FieldId::fragments )
    rule.fragments = Fragments( 1 + random.below( 5 ) );
  else if ( field.isRange() )
    setRanges( rule, field.id, ranges );
  else
    setMatches( rule, field.id, matches );
}

bool isIn( const MatchField & field, const Acl & acl ) {
  const FieldId others = acl.direction == Direction::in ? FieldId::outPorts : FieldId::inPorts;
  return field.isIn( acl.kind ) && field.id != others;
}

// Restricts `must` and some other fields, in at most 24 entries.
AclRule randomRule( Random & random, const Acl & acl, const MatchField & must ) {
  while ( true ) {
    AclRule rule;
    rule.forwarding = Forwarding( random.below( 3 ) );
    rule.copyToCpu = random.below( 3 ) == 0;
    for ( const MatchField & field : matchFields() )
      if ( isIn( field, acl ) && ( field.id == must.id || random.below( 12 ) == 0 ) )
        restrictField( random, field, rule );
    const auto fields = matchFields();
    const bool sound = std::none_of( fields.begin(), fields.end(), [ & ]( const auto & field ) {
      return restricts( field, rule ) && missingProtocol( field, rule ) != nullptr;
    } );
    if ( ( sound || random.below( 4 ) == 0 ) &&
         EntryPlan( acl, rule, {}, PortKey::bitmap ).size() <= 24 )
      return rule;
  }
}

std::vector< Acl > randomLists( U32 seed ) {
  Random random( seed );
  std::vector< Acl > lists;
  for ( const Direction direction : { Direction::out, Direction::in } )
    for ( const AclKind kind : { AclKind::ipv4, AclKind::ipv6, AclKind::mac } ) {
      Acl & acl = lists.emplace_back();
      acl.name = kindName( kind );
      acl.kind = kind;
      acl.direction = direction;
      acl.laterFragments = LaterFragments( seed % 2 );
      acl.defaultAction = Forwarding( seed % 3 );
      for ( const MatchField & field : matchFields() )
        if ( isIn( field, acl ) )
          acl.rules.push_back( randomRule( random, acl, field ) );
    }
  Acl & taps = lists.emplace_back();
  taps.name = "taps";
  taps.kind = AclKind::ipv6;
  taps.use = AclUse::mirror;
  taps.mirrorPort = 5;
  AclRule & tap = taps.rules.emplace_back();
  restrictField( random, matchField( FieldId::source6 ), tap );
  restrictField( random, matchField( FieldId::inPorts ), tap );
  tap.forwarding = Forwarding::none;
  tap.mirror = true;
  return lists;
}

bool covers( const std::vector< TernaryBits > & matches, U64 value ) {
  return std::any_of(
      matches.begin(), matches.end(),
      [ value ]( const TernaryBits & match ) {
        return ( ( value ^ match.value.low ) & match.mask.low ) == 0;
      } );
}

}  // namespace

// Rules on every field, alone and with others, with several values, ranges and masks with holes.
TEST( MatchFieldTest, ChipMatchesTheReferenceModelInEveryField ) {
  ChipSize sizes[] = { { 1 }, { 2, false, true }, { 2, true, true }, { 2, false, false, true } };
  U32 seed = 0;
  for ( ChipSize & size : sizes ) {
    SCOPED_TRACE( ++seed );
    size.slices = 64;
    size.keyBits = 384;
    size.statistics = 8192;
    size.everyField = true;
    TestSwitch sw( size );
    for ( U32 port = 0; port < 8; ++port )
      sw.ports.push_back( port );
    sw.egressPorts = { 0, 3, 6 };
    const std::vector< Acl > lists = randomLists( seed );
    for ( const Acl & acl : lists ) {
      ASSERT_FALSE( listFault( sw.session.platform(), acl ) ) << acl.name;
      ASSERT_FALSE( sw.feature.addAcl( acl ) ) << acl.name;
    }
    EXPECT_THAT( sw.audit(), IsEmpty() );
    EXPECT_EQ( sw.differences( randomFrames( lists, seed, 3000 ) ), 0U );
    sw.feature.clear();
    EXPECT_THAT( sw.audit(), IsEmpty() );
  }
}

TEST( FieldCoverTest, CoversUnionsExactlyWithTheFewestPrefixes ) {
  Random random( 1 );
  const MatchField & ttl = matchField( FieldId::ttl );
  for ( int i = 0; i < 3000; ++i ) {
    AclRule rule;
    restrictField( random, ttl, rule );
    const auto ranges = rangesIn( ttl, rule );
    const auto matches = coverOf( ttl, rule );
    U64 separate = 0;
    for ( const AnyRange & range : ranges )
      separate += prefixesOf( range, 8 ).size();
    EXPECT_LE( matches.size(), separate );
    for ( U32 value = 0; value < 256; ++value )
      EXPECT_EQ( covers( matches, value ),
                 std::any_of( ranges.begin(), ranges.end(), [ value ]( const AnyRange & range ) {
                   return range.low <= value && value <= range.high;
                 } ) );
  }
  AclRule rule;
  setRanges( rule, FieldId::ttl, std::vector< AnyRange >{ { 128, 255 }, { 0, 130 } } );
  EXPECT_EQ( coverOf( ttl, rule ).size(), 2U );  // all values, of packets that have the field
  std::vector< TernaryBits > prefixes;
  for ( U32 i = 0; i < 4096; ++i )  // 64 neighbours in each of 64 places
    prefixes.push_back( ternary( prefix4( ( i % 64 ) << 26 | ( i / 64 ) << 2, 30 ) ) );
  EXPECT_EQ( mergedMatches( prefixes ).size(), 1U );
}

TEST( EntryPlanTest, RulesTakeTheFewestEntries ) {
  const struct {
    const char * rule;
    U64 entries;
    const char * reason;
  } cases[] = {
      { R"("protocol": "tcp", "destinationPorts": ">1023")", 6,
        "destinationPorts 1024-65535: 6 prefixes" },
      { R"("protocol": "tcp", "destinationPorts": "!80")", 16,
        "destinationPorts 0-79,81-65535: 16 prefixes" },
      { R"("protocol": "udp", "sourcePorts": "<81")", 3, "sourcePorts 0-80: 3 prefixes" },
      { R"("protocol": "tcp", "sourcePorts": "1-65535")", 16, "sourcePorts 1-65535: 16 prefixes" },
      { R"("protocol": "tcp", "sourcePorts": "721-1035")", 8, "sourcePorts 721-1035: 8 prefixes" },
      { R"("protocol": "tcp", "sourcePorts": "100-20000")", 15,
        "sourcePorts 100-20000: 15 prefixes" },
      { R"("protocol": "tcp", "sourcePorts": "1-65534", "destinationPorts": "1-65534")", 900,
        "sourcePorts 1-65534: 30 prefixes x destinationPorts 1-65534: 30 prefixes" },
      { R"("protocol": "tcp", "destinationPorts": ["80-81", 82, "83-88"])", 2,
        "destinationPorts 80-81,82,83-88: 2 prefixes" },
      { R"("destinationPorts": "domain")", 2, "protocol: 2 values" },
      { R"("protocol": "tcp", "tcpFlags": "established")", 2, "tcpFlags: 2 values" },
      { R"("protocol": "tcp", "tcpFlags": "syn+!ack")", 1, "" },
      { R"("source": ["10.0.0.0/9", "10.128.0.0/9", "10.1.0.0/16"])", 1, "" },
      { R"("source": "10.0.0.1/255.0.0.255", "dscp": "ef", "ecn": 3, "etherType": "ipv4")", 1, "" },
      { R"("ttl": ">1", "fragments": "notLater")", 7, "ttl 2-255: 7 prefixes" },
      { R"("vlan": "0-4", "inPorts": ["0-3", 9])", 2, "vlan: 2 values" },
      { R"("inPorts": "0-255")", 1, "" },
  };
  for ( const auto & c : cases ) {
    const Acl acl = rulesList( fmt::format( R"({{ "rules": [ {{ {} }} ] }})", c.rule ) );
    const EntryPlan plan( acl, acl.rules[ 0 ], {}, PortKey::bitmap );
    EXPECT_EQ( plan.size(), c.entries ) << c.rule;
    EXPECT_EQ( plan.reason( acl.rules[ 0 ] ), c.reason ) << c.rule;
  }
  // A rule that permits by ports lets later fragments through in some formats.
  Acl acl = rulesList( R"({ "laterFragments": "permittedByL3", "rules": [
      { "protocol": "tcp", "destinationPorts": 80, "inPorts": "0-3" } ] })" );
  const EntryPlan plan( acl, acl.rules[ 0 ], {}, PortKey::number );
  EXPECT_EQ( plan.size(), 2U );
  EXPECT_EQ( plan.reason( acl.rules[ 0 ] ), "1 + 1 for later fragments" );
  EXPECT_EQ( plan.entry( 1 ).fields.back().qualifier, bcmFieldQualifyInPort );
  acl.rules[ 0 ].forwarding = Forwarding::drop;
  EXPECT_EQ( EntryPlan( acl, acl.rules[ 0 ], {}, PortKey::bitmap ).size(), 1U );
}

// The list's own action decides before that of its table.
TEST( AclFeatureTest, DefaultActionsDecideAboutOtherPackets ) {
  TestSwitch sw( {} );
  Acl open = plainAcl( 3 );
  Acl closed = plainAcl( 2 );
  ASSERT_FALSE( sw.feature.addAcl( open ) );
  ASSERT_FALSE( sw.feature.addDefault( Forwarding::drop ) );
  const std::vector< Frame > frames = randomFrames( { open }, 1, 200 );
  EXPECT_EQ( sw.differences( frames ), 0U );
  EXPECT_EQ( sw.feature.defaultEntries(), 1U );
  sw.feature.clear();
  closed.defaultAction = Forwarding::drop;
  ASSERT_FALSE( sw.feature.addAcl( closed ) );
  ASSERT_FALSE( sw.feature.addDefault( Forwarding::permit ) );
  EXPECT_EQ( sw.feature.defaultEntries(), 0U );
  EXPECT_EQ( sw.differences( frames ), 0U );
  EXPECT_TRUE( sw.replay.send( { frames[ 3 ], sw.time += 1000 }, {} ).drop );
  EXPECT_THAT( sw.audit(), IsEmpty() );
}

// Types that were merged are listed, unless they are many.
TEST( RuleTextTest, IcmpTypesAreListed ) {
  const std::pair< FieldMatch< U16 >, const char * > cases[] = {
      { { 0x0300, 0xF700 }, "3,11" },
      { { 0x0304, 0xFFFF }, "3/4" },
      { { 0x0300, 0xFFFC }, "3/0,3/1,3/2,3/3" },
      { { 0x0004, 0x00FF }, "any/4" },
      { { 0x0001, 0xF7FF }, "0/1,8/1" },
      { { 0x0000, 0xF000 }, "0x0/0xf000" } };
  for ( const auto & [ types, text ] : cases ) {
    AclRule rule;
    rule.protocol = { protocolIcmp, 0xFF };
    rule.icmpTypeCode = types;
    EXPECT_EQ( matchText( AclKind::ipv4, rule ), std::string( "icmp type " ) + text );
  }
}

TEST( NamesTest, AreThoseOfCommonTools ) {
  EXPECT_EQ( protocolFromText( "OSPF" ), 89 );
  EXPECT_EQ( protocolFromText( "ipv6_icmp" ), 58 );
  EXPECT_EQ( protocolFromText( "6" ), std::nullopt );
  EXPECT_EQ( protocolText( 132 ) + protocolText( 200 ), "sctp200" );
  EXPECT_EQ( icmpTypeFromText( AclKind::ipv4, "port-unreachable" ),
             ( FieldMatch< U16 >{ 0x0303, 0xFFFF } ) );
  EXPECT_EQ( icmpTypeFromText( AclKind::ipv6, "echo-request" ),
             ( FieldMatch< U16 >{ 0x8000, 0xFF00 } ) );
  EXPECT_EQ( icmpTypeFromText( AclKind::ipv4, "packet-too-big-" ), std::nullopt );
  EXPECT_EQ( portFromText( "www" ), 80 );
  EXPECT_EQ( dscpFromText( "AF11" ), 10 );
  EXPECT_EQ( tcpFlagFromText( "ECE" ), 0x40 );
}

}  // namespace Agent
