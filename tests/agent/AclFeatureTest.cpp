#include <gmock/gmock.h>

#include <random>

#include "agent/RandomPackets.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using testing::IsEmpty;

// `rules` rules over few addresses and ports, so that they overlap and shadow each other.
Acl randomAcl( const std::string & name, U32 rules, U32 seed ) {
  std::mt19937 random( seed );
  const auto pick = [ & ]( U32 end ) { return static_cast< U32 >( random() ) % end; };
  constexpr U8 protocols[] = { protocolTcp, protocolUdp, protocolIcmp, 47 };
  Acl acl{ name, name, {} };
  for ( U32 i = 0; i < rules; ++i ) {
    AclRule rule;
    rule.line = i + 1;
    rule.source = { 0x0A000000 | pick( 16 ), static_cast< U8 >( 26 + pick( 7 ) ) };
    rule.destination = { pick( 4 ) << 30, static_cast< U8 >( pick( 3 ) ) };
    rule.anyProtocol = pick( 4 ) == 0;
    rule.protocol = protocols[ pick( 4 ) ];
    if ( pick( 3 ) == 0 )
      rule.destinationPorts = { 0, static_cast< U16 >( pick( 40 ) ) };
    if ( pick( 4 ) == 0 )
      rule.sourcePorts = { 7, static_cast< U16 >( 7 + pick( 3 ) ) };
    if ( !rule.anyProtocol && rule.protocol == protocolTcp && pick( 2 ) == 0 ) {
      rule.tcpFlagsMask = static_cast< U8 >( 1U << pick( 8 ) );
      rule.tcpFlags = rule.tcpFlagsMask;
    }
    if ( !rule.anyProtocol && rule.protocol == protocolIcmp && pick( 2 ) == 0 )
      rule.icmpTypeCodeMask = 0x0100;
    acl.rules.push_back( rule );
  }
  return acl;
}

}  // namespace

TEST( AclFeature, chipDecidesAsTheRulesSayOnEveryCopy ) {
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
      ASSERT_FALSE( sw.feature.addAcl( acl, compileAcl( acl ) ) );
    ASSERT_FALSE( sw.feature.addDenyRest() );
    EXPECT_THAT( sw.audit(), IsEmpty() );

    const Policy policy = { { &acls[ 0 ], &acls[ 1 ] }, true };
    std::vector< std::vector< RuleCounters > > sent( 2, std::vector< RuleCounters >( 40 ) );
    U32 differing = 0;
    for ( const PacketFields & packet : randomPackets( acls, seed, 1500 ) ) {
      const PacketFate expected = expectedFate( policy, packet );
      for ( const U32 port : sw.replay.portOfEveryCopy() ) {
        const PacketFate fate = sw.replay.send( packet, port );
        if ( fate != expected && ++differing < 5 )
          ADD_FAILURE() << fateDifference( packet, port, expected, fate );
        if ( expected.rule ) {
          ++sent[ expected.rule->acl ][ expected.rule->rule ].packets;
          sent[ expected.rule->acl ][ expected.rule->rule ].bytes += 60;
        }
      }
    }
    EXPECT_EQ( differing, 0U );
    for ( U32 acl = 0; acl < 2; ++acl ) {
      for ( U32 rule = 0; rule < 40; ++rule ) {
        const RuleCounters counters = sw.feature.counters( { acl, rule } );
        EXPECT_EQ( counters.packets, sent[ acl ][ rule ].packets ) << acl << "/" << rule;
        EXPECT_EQ( counters.bytes, sent[ acl ][ rule ].bytes ) << acl << "/" << rule;
      }
    }
  }
}

// What binds, where, and that nothing of the access list is left behind.
TEST( AclFeature, listThatDoesNotFitIsRolledBack ) {
  // One slice of 32 goes to the range that is made at start-up.
  const struct {
    ChipSize size;
    AclResource resource;
    U32 rule;
  } cases[] = {
      { { 1, false, false, false, 4, 1024, 512 }, AclResource::slices, 86 },
      { { 1, false, false, false, 4, 1024, 50 }, AclResource::entries, 40 },
      { { 4, true, true, false, 8, 60, 512 }, AclResource::statistics, 50 },
      { { 1, false, false, false, 1, 1024, 512 }, AclResource::slices, 0 },
  };
  for ( const auto & c : cases ) {
    SCOPED_TRACE( resourceName( c.resource ) );
    TestSwitch sw( c.size );
    const Acl first = plainAcl( c.rule == 0 ? 0 : 10 );
    ASSERT_FALSE( sw.feature.addAcl( first, compileAcl( first ) ) );
    const U32 copies = static_cast< U32 >( sw.replay.portOfEveryCopy().size() );
    const auto before = sw.session.chip().tables( SwitchSession::unit );

    const Acl big = plainAcl( 600 );
    const auto shortage = sw.feature.addAcl( big, compileAcl( big ) );
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
    EXPECT_EQ( copies, after.size() );
    EXPECT_EQ( sw.feature.counters( { 1, 0 } ).packets, 0U );
    // Its ids and room are free for the next.
    const Acl next = plainAcl( c.rule == 0 ? 0 : 20 );
    EXPECT_FALSE( sw.feature.addAcl( next, compileAcl( next ) ) );
    EXPECT_THAT( sw.audit(), IsEmpty() );
  }
}

TEST( AclFeature, platformMustServeIt ) {
  Platform::PlatformData platform = testPlatform( {} );
  EXPECT_EQ( AclFeature::platformFault( platform ), "" );
  platform.groups[ 0 ].excludes = { bcmFieldQualifyTcpControl };
  EXPECT_EQ( AclFeature::platformFault( platform ),
             "group 1 of ipAclTcamGroup cannot match TcpControl" );
  platform.groups[ 0 ].includes = { bcmFieldQualifyTcpControl };
  EXPECT_EQ( AclFeature::platformFault( platform ), "" );
  platform.reservations.erase( platform.reservations.begin() );
  EXPECT_NE( AclFeature::platformFault( platform ), "" );
}

}  // namespace Agent
