#include <gtest/gtest.h>

#include <array>

#include "agent/feature/PriorityPlan.h"
#include "agent/packets/PacketMaker.h"
#include "agent/packets/RandomPackets.h"
#include "agent/verdict/Replace.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

// A list of few different rules, so that rules of two lists are equal, overlap and disagree.
Acl randomList( Random & random, U32 rules ) {
  Acl acl;
  acl.name = acl.file = "list";
  acl.defaultAction = random.below( 2 ) == 0 ? Forwarding::drop : Forwarding::permit;
  for ( U32 i = 0; i < rules; ++i ) {
    AclRule & rule = acl.rules.emplace_back();
    rule.line = i + 1;
    rule.source = prefix4( random.below( 8 ), 29 + random.below( 4 ) );
    rule.destination = prefix4( random.below( 8 ), random.below( 2 ) == 0 ? 0 : 31 );
    if ( random.below( 4 ) == 0 )
      rule.destinationPorts = { 1, 6 };
    rule.forwarding = random.below( 2 ) == 0 ? Forwarding::drop : Forwarding::permit;
    rule.copyToCpu = random.below( 3 ) == 0;
  }
  return acl;
}

// Some rules dropped, added, changed and exchanged.
Acl changed( Random & random, Acl acl ) {
  const Acl other = randomList( random, 6 );
  for ( const AclRule & rule : other.rules ) {
    const U32 at = random.below( static_cast< U32 >( acl.rules.size() ) );
    switch ( random.below( 4 ) ) {
      case 0:
        acl.rules.erase( acl.rules.begin() + at );
        break;
      case 1:
        acl.rules.insert( acl.rules.begin() + at, rule );
        break;
      case 2:
        acl.rules[ at ] = rule;
        break;
      default:
        std::swap( acl.rules[ at ], acl.rules.back() );
    }
  }
  acl.defaultAction = other.defaultAction;
  return acl;
}

std::vector< Packet > packetsOf( Random & random ) {
  std::vector< Packet > packets;
  for ( U32 i = 0; i < 100; ++i )
    packets.push_back( { makeFrame( { random.below( 8 ), random.below( 8 ), protocolTcp, 1,
                                      static_cast< U16 >( random.below( 9 ) ) } ),
                         0 } );
  return packets;
}

}  // namespace

// On chips of different sizes, so that every way of replacement is taken. Only where old rules must
// go first may packets meet neither list, and some do.
TEST( ReplaceTest, PacketsMeetTheOldListsOrTheNew ) {
  std::array< U32, 3 > taken = {};
  U64 neither = 0;
  for ( U32 seed = 0; seed < 120; ++seed ) {
    SCOPED_TRACE( seed );
    Random random( seed );
    ChipSize size = { 1 + random.below( 2 ), random.below( 2 ) == 0 };
    size.slices = 3;
    size.rangeCheckers = random.below( 2 );
    size.entries = std::array{ 400U, 64U, 45U }[ seed % 3 ];
    const Platform::PlatformData platform = testPlatform( size );
    const std::vector< Acl > old = { randomList( random, 22 ) };
    const std::vector< Acl > fresh = { seed % 2 == 0 ? changed( random, old[ 0 ] )
                                                     : randomList( random, 22 ) };
    const std::vector< Packet > packets = packetsOf( random );
    const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
    const U32 port = random.below( platform.chip.ports() );
    const ReplaceReport report =
        replaceLists( platform, old, fresh, PortMethod::automatic, packets, { { port, 0 } } );
    if ( !report.fault.empty() )
      continue;
    ++taken[ static_cast< size_t >( report.by ) ];
    EXPECT_GT( report.packets, 0U );
    neither += report.neither;
    EXPECT_TRUE( report.neither == 0 || report.by == Replacement::breakBeforeMake );
    EXPECT_EQ( report.callsBetween != 0, report.by == Replacement::breakBeforeMake );
    EXPECT_EQ( report.newEntries, report.oldEntries + report.counts.added - report.counts.removed );
    EXPECT_LE( report.peakEntries, report.room.entries() );
    EXPECT_TRUE( report.by == Replacement::makeBeforeBreak ||
                 report.oldEntries + report.newEntries > report.room.entries() );
    EXPECT_TRUE( report.by != Replacement::makeBeforeBreak || report.counts.moved == 0 );
  }
  for ( const U32 count : taken )
    EXPECT_GT( count, 10U );
  EXPECT_GT( neither, 0U );
}

