#include <gmock/gmock.h>

#include "agent/acl/PoliceRate.h"
#include "agent/acl/RuleText.h"
#include "agent/command/Run.h"
#include "agent/command/UsageError.h"
#include "agent/read/AclFiles.h"

namespace Agent {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

Acl parse( const std::string & text ) {
  AclDocument document = parseAclText( { "list", false }, "f", text, formatNamed( "rules" ) );
  if ( document.refusals.count() != 0 )
    throw std::runtime_error( document.refusals.lines()[ 0 ] );
  return std::move( document.lists[ 0 ] );
}

std::string rulesFileError( const std::string & text ) {
  try {
    parse( text );
  } catch ( const std::runtime_error & error ) {
    return error.what();
  }
  return "no error";
}

}  // namespace

TEST( RulesFileTest, ReadsAllFieldsOfARule ) {
  const Acl acl = parse( R"({ "rules": [
    {},
    { "source": "10.1.2.3", "destination": "192.0.2.0/24", "protocol": "tcp", "sourcePorts": 80,
      "destinationPorts": "1024-2047", "tcpFlags": { "value": "0x12", "mask": "0x16" },
      "actions": ["drop", "copyToCpu"], "counters": ["bytes"] },
    { "protocol": "icmp", "icmp": { "type": 3, "code": 4 }, "police": { "rate": "64k" } } ] })" );
  EXPECT_EQ( acl.use, AclUse::filter );
  ASSERT_EQ( acl.rules.size(), 3U );
  EXPECT_EQ( acl.rules[ 0 ].forwarding, Forwarding::permit );
  const AclRule & tcp = acl.rules[ 1 ];
  EXPECT_EQ( tcp.line, 3U );
  EXPECT_EQ( ruleText( acl.kind, tcp ),
             "tcp 10.1.2.3:80 > 192.0.2.0/24:1024-2047 flags +syn-rst+ack drop copyToCpu" );
  EXPECT_EQ( tcp.sourcePorts, ( PortRange{ 80, 80 } ) );
  EXPECT_EQ( tcp.destinationPorts, ( PortRange{ 1024, 2047 } ) );
  EXPECT_EQ( tcp.tcpFlags.mask, 0x16 );
  EXPECT_EQ( tcp.forwarding, Forwarding::drop );
  EXPECT_TRUE( tcp.copyToCpu && !tcp.mirror && tcp.counters.bytes && !tcp.counters.packets );
  EXPECT_EQ( acl.rules[ 2 ].icmpTypeCode.value, 0x0304 );
  EXPECT_EQ( acl.rules[ 2 ].police->bitsPerSecond, 64000U );

  const Acl mac = parse( R"({ "type": "mac", "use": "mirror", "mirrorPort": 3, "rules": [
    { "sourceMac": "02:00:5e:00:00:01", "destinationMac": "01:00:00:00:00:00/01:00:00:00:00:00",
      "etherType": "0x88cc", "vlan": 4095, "udf":
      [ { "base": "l2End", "offset": 4, "value": "0x12340000", "mask": "0xffff0000" } ] } ] })" );
  EXPECT_EQ( mac.rules[ 0 ].sourceMac.value, 0x02005E000001U );
  EXPECT_EQ( mac.rules[ 0 ].destinationMac, ( FieldMatch< U64 >{ 1ULL << 40, 1ULL << 40 } ) );
  EXPECT_EQ( mac.rules[ 0 ].vlan, ( FieldMatch< U16 >{ 4095, 0xFFF } ) );
  EXPECT_EQ( mac.rules[ 0 ].udf,
             ( std::vector< UdfMatch >{ { UdfBase::l2End, 4, 0x12340000, 0xFFFF0000 } } ) );
  EXPECT_TRUE( mac.rules[ 0 ].mirror );
  EXPECT_EQ( mac.rules[ 0 ].forwarding, Forwarding::none );
  const Acl ip6 = parse( R"({ "type": "ipv6", "rules": [
    { "source": "2001:db8::/33", "protocol": "tcp", "tcpFlags": { "value": "0x2" } } ] })" );
  EXPECT_TRUE( ip6.rules[ 0 ].isFor( protocolTcp ) );
  EXPECT_EQ( ip6.rules[ 0 ].tcpFlags, ( FieldMatch< U8 >{ 2, 0xFF } ) );
  EXPECT_THAT( ruleText( ip6.kind, ip6.rules[ 0 ] ),
               StartsWith( "tcp 2001:db8::/33 > any flags =syn " ) );
}

