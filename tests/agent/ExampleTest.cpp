// The examples of every format, examples/formats/.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "agent/packets/RandomPackets.h"
#include "agent/read/AclFiles.h"
#include "agent/verify/BruteForce.h"

namespace Agent {

namespace {

bool drops( const Acl & acl, const FrameFields & packet ) {
  const Policy policy = { { { acl.kind, Direction::in, { { 0, &acl } }, Forwarding::none } } };
  return expectedFate( policy, packet, []( const auto &, const auto & ) { return true; } ).drop;
}

}  // namespace

// One access list in six formats: they decide alike about every packet, by their own rules.
TEST( ExampleTest, FormatsHaveTheSameMeaning ) {
  std::vector< Acl > lists;
  for ( const char * file : { "rules.json", "rfc8519.json", "openconfig.json", "sonic.json",
                              "router.txt", "iptables.txt" } ) {
    AclDocument document =
        readAclFile( { file, true }, MORVANE_EXAMPLES "/formats/" + std::string( file ), nullptr );
    ASSERT_THAT( document.refusals.lines(), testing::IsEmpty() );
    ASSERT_EQ( document.lists.size(), 1U ) << file;
    lists.push_back( document.lists[ 0 ] );
    lists.back().defaultAction = Forwarding::none;
  }

  // Packets near every rule of every list, whole and in fragments, and of other kinds.
  std::vector< Acl > all = lists;
  Acl & others = all.emplace_back();
  others.kind = AclKind::mac;
  others.rules.resize( 20 );
  const std::vector< Frame > frames = randomFrames( all, 1, 20000 );
  std::mt19937 random( 1 );
  U32 permitted = 0;
  for ( size_t i = 0; i < 2 * frames.size(); ++i ) {
    FrameFields packet = readFrame( frames[ i / 2 ] );
    // Every other packet is near two rules: by its source, and by everything else.
    if ( i % 2 != 0 )
      packet.sourceIp = readFrame( frames[ random() % frames.size() ] ).sourceIp;
    const bool drop = drops( lists[ 0 ], packet );
    permitted += !drop;
    for ( const Acl & acl : lists )
      ASSERT_EQ( drops( acl, packet ), drop ) << acl.name << ": " << describe( packet );
  }
  EXPECT_GT( permitted, 5000U );
}

}  // namespace Agent
