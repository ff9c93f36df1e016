// Compacted lists against enumeration, and their text.
#include <gtest/gtest.h>

#include "agent/acl/RuleText.h"
#include "agent/read/AclFiles.h"
#include "agent/read/RulesFileReader.h"
#include "agent/verdict/Compact.h"
#include "tests/Rounds.h"
#include "tests/agent/FewBits.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

Platform::PlatformData compactPlatform() {
  ChipSize size;
  size.everyField = true;
  size.keyBits = 384;
  return testPlatform( size );
}

// Of each packet: what happens to it, and the rule if it stands alone.
std::vector< std::string > fatesOf( const Acl & acl, const std::vector< PacketPoint > & packets ) {
  std::vector< std::string > fates;
  for ( const PacketPoint & packet : packets ) {
    const FrameFields fields = fieldsOf( packet );
    std::string fate = forwardingName( acl.defaultAction );
    for ( const AclRule & rule : acl.rules )
      if ( ruleMatches( acl, rule, fields ) ) {
        fate = fateText( fateOf( acl, rule ) ) + ( standsAlone( rule ) ? rule.name : "" );
        break;
      }
    fates.push_back( fate == "none" ? "undecided" : fate );
  }
  return fates;
}

TEST( CompactTest, SmallerListsAndTheirFilesMeanTheSame ) {
  const Platform::PlatformData platform = compactPlatform();
  constexpr AclKind kinds[] = { AclKind::ipv4, AclKind::ipv6, AclKind::mac };
  constexpr PortMethod methods[] = { PortMethod::expand, PortMethod::automatic };
  U64 before = 0, after = 0;
  U32 merged = 0, widened = 0;
  for ( U32 seed = 0; seed < ::Test::rounds( 10'000 ); ++seed ) {
    FewBits bits( kinds[ seed % 3 ], seed );
    Acl acl = bits.list( 7 );
    for ( size_t i = 0; i < acl.rules.size(); ++i )
      acl.rules[ i ].name = std::to_string( i );
    const std::vector< PacketPoint > packets = bits.packets();
    const CompactList compact =
        compactList( acl, platform, methods[ seed / 3 % 2 ], fewNodes, Forwarding::none );
    ASSERT_LE( compact.entriesAfter, compact.entriesBefore ) << "seed " << seed;
    const auto fates = fatesOf( acl, packets );
    ASSERT_EQ( fatesOf( compact.after, packets ), fates ) << "seed " << seed;
    if ( !compact.after.rules.empty() ) {
      const std::string file = rulesFileText( compact.after );
      ASSERT_EQ(
          fatesOf( parseAclText( { "list", true }, "list", file, nullptr ).lists.at( 0 ), packets ),
          fates )
          << "seed " << seed << "\n"
          << file;
    }
    before += compact.entriesBefore;
    after += compact.entriesAfter;
    widened += compact.widened.size();
    for ( const auto & from : compact.from )
      merged += from.size() > 1 ? 1 : 0;
  }
  EXPECT_LT( after * 10, before * 8 );
  EXPECT_GT( std::min( merged, widened ), ::Test::rounds( 10 ) );
}

TEST( CompactTest, TheTextSaysWhichRulesBecameWhich ) {
  const Acl acl = parseAclText( { "web", true }, "web.cfg", R"(ip access-list extended web
 permit tcp 10.0.0.0 0.255.255.255 any eq 80
 deny udp any any range 0 1023
 permit tcp 10.1.0.0 0.0.255.255 any eq 80
 permit tcp 11.0.0.0 0.255.255.255 any eq 80
 permit udp host 10.0.0.1 any range 1000 2047
 deny gre any any
)",
                                nullptr, {} )
                      .lists.front();
  EXPECT_EQ( compactText( { compactList( acl, compactPlatform(), PortMethod::expand, fewNodes,
                                         Forwarding::none ) } ),
             R"(web (ipv4): 6 entries for 3 rules, before 13 entries for 6 rules
  removed: rules 3, 6
  rules 1, 4 became rule 1: tcp 10.0.0.0/7 > any:80 permit
  rule 5 became rule 3, wider: udp 10.0.0.1 > any:0-2047 permit
)" );
}

}  // namespace

}  // namespace Agent
