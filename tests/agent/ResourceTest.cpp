// Range checkers and policers of access lists.
#include <gmock/gmock.h>

#include "agent/packets/PacketMaker.h"
#include "agent/packets/RandomPackets.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using testing::IsEmpty;

// One rule per range of destination ports.
Acl rangeAcl( const std::vector< PortRange > & ranges ) {
  Acl acl;
  for ( const PortRange & range : ranges ) {
    AclRule & rule = acl.rules.emplace_back();
    rule.destinationPorts = range;
    rule.protocol = { protocolTcp, 0xFF };
    acl.rules.back().source = prefix4( static_cast< U32 >( acl.rules.size() ), 32 );
  }
  return acl;
}

// Entries per rule. The list must fit.
std::vector< U32 > entriesOf( const AclFeature & feature, const Acl & acl, U32 index ) {
  std::vector< U32 > entries;
  for ( U32 rule = 0; rule < acl.rules.size(); ++rule )
    entries.push_back( static_cast< U32 >( feature.find( { index, rule } )->entries.size() ) );
  return entries;
}

constexpr PortRange rangeA = { 1, 6 };         // four prefixes
constexpr PortRange rangeB = { 1024, 65535 };  // six
constexpr PortRange rangeC = { 5, 7 };         // two

}  // namespace

TEST( PortMethodTest, IsSelectedPerRule ) {
  Acl acl = rangeAcl( { rangeA, { 80, 80 }, { 64, 127 }, rangeA, rangeB, rangeC, { 0, 65535 } } );
  acl.rules[ 3 ].sourcePorts = rangeC;  // both directions; A and C have checkers by then
  const struct {
    PortMethod ports;
    U32 checkers;
    std::vector< U32 > entries;  // by rule
    U32 inUse;
  } cases[] = {
      { PortMethod::expand, 4, { 4, 1, 1, 8, 6, 2, 1 }, 0 },
      { PortMethod::automatic, 0, { 4, 1, 1, 8, 6, 2, 1 }, 0 },
      { PortMethod::automatic, 1, { 1, 1, 1, 2, 6, 2, 1 }, 1 },
      { PortMethod::automatic, 2, { 1, 1, 1, 1, 6, 2, 1 }, 2 },
      { PortMethod::automatic, 3, { 1, 1, 1, 1, 1, 2, 1 }, 3 },
      { PortMethod::checkers, 4, { 1, 1, 1, 1, 1, 1, 1 }, 4 },
  };
  for ( const auto & c : cases ) {
    SCOPED_TRACE( c.checkers );
    ChipSize size = { 2, true };
    size.rangeCheckers = c.checkers;
    size.ports = c.ports;
    TestSwitch sw( size );
    ASSERT_FALSE( sw.feature.addAcl( acl ) );
    EXPECT_EQ( entriesOf( sw.feature, acl, 0 ), c.entries );
    EXPECT_EQ( sw.chip().ranges( 0 ).size(), c.inUse );
    EXPECT_EQ( sw.differences( randomFrames( { acl }, 1, 800 ) ), 0U );
    EXPECT_THAT( sw.audit(), IsEmpty() );
    sw.feature.clear();
    EXPECT_THAT( sw.chip().ranges( 0 ), IsEmpty() );
    EXPECT_THAT( sw.audit(), IsEmpty() );
  }
}

// A list that does not fit releases the checkers that only it uses.
TEST( PortMethodTest, ReleasesCheckersIfTheyRunOut ) {
  ChipSize size;
  size.rangeCheckers = 2;
  size.ports = PortMethod::checkers;
  TestSwitch sw( size );
  const Acl first = rangeAcl( { rangeA } );
  ASSERT_FALSE( sw.feature.addAcl( first ) );
  Acl big = rangeAcl( { rangeA, rangeB, rangeC } );
  const auto shortage = sw.feature.addAcl( big );
  ASSERT_TRUE( shortage );
  EXPECT_EQ( shortage->resource, AclResource::rangeCheckers );
  EXPECT_EQ( shortage->rule, 2U );
  EXPECT_EQ( sw.chip().ranges( 0 ).size(), 1U );
  EXPECT_THAT( sw.audit(), IsEmpty() );
  // Without a checker for the second direction, the first one is released too.
  Acl both = rangeAcl( { rangeB } );
  both.rules[ 0 ].sourcePorts = rangeC;
  EXPECT_TRUE( sw.feature.addAcl( both ) );
  EXPECT_EQ( sw.chip().ranges( 0 ).size(), 1U );
  const Acl next = rangeAcl( { rangeC, rangeA } );
  EXPECT_FALSE( sw.feature.addAcl( next ) );
}

// Two rules with several entries, one policed. Each pipe has a bucket for all entries and copies.
TEST( PolicingTest, EntriesOfARuleShareABucketPerPipe ) {
  for ( const bool shared : { false, true } ) {
    ChipSize size = { 2, !shared, false, shared };
    size.policers = 1;
    TestSwitch sw( size );
    Acl acl = rangeAcl( { rangeA, rangeA } );
    acl.rules[ 0 ].source = {};
    acl.rules[ 0 ].police = PoliceRate{ 8'000'000, 250 };  // one byte per microsecond
    acl.rules[ 0 ].copyToCpu = true;
    ASSERT_FALSE( sw.feature.addAcl( acl ) );
    EXPECT_THAT( sw.audit(), IsEmpty() );
    std::vector< Frame > frames;
    for ( U16 i = 0; i < 50; ++i )
      frames.push_back(
          makeFrame( { 9, 9, protocolTcp, 1, static_cast< U16 >( 1 + i % 6 ), 0, 0 } ) );
    // A frame of 60 bytes on all ports every 20 microseconds.
    U64 conformed = 0;
    for ( const Frame & frame : frames ) {
      const Packet packet = { frame, sw.time += 20'000 };
      for ( const U32 port : sw.ports ) {
        const PacketFate expected = expectedFate(
            sw.feature.policy(), readFrame( frame ), [ & ]( const RuleIndex & rule, auto & rate ) {
              const bool passes = sw.rates.passes( rule, rate, shared ? 0 : port / 8, 60, sw.time );
              conformed += passes ? 1 : 0;
              return passes;
            } );
        EXPECT_EQ( sw.replay.send( packet, { port, 0 } ), expected ) << sw.time;
      }
    }
    const RuleCounters counters = sw.feature.counters( { 0, 0 } );
    const U64 sent = frames.size() * sw.ports.size();
    EXPECT_EQ( counters.packets, sent );
    EXPECT_EQ( counters.conformedPackets, conformed );
    EXPECT_EQ( counters.droppedPackets, sent - conformed );
    EXPECT_EQ( counters.droppedBytes, 60 * ( sent - conformed ) );
    // Per pipe: the burst plus a third of a frame per interval.
    EXPECT_EQ( conformed, ( shared ? 1U : 2U ) * 20U );
    sw.feature.clear();
    EXPECT_THAT( sw.chip().policers( 0 ), IsEmpty() );
  }
}

}  // namespace Agent