// After a replacement the table treats packets as a table with the new lists does, its counters and
// owners are those of the new rules, and nothing is left after its release.
TEST( ReplaceTest, LeavesTheNewLists ) {
  for ( const Replacement by :
        { Replacement::makeBeforeBreak, Replacement::inPlace, Replacement::breakBeforeMake } ) {
    SCOPED_TRACE( static_cast< int >( by ) );
    Random random( 5 );
    TestSwitch sw( { 2, true } );
    const Acl old = randomList( random, 20 );
    const Acl fresh = changed( random, old );
    U32 policers = 4;
    AclTable table( sw.manager(), 0, sw.session.platform(), classOf( old ), sw.choice, policers );
    ASSERT_FALSE( table.addAcl( old, 0, {} ) );
    EditCounts counts;
    ASSERT_FALSE( table.replace( { { 1, &fresh } }, by, counts ) );
    EXPECT_EQ( counts.kept == 0, by == Replacement::makeBeforeBreak );
    EXPECT_TRUE( sw.audit().empty() );
    Policy policy;
    policy.tables.push_back(
        { AclKind::ipv4, Direction::in, { { 1, &fresh } }, Forwarding::none } );
    Replay replay( sw.session, [ & ]( U32 entry ) -> std::optional< RuleIndex > {
      const auto owner = table.ownerOf( entry );
      return owner && owner->rule && owner->rule->rule < fresh.rules.size() ? owner->rule
                                                                            : std::nullopt;
    } );
    U64 hits = 0;
    for ( const Packet & packet : packetsOf( random ) )
      for ( const U32 port : sw.ports ) {
        const PacketFate fate = replay.send( packet, { port, 0 } );
        EXPECT_EQ( fate, expectedFate( policy, readFrame( packet.frame ), {} ) );
        hits += fate.rules.size();
      }
    U64 counted = 0;
    for ( U32 rule = 0; rule < fresh.rules.size(); ++rule ) {
      ASSERT_NE( table.find( { 1, rule } ), nullptr );
      counted += table.counters( *table.find( { 1, rule } ) ).packets;
    }
    EXPECT_EQ( counted, hits );
    table.clear();
    EXPECT_TRUE( sw.audit().empty() );
    EXPECT_TRUE( sw.chip().ranges( 0 ).empty() );
  }
}

// A rule is added before others, on a chip that has no room for two versions.
TEST( ReplaceTest, ReportIsWhole ) {
  ChipSize size;
  size.slices = 2;
  const Platform::PlatformData platform = testPlatform( size );
  std::vector< Acl > old = { plainAcl( 20 ) };
  std::vector< Acl > fresh = old;
  fresh[ 0 ].rules.insert( fresh[ 0 ].rules.begin() + 4, AclRule() );
  fresh[ 0 ].rules.pop_back();
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  Random random( 1 );
  const ReplaceReport edit =
      replaceLists( platform, old, fresh, PortMethod::automatic, packetsOf( random ), { {} } );
  EXPECT_EQ(
      replacementText( edit ),
      "  replacement: edit in place, at most 21 entries of 32: 19 kept, 16 moved, 1 added, 1 "
      "removed, in 29 SDK calls\n"
      "    applied: 116 packets were sent during these, of which 0 met neither list\n" );
  // Nothing is moved for what is only removed.
  const std::vector< Acl > less = { plainAcl( 19 ) };
  const ReplaceReport report =
      replaceLists( platform, old, less, PortMethod::automatic, {}, { {} } );
  EXPECT_EQ( report.by, Replacement::inPlace );
  EXPECT_EQ( report.counts.moved, 0U );
}

