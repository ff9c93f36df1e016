#include <gmock/gmock.h>

#include <random>

#include "agent/feature/AclShares.h"
#include "agent/packets/RandomPackets.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using testing::IsEmpty;

// `rules` rules with few distinct addresses and ports, so that they overlap and shadow each other.
Acl randomAcl( const std::string & name, U32 rules, U32 seed ) {
  std::mt19937 random( seed );
  const auto pick = [ & ]( U32 end ) { return static_cast< U32 >( random() ) % end; };
  constexpr U8 protocols[] = { protocolTcp, protocolUdp, protocolIcmp, 47 };
  Acl acl;
  acl.name = acl.file = name;
  for ( U32 i = 0; i < rules; ++i ) {
    AclRule rule;
    rule.line = i + 1;
    rule.source = prefix4( 0x0A000000 | pick( 16 ), 26 + pick( 7 ) );
    rule.destination = prefix4( pick( 4 ) << 30, pick( 3 ) );
    rule.protocol.mask = pick( 4 ) == 0 ? 0 : 0xFF;
    rule.protocol.value = protocols[ pick( 4 ) ] & rule.protocol.mask;
    if ( pick( 3 ) == 0 )
      rule.destinationPorts = { 0, static_cast< U16 >( pick( 40 ) ) };
    if ( pick( 4 ) == 0 )
      rule.sourcePorts = { 7, static_cast< U16 >( 7 + pick( 3 ) ) };
    if ( rule.isFor( protocolTcp ) && pick( 2 ) == 0 )
      rule.tcpFlags.value = rule.tcpFlags.mask = static_cast< U8 >( 1U << pick( 8 ) );
    if ( rule.isFor( protocolIcmp ) && pick( 2 ) == 0 )
      rule.icmpTypeCode.mask = 0x0100;
    acl.rules.push_back( rule );
  }
  return acl;
}

}  // namespace

TEST( AclFeatureTest, ChipMatchesTheReferenceModelOnEveryCopy ) {
  const ChipSize sizes[] = {
      { 1 }, { 2, false, true }, { 4, true, true }, { 2, true, false }, { 2, false, false, true } };
  U32 seed = 0;
  for ( ChipSize size : sizes ) {
    SCOPED_TRACE( ++seed );
    size.slices = 24;
    TestSwitch sw( size );
    const std::vector< Acl > acls = { randomAcl( "a", 40, seed ),
                                      randomAcl( "b", 40, seed + 100 ) };
    for ( const Acl & acl : acls )
      ASSERT_FALSE( sw.feature.addAcl( acl ) );
    ASSERT_FALSE( sw.feature.addDefault( Forwarding::drop ) );
    EXPECT_THAT( sw.audit(), IsEmpty() );

    const std::vector< Frame > frames = randomFrames( acls, seed, 1500 );
    std::vector< std::vector< RuleCounters > > sent( 2, std::vector< RuleCounters >( 40 ) );
    for ( const Frame & frame : frames ) {
      for ( const RuleIndex & rule :
            expectedFate( sw.feature.policy(), readFrame( frame ), {} ).rules ) {
        sent[ rule.acl ][ rule.rule ].packets += sw.ports.size();
        sent[ rule.acl ][ rule.rule ].bytes += frame.size() * sw.ports.size();
      }
    }
    EXPECT_EQ( sw.differences( frames ), 0U );
    for ( U32 acl = 0; acl < 2; ++acl ) {
      for ( U32 rule = 0; rule < 40; ++rule ) {
        const RuleCounters counters = sw.feature.counters( { acl, rule } );
        EXPECT_EQ( counters.packets, sent[ acl ][ rule ].packets ) << acl << "/" << rule;
        EXPECT_EQ( counters.bytes, sent[ acl ][ rule ].bytes ) << acl << "/" << rule;
      }
    }
  }
}

// Reports the exhausted resource and rule, and removes the whole list.
TEST( AclFeatureTest, RollsBackAListThatDoesNotFit ) {
  // The range created at start-up takes one slice of 32.
  const struct {
    ChipSize size;
    AclResource resource;
    U32 rule;
  } cases[] = {
      { { 1, false, false, false, 4, 1024, 512 }, AclResource::slices, 86 },
      { { 1, false, false, false, 4, 1024, 50 }, AclResource::entries, 40 },
      { { 4, true, true, false, 8, 60, 512 }, AclResource::statistics, 50 },
      { { 1, false, false, false, 1, 1024, 512 }, AclResource::slices, 0 },
      { { 1, false, false, false, 4, 1024, 512, 4, 2 }, AclResource::policers, 2 },
  };
  for ( const auto & c : cases ) {
    SCOPED_TRACE( resourceName( c.resource ) );
    TestSwitch sw( c.size );
    const Acl first = plainAcl( c.rule == 0 ? 0 : 10 );
    ASSERT_FALSE( sw.feature.addAcl( first ) );
    const auto before = sw.session.chip().tables( SwitchSession::unit );

    Acl big = plainAcl( 600 );
    if ( c.resource == AclResource::policers )
      for ( AclRule & rule : big.rules )
        rule.police = PoliceRate{ 1000, 125 };
    const auto shortage = sw.feature.addAcl( big );
    ASSERT_TRUE( shortage );
    EXPECT_EQ( shortage->resource, c.resource );
    EXPECT_EQ( shortage->rule, c.rule );
    EXPECT_THAT( sw.audit(), IsEmpty() );
    const auto after = sw.session.chip().tables( SwitchSession::unit );
    ASSERT_EQ( after.size(), before.size() );
    for ( size_t i = 0; i < after.size(); ++i ) {
      EXPECT_EQ( after[ i ].entries, before[ i ].entries );
      EXPECT_EQ( after[ i ].groups, before[ i ].groups );
      EXPECT_EQ( after[ i ].freeSlices, before[ i ].freeSlices );
      EXPECT_EQ( after[ i ].freeStatistics, before[ i ].freeStatistics );
    }
    EXPECT_THAT( sw.chip().policers( 0 ), IsEmpty() );
    EXPECT_EQ( sw.feature.counters( { 1, 0 } ).packets, 0U );
    // The next list can use its ids and rows.
    const Acl next = plainAcl( c.rule == 0 ? 0 : 20 );
    EXPECT_FALSE( sw.feature.addAcl( next ) );
    EXPECT_THAT( sw.audit(), IsEmpty() );
  }
}

