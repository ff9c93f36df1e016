// What check and compact say of real rule sets, against the reference model on packets near the
// rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>

#include "agent/packets/RandomPackets.h"
#include "agent/read/AclFiles.h"
#include "agent/verdict/Check.h"
#include "agent/verdict/Compact.h"
#include "agent/verify/BruteForce.h"
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

}  // namespace

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