// The new list fits in no way. What stays of the old one is as it was, and nothing is released
// twice.
TEST( ReplaceTest, ListThatDoesNotFitLeavesWhatStays ) {
  for ( const Replacement by :
        { Replacement::makeBeforeBreak, Replacement::inPlace, Replacement::breakBeforeMake } ) {
    SCOPED_TRACE( static_cast< int >( by ) );
    ChipSize size = { 2, true };
    size.slices = 3;
    TestSwitch sw( size );
    Acl old = plainAcl( 10 );
    Acl fresh = plainAcl( 80 );
    old.rules[ 3 ].destinationPorts = { 1, 6 };
    old.rules[ 4 ].police = PoliceRate{ 8'000'000, 1000 };
    fresh.rules[ 60 ].destinationPorts = { 5, 7 };
    fresh.rules[ 5 ].police = PoliceRate{ 8'000'000, 1000 };
    U32 policers = 4;
    AclTable table( sw.manager(), 0, sw.session.platform(), classOf( old ), sw.choice, policers );
    ASSERT_FALSE( table.addAcl( old, 0, {} ) );
    EditCounts counts;
    EXPECT_TRUE( table.replace( { { 1, &fresh } }, by, counts ) );
    EXPECT_TRUE( sw.audit().empty() );
    const bool broken = by == Replacement::breakBeforeMake;
    EXPECT_EQ( table.find( { 0, 3 } ) == nullptr, broken );
    EXPECT_NE( table.find( { 0, 2 } ), nullptr );
    EXPECT_EQ( policers, broken ? 4U : 3U );
    table.clear();
    EXPECT_EQ( policers, 4U );
    EXPECT_TRUE( sw.audit().empty() );
    EXPECT_TRUE( sw.chip().ranges( 0 ).empty() );
  }
}

namespace {

Acl taps( U32 offset ) {
  Acl acl = plainAcl( 2 );
  acl.name = "taps";
  acl.use = AclUse::mirror;
  acl.mirrorPort = 5;
  acl.rules[ 0 ].udf = { { UdfBase::l3Start, static_cast< U8 >( offset ), 3, 0xFF } };
  for ( AclRule & rule : acl.rules ) {
    rule.mirror = true;
    rule.forwarding = Forwarding::none;
  }
  return acl;
}

void changeSome( Random & random, std::vector< Acl > & acls ) {
  const auto at = acls.begin() + random.below( static_cast< U32 >( acls.size() ) + 1 );
  const U32 what = random.below( 8 );
  if ( what == 0 )
    acls.insert( at, taps( 4 * random.below( 4 ) ) );
  else if ( what == 1 || at == acls.end() )
    acls.insert( at, randomList( random, 6 ) );
  else if ( what == 2 )
    acls.erase( at );
  else if ( at->use == AclUse::filter && at->rules.size() > 6 )
    *at = changed( random, *at );
  else
    at->rules.push_back( at->rules.front() );
}

}  // namespace

// One change after the other, on chips that fill up: each is done whole, or the lists before it are
// as they were, with their order, owners and counters.
TEST( ReplaceTest, ChangesFollowEachOther ) {
  U32 refused = 0;
  for ( U32 seed = 0; seed < 12; ++seed ) {
    SCOPED_TRACE( seed );
    Random random( seed );
    ChipSize size = { 1 + random.below( 2 ), random.below( 2 ) == 0 };
    size.slices = 4 + random.below( 2 );
    size.entries = seed % 2 == 0 ? 64 : 512;
    size.dataChunks = 8;
    size.rangeCheckers = seed % 3;
    TestSwitch sw( size );
    std::vector< Acl > acls;
    std::vector< Frame > frames;
    for ( const Packet & packet : packetsOf( random ) )
      frames.push_back( packet.frame );
    for ( U32 step = 0; step < 40; ++step ) {
      std::vector< Acl > next = acls;
      changeSome( random, next );
      const Forwarding rest = random.below( 2 ) == 0 ? Forwarding::none : Forwarding::drop;
      const AclChange change = sw.feature.replaceAcls( next, rest );
      ASSERT_EQ( sw.audit(), std::vector< std::string >() );
      if ( change.shortage ) {
        ++refused;
        EXPECT_LT( change.shortage->rule, next.at( change.shortage->acl ).size() );
      } else {
        std::swap( acls, next );
      }
      ASSERT_EQ( sw.differences( frames ), 0U ) << step;
    }
    EXPECT_FALSE( sw.feature.replaceAcls( {}, Forwarding::none ).shortage );
    EXPECT_TRUE( sw.audit().empty() );
    EXPECT_TRUE( sw.chip().ranges( 0 ).empty() );
    EXPECT_FALSE( sw.manager().groupExists( 0, 1 ) );
  }
  EXPECT_GT( refused, 20U );
}