// Lists of every kind at once, with truncated and corrupted frames.
TEST( AclFeatureTest, EveryKindHandlesMalformedFrames ) {
  const auto list = []( AclKind kind, std::vector< AclRule > rules ) {
    Acl acl;
    acl.kind = kind;
    acl.rules = std::move( rules );
    return acl;
  };
  AclRule ip6, ip6Icmp, mac, typed;
  ip6.source6 = prefix6( { 0x20, 0x01, 0x0D, 0xB8 }, 33 );
  ip6.destinationPorts = { 80, 90 };
  ip6Icmp.destination6 = prefix6( { 0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 1, 0x80 }, 65 );
  ip6Icmp.protocol = { protocolIcmp6, 0xFF };
  ip6Icmp.icmpTypeCode = { 0x8000, 0xFF00 };
  ip6Icmp.forwarding = Forwarding::drop;
  mac.sourceMac = { 0x020000000000, 0xFF0000000001 };
  mac.vlan = { 5, 0xFFF };
  mac.forwarding = Forwarding::drop;
  typed.etherType = { 0x88CC, 0xFFFF };
  typed.forwarding = Forwarding::none;
  typed.copyToCpu = true;
  const std::vector< Acl > acls = { randomAcl( "a", 20, 9 ),
                                    list( AclKind::ipv6, { ip6, ip6Icmp } ),
                                    list( AclKind::mac, { mac, typed } ) };
  std::mt19937 random( 3 );
  std::vector< Frame > frames = randomFrames( acls, 3, 3000 );
  for ( Frame & frame : frames ) {
    if ( random() % 3 == 0 )
      frame.resize( random() % ( frame.size() + 1 ) );
    if ( random() % 3 == 0 && !frame.empty() )
      frame[ std::min< size_t >( 12 + random() % 16, frame.size() - 1 ) ] =
          static_cast< U8 >( random() % 2 == 0 ? random() : 0x45 );
  }
  for ( const bool deny : { false, true } ) {
    TestSwitch sw( { 2, true, false, false, 12, 1024, 512, 4, 0, 0, 384 } );
    for ( const Acl & acl : acls )
      ASSERT_FALSE( sw.feature.addAcl( acl ) );
    ASSERT_FALSE( deny && sw.feature.addDefault( Forwarding::drop ) );
    EXPECT_THAT( sw.audit(), IsEmpty() );
    EXPECT_EQ( sw.differences( frames ), 0U );
    sw.feature.clear();
    EXPECT_THAT( sw.audit(), IsEmpty() );
    EXPECT_TRUE( sw.chip().ranges( 0 ).empty() );
    EXPECT_EQ( sw.chip().groups( 0 ).size(), sw.ports.size() );  // L2 control group
  }
}

TEST( AclFeatureTest, RefusesListsThatThePlatformLacks ) {
  Platform::PlatformData platform = testPlatform( {} );
  Acl acl = plainAcl( 2 );
  acl.rules[ 1 ].tcpFlags.mask = 1;
  const auto fault = [ & ] {
    const auto found = listFault( platform, acl );
    return found ? fmt::format( "{}: {}", found->line, found->what ) : "";
  };
  EXPECT_EQ( fault(), "" );
  platform.groups[ 0 ].excludes = { bcmFieldQualifyTcpControl };
  EXPECT_EQ( fault(),
             "0: platform test cannot match tcpFlags (TcpControl) in group 1 of ipAclTcamGroup" );
  platform.groups[ 0 ].includes = { bcmFieldQualifyTcpControl };
  EXPECT_EQ( fault(), "" );
  acl.use = AclUse::mirror;
  acl.mirrorPort = 8;
  acl.mirrorPortLine = 4;
  EXPECT_EQ( fault(), "4: mirror port 8: test has the ports 0 to 7" );
  acl.mirrorPort = 7;
  acl.rules[ 0 ].udf.emplace_back();
  EXPECT_EQ( fault(), "0: this chip cannot match user-defined fields" );
  platform.chip.dataChunks = 4;
  EXPECT_EQ( fault(), "" );
  platform.chip.fixedGroupKeys = true;
  EXPECT_EQ( fault(), "0: this chip cannot widen a mirroring group for a new field" );
  acl.use = AclUse::flow;
  EXPECT_EQ( fault(),
             "0: platform test has no share for lists of type ipv4 and use flow; its shares: "
             "filter: ipv4, mac; mirror: ipv4, mac" );
}

}  // namespace Agent
