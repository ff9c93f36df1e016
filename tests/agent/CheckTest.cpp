// Findings of check against enumeration, and their text.
#include <gtest/gtest.h>

#include <numeric>

#include "agent/read/AclFiles.h"
#include "agent/verdict/Check.h"
#include "agent/verdict/ExamplePacket.h"
#include "tests/Rounds.h"
#include "tests/agent/FewBits.h"

namespace Agent {

namespace {

// What is wrong with the findings; empty: nothing.
class Judge {
 public:
  Judge( const Acl & acl, const std::vector< PacketPoint > & packets )
      : acl_( acl ), all_( acl, packets ), check_( checkList( acl, fewNodes, { true } ) ) {
    alive_.resize( acl.rules.size() );
    std::iota( alive_.begin(), alive_.end(), 0U );
    fates_ = all_.fates( alive_ );
  }

  std::string fault() {
    return !neverIsRight()       ? "never"
           : !redundantIsRight() ? "redundant"
           : !mergesAreRight()   ? "mergeable"
           : !overlapsAreRight() ? "overlaps"
           : !onlyFateIsRight()  ? "only fate"
                                 : "";
  }
  const ListCheck & check() const { return check_; }

 private:
  bool covers( const std::vector< U32 > & rules, U32 covered, U32 without ) const {
    for ( size_t packet = 0; packet < all_.packets(); ++packet )
      if ( all_.matches( covered, packet ) &&
           std::none_of( rules.begin(), rules.end(), [ & ]( U32 rule ) {
             return rule != without && all_.matches( rule, packet );
           } ) )
        return false;
    return true;
  }

  bool neverIsRight() const {
    std::vector< bool > decides( acl_.rules.size() + 1 );
    for ( size_t packet = 0; packet < all_.packets(); ++packet )
      decides[ all_.first( packet ) ] = true;
    size_t never = static_cast< size_t >( std::count( decides.begin(), decides.end() - 1, false ) );
    for ( const NeverMatches & found : check_.never ) {
      bool right = !decides[ found.rule ] && covers( found.covers, found.rule, found.rule );
      bool agree = true;
      for ( const U32 cover : found.covers ) {
        right = right && cover < found.rule && !covers( found.covers, found.rule, cover );
        agree = agree && acl_.rules[ cover ].forwarding == acl_.rules[ found.rule ].forwarding &&
                acl_.rules[ cover ].copyToCpu == acl_.rules[ found.rule ].copyToCpu;
      }
      if ( !right || agree != found.agree || never-- == 0 )
        return false;
    }
    return never == 0;
  }

  // They can be removed together, and no further one can.
  bool redundantIsRight() {
    for ( const NeverMatches & found : check_.never )
      std::erase( alive_, found.rule );
    for ( const U32 rule : check_.redundant )
      std::erase( alive_, rule );
    if ( all_.fates( alive_ ) != fates_ )
      return false;
    for ( const size_t rule : alive_ ) {
      auto fewer = alive_;
      std::erase( fewer, rule );
      if ( all_.fates( fewer ) == fates_ && !acl_.rules[ rule ].counters.stated )
        return false;
    }
    return true;
  }

  bool mergesAreRight() const {
    return std::all_of(
        check_.mergeable.begin(), check_.mergeable.end(),
        [ & ]( const MergePair & pair ) {
          return mergedMeansTheSame( pair, pair.first ) || mergedMeansTheSame( pair, pair.second );
        } );
  }

  bool mergedMeansTheSame( const MergePair & pair, size_t place ) const {
    const std::vector< bool > merged = all_.matchesOf( pair.merged );
    for ( size_t packet = 0; packet < all_.packets(); ++packet ) {
      size_t by = acl_.rules.size();
      for ( auto rule = alive_.rbegin(); rule != alive_.rend(); ++rule )
        if ( *rule == place
                 ? merged[ packet ]
                 : *rule != pair.first && *rule != pair.second && all_.matches( *rule, packet ) )
          by = *rule;
      if ( all_.fateBy( by ) != fates_[ packet ] )
        return false;
    }
    return true;
  }

