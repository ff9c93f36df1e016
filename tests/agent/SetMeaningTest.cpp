// What check, diff and compact say of real rule sets, against the reference model on packets near
// the rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>

#include "agent/packets/RandomPackets.h"
#include "agent/read/AclFiles.h"
#include "agent/verdict/Check.h"
#include "agent/verdict/Compact.h"
#include "agent/verdict/Difference.h"
#include "agent/verify/BruteForce.h"
#include "agent/verify/SeenPacket.h"
#include "platform/PlatformLoader.h"

namespace Agent {

namespace {

constexpr SpaceLimits setLimits = { 16'000'000, 128 };

// The first rule that matches; the number of rules if none does.
size_t deciding( const Acl & acl, const FrameFields & packet ) {
  size_t rule = 0;
  while ( rule < acl.rules.size() && !ruleMatches( acl, acl.rules[ rule ], packet ) )
    ++rule;
  return rule;
}

Forwarding forwardingOf( const Acl & acl, const FrameFields & packet ) {
  const size_t rule = deciding( acl, packet );
  return rule == acl.rules.size() ? acl.defaultAction : acl.rules[ rule ].forwarding;
}

// An IPv4 packet as a point of the space.
PacketPoint pointOf( const SoftAsic::ChipProfile & chip, const Frame & frame ) {
  const SeenPacket seen( chip, frame, { 0, 0 } );
  PacketPoint point;
  point.kind = AclKind::ipv4;
  point.present[ static_cast< size_t >( Presence::etherType ) ] = true;
  for ( const MatchField & field : matchFields() )
    if ( const auto value = seen.value( field, Direction::in ) ) {
      point.values[ static_cast< size_t >( field.id ) ] = *value;
      if ( field.id == FieldId::sourcePorts || field.id == FieldId::tcpFlags ||
           field.id == FieldId::icmp )
        point.present[ static_cast< size_t >( Presence::l4Header ) ] = true;
    }
  point.values[ static_cast< size_t >( FieldId::fragments ) ].low =
      static_cast< U64 >( readFrame( frame ).fragment.value() );
  return point;
}

}  // namespace

// Every packet that the lists treat differently is in a row with its fates, and no other packet.
TEST( SetMeaningTest, RowsOfADifferenceHoldThePacketsThatDiffer ) {
  const std::filesystem::path data = MORVANE_TEST_DATA "/classbench";
  if ( !std::filesystem::exists( data ) )
    GTEST_SKIP() << "no ClassBench sets";
  const SoftAsic::ChipProfile chip = Platform::loadPlatform( "large" ).chip;
  for ( const char * set : { "acl4_1k", "ipc1_1k" } ) {
    SCOPED_TRACE( set );
    Acl before = readAclFile( { set, true }, data / set, nullptr ).lists.at( 0 );
    before.defaultAction = Forwarding::drop;
    Acl after = before;
    for ( size_t rule = 5; rule < after.rules.size(); rule += 40 ) {
      after.rules[ rule ].forwarding = Forwarding::drop;
      after.rules.erase( after.rules.begin() + static_cast< std::ptrdiff_t >( rule / 2 ) );
    }
    Space space( AclKind::ipv4, setLimits );
    const Meaning old( space, { &before }, Forwarding::none );
    const Meaning fresh( space, { &after }, Forwarding::none );
    const TableDifference found = differenceOf( space, old, fresh, 10'000 );
    EXPECT_FALSE( found.more );
    std::vector< Acl > changed = { before };
    std::erase_if( changed[ 0 ].rules, [ & ]( const AclRule & rule ) {
      return std::any_of( after.rules.begin(), after.rules.end(), [ & ]( const AclRule & kept ) {
        return kept.line == rule.line && kept.forwarding == rule.forwarding;
      } );
    } );
    U32 differ = 0, wrong = 0;
    for ( const auto & lists : { changed, { before } } )
      for ( const Frame & frame : randomFrames( lists, 3, 500 ) ) {
        const FrameFields packet = readFrame( frame );
        const Forwarding fates[] = { forwardingOf( before, packet ),
                                     forwardingOf( after, packet ) };
        const PacketPoint point = pointOf( chip, frame );
        differ += fates[ 0 ] != fates[ 1 ] ? 1 : 0;
        const auto row =
            std::find_if( found.rows.begin(), found.rows.end(),
                          [ & ]( const auto & r ) { return space.holds( r.packets, point ); } );
        const bool right = row == found.rows.end()
                               ? fates[ 0 ] == fates[ 1 ]
                               : fates[ 0 ] != fates[ 1 ] && row->before.forwarding == fates[ 0 ] &&
                                     row->after.forwarding == fates[ 1 ];
        wrong += right ? 0 : 1;
      }
    EXPECT_EQ( wrong, 0U );
    EXPECT_GT( differ, 20U );
  }
}

TEST( SetMeaningTest, AgreesWithTheReferenceModel ) {
  const std::filesystem::path data = MORVANE_TEST_DATA "/classbench";
  if ( !std::filesystem::exists( data ) )
    GTEST_SKIP() << "no ClassBench sets";
  const Platform::PlatformData platform = Platform::loadPlatform( "large" );
  for ( const char * set : { "acl4_1k", "ipc1_1k" } ) {
    SCOPED_TRACE( set );
    Acl acl = readAclFile( { set, true }, data / set, nullptr ).lists.at( 0 );
    // The sets have no actions: neighbours disagree.
    for ( size_t rule = 0; rule < acl.rules.size(); rule += 2 )
      acl.rules[ rule ].forwarding = Forwarding::drop;
    acl.defaultAction = Forwarding::drop;
    const ListCheck check = checkList( acl, setLimits, {} );
    Acl less = acl;
    std::set< U32, std::greater<> > useless( check.redundant.begin(), check.redundant.end() );
    for ( const NeverMatches & found : check.never )
      useless.insert( found.rule );
    for ( const U32 rule : useless )
      less.rules.erase( less.rules.begin() + rule );
    const CompactList compact =
        compactList( acl, platform, PortMethod::expand, setLimits, Forwarding::none );
    EXPECT_LT( compact.entriesAfter, compact.entriesBefore );
    EXPECT_LT( less.rules.size(), acl.rules.size() );
    std::vector< Frame > frames = randomFrames( { acl }, 1, 500 );
    for ( Frame & frame : randomFrames( { compact.after }, 2, 500 ) )
      frames.push_back( std::move( frame ) );
    U32 wrong = 0;
    for ( const Frame & frame : frames ) {
      const FrameFields packet = readFrame( frame );
      const Forwarding fate = forwardingOf( acl, packet );
      const size_t rule = deciding( acl, packet );
      const bool never =
          std::any_of( check.never.begin(), check.never.end(),
                       [ rule ]( const NeverMatches & found ) { return found.rule == rule; } );
      wrong += never || forwardingOf( less, packet ) != fate ||
                       forwardingOf( compact.after, packet ) != fate
                   ? 1
                   : 0;
    }
    EXPECT_EQ( wrong, 0U );
  }
}

}  // namespace Agent
