// Differences of two lists against enumeration, and their text.
#include <gtest/gtest.h>

#include "agent/read/AclFiles.h"
#include "agent/verdict/Difference.h"
#include "tests/agent/FewBits.h"

namespace Agent {

namespace {

Fate fateIn( const Acl & acl, const FrameFields & fields ) {
  for ( const AclRule & rule : acl.rules )
    if ( ruleMatches( acl, rule, fields ) )
      return fateOf( acl, rule );
  Fate fate;
  fate.forwarding = acl.defaultAction;
  return fate;
}

TEST( DifferenceTest, RowsHoldThePacketsWhoseFateChangesAndNoOthers ) {
  constexpr AclKind kinds[] = { AclKind::ipv4, AclKind::ipv6, AclKind::mac };
  U32 same = 0;
  size_t rows = 0;
  for ( U32 seed = 0; seed < 10'000; ++seed ) {
    FewBits bits( kinds[ seed % 3 ], seed );
    const Acl before = bits.list( 6 );
    Acl after = before;
    const size_t at = bits.pick( static_cast< U32 >( after.rules.size() ) );
    if ( bits.pick( 3 ) == 0 )
      after = bits.list( 6 );
    else if ( bits.pick( 2 ) == 0 )
      after.rules.erase( after.rules.begin() + static_cast< std::ptrdiff_t >( at ) );
    else
      std::swap( after.rules[ at ], after.rules.front() );
    const Space space( before.kind, fewNodes );
    const Meaning oldMeaning( space, { &before }, Forwarding::none );
    const Meaning newMeaning( space, { &after }, Forwarding::none );
    const TableDifference difference = differenceOf( space, oldMeaning, newMeaning, 1000 );
    same += difference.rows.empty() ? 1 : 0;
    rows += difference.rows.size();
    for ( const PacketPoint & packet : bits.packets() ) {
      const FrameFields fields = fieldsOf( packet );
      const Fate from = fateIn( before, fields );
      const Fate to = fateIn( after, fields );
      bool found = false;
      for ( const DifferenceRow & row : difference.rows )
        if ( space.holds( row.packets, packet ) ) {
          found = true;
          ASSERT_EQ( row.before, from ) << "seed " << seed;
          ASSERT_EQ( row.after, to ) << "seed " << seed;
        }
      ASSERT_EQ( found, from != to ) << "seed " << seed << describe( fields ) << "\n"
                                     << differenceText( { difference } );
    }
    for ( const DifferenceRow & row : difference.rows )
      ASSERT_TRUE( space.holds( row.packets, row.example ) );
  }
  EXPECT_GT( same, 1000U );
  EXPECT_LT( static_cast< double >( rows ) / ( 10'000 - same ), 5 );
}

TEST( DifferenceTest, ARowIsAsWideAsTheDifference ) {
  const auto list = []( const char * rules ) {
    return parseAclText( { "web", true }, "web.cfg",
                         std::string( "ip access-list extended web\n" ) + rules, nullptr, {} )
        .lists.front();
  };
  const Acl before = list( R"( permit tcp 10.0.0.0 0.255.255.255 any range 80 90
 deny udp any any
 permit ip any any
)" );
  const Acl after = list( R"( deny tcp 10.1.0.0 0.0.255.255 any eq 85
 permit tcp 10.0.0.0 0.255.255.255 any range 80 99
 deny udp host 10.0.0.1 any
 permit ip any 10.0.0.0 0.0.0.255
)" );
  const Space space( AclKind::ipv4, fewNodes );
  const Meaning oldMeaning( space, { &before }, Forwarding::none );
  const Meaning newMeaning( space, { &after }, Forwarding::none );
  std::vector< TableDifference > tables = { differenceOf( space, oldMeaning, newMeaning, 10 ),
                                            differenceOf( space, oldMeaning, oldMeaning, 10 ) };
  tables[ 0 ].name = tables[ 1 ].name = "ipv4 filter lists";
  for ( DifferenceRow & row : tables[ 0 ].rows )
    row.chip = "not run";
  EXPECT_EQ( differenceText( tables ), R"(ipv4 filter lists: 3 differences
  any packet, except what is matched by rules 1, 2 of old web or rules 2, 4 of new web
    old: permit by rule 3 of web
    new: drop by default of web
    example: port 0: 60 bytes 192.0.2.1 to 198.51.100.1 class 0x00 ttl 64 protocol 6 ports 1024 to 80 flags 0x02
    chip: not run
  tcp 10.1.0.0/16 > any:85
    old: permit by rule 1 of web
    new: drop by rule 1 of web
    example: port 0: 60 bytes 10.1.0.0 to 198.51.100.1 class 0x00 ttl 64 protocol 6 ports 1024 to 85 flags 0x02
    chip: not run
  udp any > 10.0.0.0/24, except what is matched by rule 3 of new web
    old: drop by rule 2 of web
    new: permit by rule 4 of web
    example: port 0: 60 bytes 192.0.2.1 to 10.0.0.0 class 0x00 ttl 64 protocol 17 ports 1024 to 80
    chip: not run
ipv4 filter lists: both mean the same
)" );
}

}  // namespace

}  // namespace Agent