  bool overlapsAreRight() const {
    std::set< std::pair< U32, U32 > > expected, found;
    for ( size_t packet = 0; packet < all_.packets(); ++packet )
      for ( size_t rule = all_.first( packet ) + 1; rule < acl_.rules.size(); ++rule ) {
        const AclRule & a = acl_.rules[ all_.first( packet ) ];
        const AclRule & b = acl_.rules[ rule ];
        const bool reached =
            std::none_of( check_.never.begin(), check_.never.end(),
                          [ rule ]( const NeverMatches & never ) { return never.rule == rule; } );
        if ( reached && all_.matches( rule, packet ) &&
             ( a.forwarding != b.forwarding || a.copyToCpu != b.copyToCpu ) )
          expected.emplace( all_.first( packet ), rule );
      }
    for ( const ActionOverlap & overlap : check_.overlaps ) {
      const Frame frame = frameOf( overlap.example );
      FrameFields fields = readFrame( frame );
      fields.inPort = static_cast< U32 >( overlap.example.of( FieldId::inPorts ).low );
      if ( !ruleMatches( acl_, acl_.rules[ overlap.first ], fields ) ||
           !ruleMatches( acl_, acl_.rules[ overlap.second ], fields ) )
        return false;
      found.emplace( overlap.first, overlap.second );
    }
    return found == expected;
  }

  bool onlyFateIsRight() const {
    const auto same = []( const Enumeration::Fate & a, const Enumeration::Fate & b ) {
      return std::get< 0 >( a ) == std::get< 0 >( b ) && std::get< 1 >( a ) == std::get< 1 >( b );
    };
    return check_.onlyFate.has_value() ==
           std::all_of( fates_.begin(), fates_.end(),
                        [ & ]( const auto & fate ) { return same( fate, fates_.front() ); } );
  }

