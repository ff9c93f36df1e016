#include <gmock/gmock.h>

#include <fmt/format.h>

#include "agent/packets/TraceReader.h"
#include "agent/read/AclFiles.h"
#include "agent/read/ClassBenchReader.h"
#include "platform/InputError.h"

namespace Agent {

namespace {

template < class F >
std::string errorOf( F && read ) {
  try {
    read();
  } catch ( const Platform::InputError & error ) {
    return error.what();
  }
  return "no error";
}

std::string aclError( const std::string & text ) {
  return errorOf( [ & ] { parseClassBench( "a", "f", text ); } );
}

const std::string anyRule = "@0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 0x00/0x00";

}  // namespace

TEST( ClassBenchReaderTest, ReadsAllFieldsOfARule ) {
  const Acl acl = parseClassBench(
      "a", "f",
      "@10.0.0.0/8\t192.168.0.1/32\t0 : 65535\t20 : 21\t0x06/0xFF\t0x12ff/0x1300\t\r\n"
      "\n"
      "@0.0.0.0/0 255.255.255.255/32 5 : 5 0 : 65535 0x01/0xFF 0x0304/0xFF00 0x0001/0x0000\n" +
          anyRule );
  ASSERT_EQ( acl.rules.size(), 3U );
  const AclRule & tcp = acl.rules[ 0 ];
  EXPECT_EQ( tcp.line, 1U );
  EXPECT_EQ( tcp.source, prefix4( 0x0A000000, 8 ) );
  EXPECT_EQ( tcp.destination, prefix4( 0xC0A80001, 32 ) );
  EXPECT_EQ( tcp.destinationPorts, ( PortRange{ 20, 21 } ) );
  EXPECT_TRUE( tcp.sourcePorts.any() );
  EXPECT_EQ( tcp.tcpFlags.mask, 0x13 );
  EXPECT_EQ( tcp.tcpFlags.value, 0x12 );
  const AclRule & icmp = acl.rules[ 1 ];
  EXPECT_EQ( icmp.line, 3U );
  EXPECT_EQ( icmp.icmpTypeCode.value, 0x0300 );
  EXPECT_EQ( icmp.icmpTypeCode.mask, 0xFF00 );
  EXPECT_EQ( acl.rules[ 2 ].protocol.mask, 0 );
  EXPECT_EQ( acl.rules[ 2 ].source.mask, 0U );
}

TEST( ClassBenchReaderTest, RefusesMalformedLines ) {
  EXPECT_EQ( aclError( "" ), "f: there are no rules" );
  const char * wrong[] = {
      "0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 0x00/0x00",
      "@0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535",
      "@10.1.2.3/8 0.0.0.0/0 0 : 65535 0 : 65535 0x00/0x00",  // bits beyond the length
      "@0.0.0.0/33 0.0.0.0/0 0 : 65535 0 : 65535 0x00/0x00",
      "@0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 0x00/0x00",
      "@0.0.0.256/0 0.0.0.0/0 0 : 65535 0 : 65535 0x00/0x00",
      "@0.0.0.0/0 0.0.0.0/0 2 : 1 0 : 65535 0x00/0x00",
      "@0.0.0.0/0 0.0.0.0/0 0 - 65535 0 : 65535 0x00/0x00",
      "@0.0.0.0/0 0.0.0.0/0 0 : 65536 0 : 65535 0x00/0x00",
      "@0.0.0.0/0 0.0.0.0/0 0 : 4294967301 0 : 65535 0x00/0x00",
      "@0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 06/0xFF",
      "@0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 0x06/0x0F",
      "@0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 0x06/0xFF 0x0001/0x0001",  // low byte of TCP
      "@0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 0x11/0xFF 0x0100/0x0100",  // not for UDP
      "@0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 0x06/0x00 0x0100/0x0100",  // any protocol
      "@0.0.0.0/0 0.0.0.0/0 0 : 65535 0 : 65535 0x06/0xFF 0x0000/0x0000 0x0100/0x0100",
  };
  for ( const char * line : wrong )
    EXPECT_EQ( aclError( anyRule + "\n\n" + line + "\n" ).substr( 0, 4 ), "f:3:" ) << line;
  EXPECT_EQ( aclError( "@1.2.3.4/32 \x01\x7f/0 0" ).find_first_of( "\x01\x7f" ),
             std::string::npos );
}

TEST( TraceReaderTest, ReadsPacketsAndRefusesMalformedLines ) {
  const auto packets =
      parseTrace( "t", "1 4294967295 3 4 6\n\n1 2 3 4 17 -1 x\n16777217 2 0 0 1\t9\n" );
  ASSERT_EQ( packets.size(), 3U );
  EXPECT_EQ( packets[ 0 ].destinationIp, 0xFFFFFFFFU );
  EXPECT_EQ( packets[ 0 ].tcpFlags, 0x10 );
  EXPECT_EQ( packets[ 1 ].sourcePort, 3 );
  EXPECT_EQ( packets[ 2 ].icmpTypeCode, 0x0800 );
  for ( const char * line : { "1 2 3 4", "1 4294967296 3 4 6", "1 2 65536 4 6", "1 2 3 4 256",
                              "1.1.1.1 2 3 4 6", "0x1 2 3 4 6" } )
    EXPECT_EQ(
        errorOf( [ & ] { parseTrace( "t", std::string( "1 2 3 4 6\n" ) + line ); } ).substr( 0, 4 ),
        "t:2:" )
        << line;
}

namespace {

// A document of a format whose list holds rules one after the other.
struct Surround {
  const char * format;
  const char * head;
  const char * rule;  // its number in place of each {0}
  const char * separator;
  const char * tail;
  const char * broken;  // in place of a rule: refuses the file, or the rule
};

const Surround surrounds[] = {
    { "classbench", "", "@10.0.0.{0}/32 0.0.0.0/0 0 : 65535 0 : 65535 0x00/0x00", "\n", "", "@1" },
    { "router", "ip access-list extended l\n", " permit ip host 10.0.0.{0} any", "\n", "",
      " permit x" },
    { "iptables", "*filter\n:FORWARD DROP\n", "-A FORWARD -s 10.0.0.{0} -j ACCEPT", "\n",
      "\nCOMMIT\n", "-A FORWARD -x" },
    { "rules", R"({ "rules": [)", R"({{ "source": "10.0.0.{0}" }})", ",\n", "] }", "{ 1 }" },
    { "rfc8519",
      R"({ "ietf-access-control-list:acls": { "acl": [ { "name": "l", "type": "ipv4-acl-type",
           "aces": { "ace": [)",
      R"({{ "name": "{0}", "actions": {{ "forwarding": "drop" }} }})", ",\n", "] } } ] } }",
      "{ 1 }" },
    { "openconfig",
      R"({ "acl": { "acl-sets": { "acl-set": [ { "name": "l", "type": "ACL_IPV4",
           "acl-entries": { "acl-entry": [)",
      R"({{ "sequence-id": {0}, "actions": {{ "config": {{ "forwarding-action": "DROP" }} }} }})",
      ",\n", "] } } ] } } }", "{ 1 }" },
};

std::string listOf( const Surround & around, const std::vector< std::string > & rules ) {
  return around.head + fmt::format( "{}", fmt::join( rules, around.separator ) ) + around.tail;
}

std::string readBound( const Surround & around, const std::vector< std::string > & rules ) {
  ReaderOptions options;
  options.bound = { 3, "p" };
  AclDocument document{ {}, Refusals( "f" ), {} };
  const std::string error = errorOf( [ & ] {
    document = parseAclText( { "l", false }, "f", listOf( around, rules ),
                             formatNamed( around.format ), options );
  } );
  return document.lists.empty() ? error
                                : fmt::format( "{} rules", document.lists[ 0 ].rules.size() );
}

}  // namespace

TEST( AclFilesTest, ReadingStopsWhereNoShareHoldsMore ) {
  for ( const Surround & around : surrounds ) {
    std::vector< std::string > rules;
    for ( int i = 1; i <= 3; ++i )
      rules.push_back( fmt::format( fmt::runtime( around.rule ), i ) );
    EXPECT_EQ( readBound( around, rules ), "3 rules" ) << around.format;
    rules.insert( rules.end(), { fmt::format( fmt::runtime( around.rule ), 4 ), around.broken } );
    EXPECT_THAT(
        readBound( around, rules ),
        testing::MatchesRegex( "f:[0-9]+:?[0-9]*: (l|FORWARD): more than 3 rules: no share of "
                               "platform p holds more.*" ) )
        << around.format;
    rules[ 3 ] = around.broken;
    EXPECT_THAT( readBound( around, rules ), testing::Not( testing::HasSubstr( "more than" ) ) );
  }
}

}  // namespace Agent
