// Differences of two lists against enumeration, and their text.
#include <gtest/gtest.h>

#include "agent/packets/PacketMaker.h"
#include "agent/packets/PacketText.h"
#include "agent/read/AclFiles.h"
#include "agent/verdict/Difference.h"
#include "agent/verdict/ExamplePacket.h"
#include "tests/Rounds.h"
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
  for ( U32 seed = 0; seed < ::Test::rounds( 10'000 ); ++seed ) {
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
  EXPECT_GT( same, ::Test::rounds( 1000 ) );
  EXPECT_LT( static_cast< double >( rows ) / ( 10'000 - same ), 5 );
}

// What is written of an example is read as the same packet.
TEST( DifferenceTest, ExamplesAreReadBack ) {
  U32 cut = 0;
  for ( U32 seed = 0; seed < 60; ++seed ) {
    FewBits bits( AclKind( seed % 3 ), seed );
    for ( PacketPoint & point : bits.packets() ) {
      for ( const auto & [ field, below ] :
            { std::pair( FieldId::dscp, 64 ), std::pair( FieldId::ecn, 4 ),
              std::pair( FieldId::ttl, 256 ), std::pair( FieldId::outPorts, 9 ),
              std::pair( FieldId::vlanPriority, point.has( Presence::tag ) ? 8 : 1 ),
              std::pair( FieldId::destinationMac, 99 ), std::pair( FieldId::etherType, 0x10000 ) } )
        point.values[ static_cast< size_t >( field ) ].low = bits.pick( below );
      if ( bits.pick( 4 ) == 0 )
        point.values[ static_cast< size_t >( FieldId::etherType ) ].low = 0x0800;
      const std::string words = packetText( point, Direction::out );
      const TextPacket read = packetFromText( words );
      ASSERT_EQ( makeFrame( read.fields ), frameOf( point ) ) << words;
      ASSERT_EQ( read.inPort, std::to_string( point.of( FieldId::inPorts ).low ) ) << words;
      ASSERT_EQ( read.outPort, std::to_string( point.of( FieldId::outPorts ).low ) ) << words;
      cut += read.fields.cut ? 1 : 0;
    }
  }
  EXPECT_GT( cut, 0U );
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
    example: in 0 tcp 192.0.2.1:1024 > 198.51.100.1:80 flags syn
    chip: not run
  tcp 10.1.0.0/16 > any:85
    old: permit by rule 1 of web
    new: drop by rule 1 of web
    example: in 0 tcp 10.1.0.0:1024 > 198.51.100.1:85 flags syn
    chip: not run
  udp any > 10.0.0.0/24, except what is matched by rule 3 of new web
    old: drop by rule 2 of web
    new: permit by rule 4 of web
    example: in 0 udp 192.0.2.1:1024 > 10.0.0.0:80
    chip: not run
ipv4 filter lists: both mean the same
)" );
  tables[ 0 ].rows.erase( tables[ 0 ].rows.begin(), tables[ 0 ].rows.end() - 1 );
  EXPECT_EQ( differenceText( tables, 36 ), R"(ipv4 filter lists: 1 difference
  udp any > 10.0.0.0/24, except
      what is matched by rule 3 of
      new web
    old: drop by rule 2 of web
    new: permit by rule 4 of web
    example: in 0 udp
        192.0.2.1:1024 > 10.0.0.0:80
    chip: not run
ipv4 filter lists: both mean the
    same
)" );
}

}  // namespace

}  // namespace Agent