  const Acl & acl_;
  const Enumeration all_;
  const ListCheck check_;
  std::vector< size_t > alive_;
  std::vector< Enumeration::Fate > fates_;
};

TEST( CheckTest, FindingsAreThoseOfEnumeration ) {
  constexpr AclKind kinds[] = { AclKind::ipv4, AclKind::ipv6, AclKind::mac };
  U32 never = 0, redundant = 0, merged = 0, overlaps = 0;
  for ( U32 seed = 0; seed < ::Test::rounds( 10'000 ); ++seed ) {
    FewBits bits( kinds[ seed % 3 ], seed );
    const Acl acl = bits.list( 7 );
    Judge judge( acl, bits.packets() );
    ASSERT_EQ( judge.fault(), "" ) << "seed " << seed << "\n" << checkText( { judge.check() } );
    never += judge.check().never.size();
    redundant += judge.check().redundant.size();
    merged += judge.check().mergeable.size();
    overlaps += judge.check().overlaps.size();
  }
  // The lists do have findings of every sort.
  EXPECT_GT( std::min( { never, redundant, merged, overlaps } ), ::Test::rounds( 50 ) );
}

TEST( CheckTest, RulesThatEarlierListsTakeAreThoseOfEnumeration ) {
  U32 rules = 0, whole = 0;
  for ( U32 seed = 0; seed < ::Test::rounds( 3000 ); ++seed ) {
    FewBits bits( AclKind::ipv4, seed );
    const Acl lists[] = { bits.list( 5 ), bits.list( 5 ), bits.list( 5 ) };
    const std::vector< PacketPoint > packets = bits.packets();
    const auto found = takenByOthers( { &lists[ 0 ], &lists[ 1 ], &lists[ 2 ] }, fewNodes );
    std::vector< bool > decided( packets.size() );  // by earlier lists
    for ( U32 list = 0; list < 3; ++list ) {
      const Acl & acl = lists[ list ];
      const Enumeration all( acl, packets );
      std::set< U32 > matched, reached;
      for ( size_t packet = 0; packet < packets.size(); ++packet ) {
        const U32 rule = static_cast< U32 >( all.first( packet ) );
        if ( rule == acl.rules.size() && acl.defaultAction == Forwarding::none )
          continue;
        ( decided[ packet ] ? matched : reached ).insert( rule );
        decided[ packet ] = true;
      }
      std::set< U32 > taken( found[ list ].rules.begin(), found[ list ].rules.end() );
      rules += taken.size();
      whole += found[ list ].all;
      ASSERT_EQ( found[ list ].all, reached.empty() && !matched.empty() ) << seed;
      for ( const U32 rule : reached )
        matched.erase( rule );
      matched.erase( static_cast< U32 >( acl.rules.size() ) );
      ASSERT_EQ( taken, matched ) << seed << " list " << list;
    }
  }
  EXPECT_GT( std::min( rules, whole ), 500U );
}

TEST( CheckTest, TheTextCountsRulesFrom1 ) {
  const AclDocument document = parseAclText( { "web", true }, "web.cfg",
                                             R"(ip access-list extended web
 permit tcp 10.0.0.0 0.255.255.255 any eq 80
 deny udp any any
 permit tcp 10.1.0.0 0.0.255.255 any eq 80
 permit udp 10.0.0.0 0.0.0.255 any
 permit tcp 11.0.0.0 0.255.255.255 any eq 80
 permit gre any any
 permit gre host 10.0.0.1 any
 permit icmp any any 8
 permit esp any host 10.0.0.9
 permit ip any host 10.0.0.9
)",
                                             nullptr, {} );
  const CheckOptions options = { true, Forwarding::none };
  EXPECT_EQ( checkText( { checkList( document.lists.front(), {}, options ) } ),
             R"(web (ipv4, 10 rules)
  Can never match, and earlier rules act otherwise: 1
    rule 4: udp 10.0.0.0/24 > any permit; covered by rule 2
  Can never match: 2
    rule 3: tcp 10.1.0.0/16 > any:80 permit; covered by rule 1
    rule 7: gre 10.0.0.1 > any permit; covered by rule 6
  Change nothing when removed: 1
    rule 9
  Can be merged: 1
    rules 1 and 5: tcp 10.0.0.0/7 > any:80 permit
  Overlap with other actions: 1
    rules 2 and 10: in 0 udp 192.0.2.1:1024 > 10.0.0.9:80
)" );
}

TEST( CheckTest, TextNamesTheListsThatTakePackets ) {
  const AclDocument document = parseAclText( { "web", true }, "web.cfg",
                                             R"(ip access-list extended first
 permit tcp any any
 permit udp any any eq 53
ip access-list extended second
 permit tcp any any eq 80
 permit udp any any
 permit tcp any any eq 443
)",
                                             nullptr, {} );
  std::vector< Acl > lists = document.lists;
  ASSERT_EQ( lists.size(), 2U );
  const auto text = [ & ] {
    const auto taken = takenByOthers( { &lists[ 0 ], &lists[ 1 ] }, {} );
    EXPECT_TRUE( taken[ 0 ].lists.empty() );
    ListCheck check = {};
    check.acl = &lists[ 1 ];
    check.taken = taken[ 1 ];
    return checkText( { check } );
  };
  lists[ 0 ].defaultAction = Forwarding::none;
  EXPECT_EQ( text(),
             "web-second (ipv4, 3 rules)\n  Can never match after web-first: 2\n"
             "    rules 1, 3\n" );
  lists[ 0 ].defaultAction = Forwarding::drop;
  EXPECT_EQ( text(),
             "web-second (ipv4, 3 rules)\n  Without effect after web-first, which decides all its "
             "packets\n" );
}

}  // namespace

}  // namespace Agent