// Each is the third line of an otherwise valid file.
TEST( RulesFileTest, RefusesMalformedRules ) {
  const auto check = []( const std::string & head, const std::vector< const char * > & rules ) {
    for ( const char * rule : rules )
      EXPECT_THAT( rulesFileError( "{ " + head + " \"rules\": [\n{},\n" + rule + "\n] }" ),
                   StartsWith( "f:3:" ) )
          << rule;
  };
  check( "", { "7",
               R"({ "sorce": "1.2.3.4" })",
               R"({ "source": "1.2.3.4/33" })",
               R"({ "source": "1.2.3.4/" })",
               R"({ "source": "::1" })",
               R"({ "protocol": 256 })",
               R"({ "sourcePorts": "2-1" })",
               R"({ "sourcePorts": "1-" })",
               R"({ "sourcePorts": 1, "protocol": "icmp" })",
               R"({ "tcpFlags": { "value": "0x1" } })",
               R"({ "protocol": "tcp", "tcpFlags": { "value": "0x100" } })",
               R"({ "icmp": { "type": 1 } })",
               R"({ "vlan": 4096 })",
               R"({ "udf": {} })",
               R"({ "protocol": "tcp", "tcpFlags": { "value": "0x12", "mask": "0x02" } })",
               R"({ "actions": ["permit", "drop"] })",
               R"({ "actions": ["mirror"] })",
               R"({ "police": { "rate": "1500" } })",
               R"({ "police": { "rate": "1M", "burst": 0 } })",
               R"({ "counters": ["hits"] })" } );
  check( R"("type": "mac",)", { R"({ "source": "1.2.3.4" })", R"({ "sourceMac": "1:2:3:4:5:678" })",
                                R"({ "vlan": 4096 })", R"({ "etherType": "0x5ff" })",
                                R"({ "sourceMac": "2:0:0:0:0:1/ff:0:0:0:0:0" })",
                                R"({ "sourceMac": "1:2:3:4:5:6/" })" } );
  check( R"("use": "mirror", "mirrorPort": 1,)",
         { R"({ "udf": { "base": "l2End", "offset": 0, "value": "0x0" } })", R"({ "udf": [] })",
           R"({ "udf": { "base": "l3Start", "offset": 0, "value": "0x3", "mask": "0x1" } })",
           R"({ "udf": { "base": "l3Start", "offset": 128, "value": "0x0" } })",
           R"({ "udf": { "base": "l3End", "offset": 108, "value": "0x0" } })",
           R"({ "udf": { "base": "l3Start", "offset": 0, "value": "0x100000000" } })",
           R"({ "udf": { "base": "l3Start", "offset": 0 } })" } );
  EXPECT_THAT( rulesFileError( "{\n\"type\": \"arp\", \"rules\": [{}] }" ), StartsWith( "f:2:" ) );
  EXPECT_THAT( rulesFileError( R"({ "type": "ipv6", "use": "flow", "rules": [{}] })" ),
               HasSubstr( "ipv6 cannot have the use flow" ) );
  EXPECT_THAT( rulesFileError( R"({ "rules": [] })" ), HasSubstr( "no rules" ) );
  // What is wrong with the list does not hide what is wrong with its rules.
  const AclDocument both = parseAclText( { "l", false }, "f", R"({ "defualt": "drop",
    "mirrorPort": 256, "rules": [ { "ttl": 1e400 }, { "actions": ["mirror"] }, { "sorce": 1 } ] })",
                                         formatNamed( "rules" ) );
  EXPECT_THAT(
      both.refusals.lines(),
      testing::ElementsAre( StartsWith( "f:2:19: l: \"mirrorPort\" must be" ),
                            StartsWith( "f:1:14: l: a rules file has an unknown key" ),
                            StartsWith( "f:2:44: l, rule 1: \"ttl\" must be" ),
                            StartsWith( "f:2:91: l, rule 3: a rule has an unknown key" ) ) );
  EXPECT_TRUE( both.lists.empty() );
  EXPECT_THAT( rulesFileError( R"({ "rules": [{}], "rules": [{}] })" ), StartsWith( "f:1:" ) );
  EXPECT_THAT( rulesFileError( "{ \"rules\": [\n{}" ), StartsWith( "f:2:2: truncated" ) );
}

TEST( PoliceOptionTest, SetsTheRateOfARule ) {
  std::vector< Acl > acls( 2 );
  acls[ 0 ].name = "a:b";
  acls[ 0 ].rules.resize( 3 );
  acls[ 1 ].name = "c";
  acls[ 1 ].rules.resize( 1 );
  applyPolice( { "a:b/3:10M", "c/1:1G:126" }, acls );
  EXPECT_EQ( acls[ 0 ].rules[ 2 ].police->bitsPerSecond, 10'000'000U );
  EXPECT_EQ( acls[ 0 ].rules[ 2 ].police->burstBytes, 12'500U );  // 10 milliseconds
  EXPECT_EQ( acls[ 1 ].rules[ 0 ].police->burstBytes, 250U );     // whole kbit
  EXPECT_EQ( policeRate( 1000, 0 )->burstBytes, 2000U );
  for ( const char * wrong :
        { "1:1M", "a:b/4:1M", "a:b/0:1M", "d/1:1M", "c/1", "c/1:1M:", "c/1:1M:0", "c/1:1M:1:1",
          "c/1:4294967296k", "c/-1:1M", "c/1:10m", "" } )
    EXPECT_THROW( applyPolice( { wrong }, acls ), UsageError ) << wrong;
}

}  // namespace Agent