// Of any slots, with room for all: their order holds, nothing overlaps, and what has a gap, or
// nothing to make room for, stays.
TEST( PriorityPlanTest, MakesRoomInOrder ) {
  Random random( 3 );
  U32 stayed = 0;
  for ( U32 round = 0; round < 3000; ++round ) {
    const U32 lowest = random.below( 5 );
    U32 next = lowest + 60;  // the highest
    std::vector< PrioritySlot > slots;
    U64 wanted = 0;
    for ( U32 i = random.below( 14 ); i != 0; --i ) {
      const U32 entries = 1 + random.below( 4 );
      const U32 gap = random.below( 3 );
      wanted += entries;
      const bool placed = random.below( 3 ) != 0 && next >= lowest + gap + entries;
      slots.push_back( { entries, placed ? std::optional( next - gap ) : std::nullopt } );
      next -= placed ? gap + entries : 0;
    }
    ASSERT_LE( wanted, 61U );
    const std::vector< PrioritySlot > before = slots;
    planPriorities( slots, lowest + 60, lowest );
    S64 above = lowest + 61;
    bool moved = false;
    bool allPlaced = true;
    for ( size_t i = 0; i < slots.size(); ++i ) {
      ASSERT_TRUE( slots[ i ].top && *slots[ i ].top < above ) << round;
      above = S64{ *slots[ i ].top } - slots[ i ].entries + 1;
      moved = moved || ( before[ i ].top && before[ i ].top != slots[ i ].top );
      allPlaced = allPlaced && before[ i ].top;
    }
    ASSERT_GE( above, S64{ lowest } );
    EXPECT_FALSE( allPlaced && moved );
    stayed += moved ? 0 : 1;
  }
  EXPECT_GT( stayed, 500U );
  EXPECT_LT( stayed, 2500U );
}

// Only what is in the way of a new rule moves, to the nearer gap.
TEST( ReplaceTest, MovesTheFewestEntries ) {
  TestSwitch sw( ChipSize{} );
  Acl list = plainAcl( 60 );
  std::vector< Acl > acls;
  const auto moved = [ & ]( auto edit ) {
    edit( list.rules );
    std::vector< Acl > next = { list };
    const AclChange change = sw.feature.replaceAcls( next, Forwarding::drop );
    std::swap( acls, next );
    EXPECT_FALSE( change.shortage );
    return change.counts.moved;
  };
  using Rules = std::vector< AclRule >;
  EXPECT_EQ( moved( []( Rules & ) {} ), 0U );
  EXPECT_EQ( moved( []( Rules & rules ) { rules.insert( rules.begin() + 50, AclRule() ); } ),
             11U );  // ten rules and the default action, down
  EXPECT_EQ( moved( []( Rules & rules ) { rules.erase( rules.begin() + 20 ); } ), 0U );
  EXPECT_EQ( moved( []( Rules & rules ) { rules.insert( rules.begin() + 22, AclRule() ); } ),
             2U );  // up into the gap
  EXPECT_EQ( moved( []( Rules & rules ) { rules.emplace_back(); } ), 1U );
  EXPECT_EQ( sw.audit(), std::vector< std::string >() );
}

}  // namespace Agent
