// Sets of packets against the reference model.
#include <gtest/gtest.h>

#include "agent/space/Space.h"
#include "tests/agent/FewBits.h"

namespace Agent {

namespace {

constexpr AclKind kinds[] = { AclKind::ipv4, AclKind::ipv6, AclKind::mac };

TEST( SpaceTest, RulesMatchThePacketsThatTheReferenceModelSays ) {
  for ( const AclKind kind : kinds ) {
    const Space space( kind );
    for ( U32 seed = 0; seed < 150; ++seed ) {
      FewBits bits( kind, seed );
      const Acl acl = bits.list( 6 );
      const std::vector< PacketPoint > packets = bits.packets();
      std::vector< FrameFields > fields;
      for ( const PacketPoint & packet : packets )
        fields.push_back( fieldsOf( packet ) );
      for ( const AclRule & rule : acl.rules ) {
        const PacketSet set = space.matchedBy( acl, rule );
        U32 wrong = 0;
        bool any = false;
        for ( size_t i = 0; i < packets.size(); ++i ) {
          const bool matches = ruleMatches( acl, rule, fields[ i ] );
          any = any || matches;
          wrong += matches != space.holds( set, packets[ i ] ) ? 1 : 0;
        }
        ASSERT_EQ( wrong, 0U ) << "seed " << seed;
        ASSERT_EQ( any, !set.empty() ) << "seed " << seed;
        ASSERT_TRUE( set.empty() || ruleMatches( acl, rule, fieldsOf( space.example( set ) ) ) );
      }
    }
  }
}

// Every field of the table, in a rule that allows two values in it.
TEST( SpaceTest, EveryFieldIsMatched ) {
  for ( const AclKind kind : kinds ) {
    const Space space( kind );
    for ( const MatchField & field : matchFields() ) {
      if ( !field.isIn( kind ) || field.id == FieldId::fragments ||
           ( field.id == FieldId::etherType && kind != AclKind::mac ) )
        continue;
      Acl acl;
      acl.kind = kind;
      AclRule rule;
      const FieldBits all = { field.width > 64 ? ~U64{ 0 } : 0,
                              field.width >= 64 ? ~U64{ 0 } : ( U64{ 1 } << field.width ) - 1 };
      const FieldBits top = bitAt( field.width - 1 );
      if ( field.isRange() )
        setRanges( rule, field.id,
                   std::vector< AnyRange >{
                       { static_cast< U32 >( top.low ), static_cast< U32 >( top.low + 1 ) } } );
      else
        setMatches( rule, field.id, std::vector< TernaryBits >{ { top, all }, { all, all } } );
      const PacketSet set = space.matchedBy( acl, rule );
      const PacketPoint in = space.example( set );
      const PacketPoint out = space.example( space.all() - set );
      EXPECT_EQ( in.of( field.id ), top ) << field.name;
      EXPECT_TRUE( ruleMatches( acl, rule, fieldsOf( in ) ) ) << field.name;
      EXPECT_FALSE( ruleMatches( acl, rule, fieldsOf( out ) ) ) << field.name;
    }
  }
}

TEST( SpaceTest, ABoundOnNodesEndsTheWorkAtANamedRule ) {
  Acl acl = FewBits( AclKind::ipv4, 1 ).list( 1 );
  std::mt19937 random( 7 );
  for ( U32 round = 0; round < 2; ++round ) {  // the table can be used again
    std::string failure;
    {
      Space space( AclKind::ipv4, { 20'000, 256 } );
      PacketSet all;
      for ( size_t i = 0; failure.empty(); ++i ) {
        space.at( "web", i );
        AclRule rule;
        rule.source = { static_cast< U32 >( random() ), 0xFFFFFFFF };
        rule.destination = { static_cast< U32 >( random() ), 0xFFFFFFFF };
        try {
          all |= space.matchedBy( acl, rule );
        } catch ( const SpaceExhausted & exhausted ) {
          failure = exhausted.what();
        }
      }
    }
    EXPECT_TRUE( failure.starts_with( "web, rule " ) ) << failure;
    EXPECT_TRUE( failure.ends_with(
        ": the sets of packets take more than 20000 nodes; --nodes allows more" ) )
        << failure;
  }
}

}  // namespace

}  // namespace Agent
