// The run command and its report.
#include "agent/command/Run.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "agent/packets/PacketFiles.h"
#include "agent/packets/PacketMaker.h"
#include "agent/packets/RandomPackets.h"
#include "agent/read/ClassBenchReader.h"
#include "agent/report/PlatformList.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using nlohmann::json;
using testing::HasSubstr;

const PacketFields webPacket = { 0x01000001, 5, protocolTcp, 1000, 81, 0, 0 };

// Two access lists, of which only the first one fits.
RunInput input() {
  RunInput input;
  input.platform = testPlatform( { 2, true, true } );
  input.acls = { parseClassBench( "web", "web.acl",
                                  "@1.0.0.0/8 0.0.0.0/0 0 : 65535 80 : 81 0x06/0xFF\n"
                                  "@1.0.0.0/8 0.0.0.0/0 0 : 65535 1024 : 65535 0x06/0xFF\n"
                                  "@2.0.0.0/8 0.0.0.0/0 0 : 65535 7 : 7 0x11/0xFF\n" ),
                 parseClassBench( "big", "big.acl",
                                  "\n@3.0.0.0/8 0.0.0.0/0 0 : 65535 5 : 5 0x06/0xFF\n"
                                  "@3.0.0.0/8 0.0.0.0/0 1 : 65534 1 : 65534 0x06/0xFF\n" ) };
  input.portMethod = PortMethod::expand;
  const Frame web = makeFrame( webPacket );
  appendFrames( input.packets.packets,
                { web, web, makeFrame( { 0x01000001, 5, protocolTcp, 1000, 8080, 0, 0 } ),
                  makeFrame( { 0x03000001, 5, protocolTcp, 1000, 5, 0, 0 } ) },
                1000 );
  input.packets.madeUp = { "raw.pcap", "RAW", 4 };
  input.ports = { { 13, 0 } };  // pipe 1, copy 1
  input.defaultAction = Forwarding::drop;
  input.verify = true;
  return input;
}

RunReport runLocked( const RunInput & input ) {
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  return run( input );
}

}  // namespace

TEST( RunTest, ReportsListsPacketsAndUsage ) {
  const RunReport report = runLocked( input() );
  EXPECT_FALSE( report.success() );
  EXPECT_TRUE( report.differences.empty() );
  json object = json::parse( jsonReport( report ) );
  EXPECT_GT( object[ "sdkCalls" ][ "bcm_field_entry_create_id" ], 4U * 8 );
  object.erase( "sdkCalls" );
  json groups = object[ "groups" ];
  object.erase( "groups" );
  EXPECT_EQ( object, json::parse( R"({ "platform": "test", "unit": 0, "acls": [
      { "name": "web", "file": "web.acl", "rules": 3, "entries": 8, "installed": 8, "fits": true,
        "binding": null, "firstRuleThatDoesNotFit": null, "ports": "all",
        "direction": "in", "default": "none", "ruleUse": [
          { "rule": 1, "line": 1, "entries": 1, "expansion": null, "sourcePorts": null, "destinationPorts": null,
            "packets": 2, "bytes": 120, "match": "tcp 1.0.0.0/8 > any:80-81", "action": "permit" },
          { "rule": 2, "line": 2, "entries": 6,
            "expansion": "destinationPorts 1024-65535: 6 prefixes", "sourcePorts": null, "destinationPorts": "prefixes",
            "packets": 1, "bytes": 60, "match": "tcp 1.0.0.0/8 > any:1024-65535", "action": "permit" },
          { "rule": 3, "line": 3, "entries": 1, "expansion": null, "sourcePorts": null, "destinationPorts": null,
            "packets": 0, "bytes": 0, "match": "udp 2.0.0.0/8 > any:7", "action": "permit" } ] },
      { "name": "big", "file": "big.acl", "rules": 2, "entries": 901, "installed": 0, "fits": false,
        "binding": "slices", "firstRuleThatDoesNotFit": { "line": 3, "rule": 2 },
        "ports": "all", "direction": "in", "default": "none", "ruleUse": [
          { "rule": 1, "line": 2, "entries": 1, "expansion": null, "sourcePorts": null, "destinationPorts": null,
            "packets": 0, "bytes": 0 },
          { "rule": 2, "line": 3, "entries": 900, "expansion":
            "sourcePorts 1-65534: 30 prefixes x destinationPorts 1-65534: 30 prefixes", "sourcePorts": "prefixes",
            "destinationPorts": "prefixes", "packets": 0, "bytes": 0 } ] } ],
      "default": { "action": "drop", "entries": 1 },
      "packets": { "total": 4, "ingressPorts": [ 13 ], "egressPorts": [], "matched": 3, "default": 1, "dropped": 1,
        "copiedToCpu": 0, "mirrored": 0, "mismatches": 0,
        "madeUpEthernetHeaders": { "packets": 4, "file": "raw.pcap", "linkType": "RAW" } },
      "users": [
        { "user": "acl", "lists": [ "web" ], "group": 1, "used": 9, "share": 512, "available": 87 },
        { "user": "l2", "lists": [], "group": 2, "used": 0, "share": 8, "available": 8 } ],
      "rangeCheckers": 0 })" ) );
  ASSERT_EQ( groups.size(), 8U );
  // Nine entries including the implicit deny in one slice of 32; the other group has another slice.
  EXPECT_EQ( groups[ 3 ], json::parse( R"({ "group": 1, "lists": [ "web" ], "pipe": 1,
                                            "copy": 1, "used": 9 })" ) );
  const std::string text = textReport( report, {} );
  EXPECT_THAT( text, HasSubstr( "no: slices ran out at rule 2 (line 3); rolled back" ) );
  EXPECT_THAT( text, HasSubstr( "default drop: 1 entry" ) );
  EXPECT_THAT( text, HasSubstr( "Packets at port 13: 4, of which 3 matched a rule and 1 met" ) );
  EXPECT_THAT( text, HasSubstr( "Ethernet header: 4 of raw.pcap (link type RAW)\n" ) );
  EXPECT_THAT( text, HasSubstr( "web: 1 of 3 by prefixes\n    2\n" ) );
  EXPECT_THAT( text, HasSubstr( "records and chip agree" ) );
  // Busiest first; rules without packets only with `detail`.
  EXPECT_LT( text.find( " any:80-81\n" ), text.find( " any:1024-65535\n" ) );
  EXPECT_EQ( text.find( " any:7\n" ), std::string::npos );
  EXPECT_THAT( textReport( report, { .detail = true } ), HasSubstr( " any:7\n" ) );
}

// The rules' tables, as wide as the terminal.
TEST( RunTest, TablesHaveTheWantedRulesAndWidth ) {
  const RunReport report = runLocked( input() );
  const auto tables = [ & ]( const TextOptions & options ) {
    std::string text = textReport( report, options );
    const size_t begin = text.find( options.detail ? "\nRules with \"" : "\nBusiest" ) + 1;
    return text.substr( begin, text.find( "\n\n", begin ) - begin );
  };
  EXPECT_EQ( tables( { .filter = "udp", .top = 1 } ), "Busiest rules with \"udp\": none was hit" );
  EXPECT_EQ( tables( { .top = 1, .terminal = { 76, false } } ), R"(Busiest rules
  ACL  rule  line  entries  ranges  packets  bytes  action  match
  ---  ----  ----  -------  ------  -------  -----  ------  ----------------
  web     1     1        1                2    120  permit  tcp 1.0.0.0/8 ..)" );
  EXPECT_EQ( tables( { .detail = true, .filter = "> any:7", .top = 1, .terminal = { 1, true } } ),
             R"(Rules with "> any:7"
  ACL  rule  line  entries  ranges  packets  bytes  action  match
  ---  ----  ----  -------  ------  -------  -----  ------  ------------
  web     3     3        1                0      0  permit  udp 2.0.0...)" );
  const std::string coloured = textReport( report, { .terminal = { 200, true } } );
  EXPECT_THAT( coloured, HasSubstr( "0  \033[31mno: slices ran out at rule 2 (line 3); rolled "
                                    "back\033[0m  big.acl\n" ) );
  EXPECT_THAT( coloured, HasSubstr( "\033[31m  dropped: 1\033[0m\n" ) );
  EXPECT_EQ( std::regex_replace( coloured, std::regex( "\033\\[[0-9]*m" ), "" ),
             textReport( report, {} ) );
}

// The list of platforms says how many entries fit.
TEST( RunTest, AsManyEntriesFitAsThePlatformPromises ) {
  RunInput in;
  in.platform = Platform::loadPlatform( "small" );
  for ( const U32 entries : { 4608U, 4609U } ) {
    in.acls = { plainAcl( entries ) };
    EXPECT_EQ( runLocked( in ).acls[ 0 ].shortage.has_value(), entries != 4608 );
  }
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  EXPECT_THAT( platformsText(),
               HasSubstr( "  5,120           8,192             4,608  one pipe, " ) );
}

// Packets enter and leave by a port for each set of lists and of rules on ports.
TEST( RunTest, PacketsEnterByThePortsOfLists ) {
  const Platform::PlatformData platform = testPlatform( { .pipes = 2 } );
  const struct {
    std::vector< std::string > binds;
    const char * ports;  // entered > left by
  } cases[] = {
      { {}, "0>0 4>0" },
      { { "a=9" }, "0>0 4>0 9>0" },
      { { "a=9", "b=all:out" }, "9>0" },
      { { "a=2-9", "b=3-6" }, "2>0 3>0 4>0" },
      { { "a=2-5", "b=8,9" }, "2>0 8>0" },
      { { "a=2-5", "a=7:out", "b=3-5:out" }, "2>3 2>7" },
      { { "a=2-5", "b=8", "a=1-7:out", "b=3-4:out" }, "2>1 8>3 2>3 8>1" },
  };
  for ( const auto & c : cases ) {
    std::vector< Acl > acls = { plainAcl( 2 ), plainAcl( 2 ) };
    acls[ 0 ].name = "a";
    acls[ 1 ].name = "b";
    setRanges( acls[ 1 ].rules[ 1 ], FieldId::inPorts,
               std::vector< AnyRange >{ { 4, 4 }, { 8, 9 } } );
    applyBindings( c.binds, platform, acls );
    std::string ports;
    for ( const PortPair & pair : packetPorts( {}, platform, acls ) )
      ports += fmt::format( "{}{}>{}", ports.empty() ? "" : " ", pair.in, pair.out );
    EXPECT_EQ( ports, c.ports ) << testing::PrintToString( c.binds );
  }
  // The rules of both lists are hit.
  RunInput in = input();
  in.platform = Platform::loadPlatform( "large" );
  in.acls = { plainAcl( 1 ), plainAcl( 1 ) };
  in.acls[ 1 ].name = "b";
  applyBindings( { "plain=2-3", "b=7" }, in.platform, in.acls );
  in.ports = packetPorts( {}, in.platform, in.acls );
  in.packets = {};
  appendFrames( in.packets.packets, randomFrames( in.acls, 1, 64 ), 1000 );
  const json report = json::parse( jsonReport( runLocked( in ) ) );
  EXPECT_EQ( report[ "packets" ][ "ingressPorts" ], json( { 2, 7 } ) );
  EXPECT_EQ( report[ "packets" ][ "mismatches" ], 0 );
  const auto hits = [ & ]( int acl ) -> U64 {
    return report[ "acls" ][ acl ][ "ruleUse" ][ 0 ][ "packets" ];
  };
  EXPECT_GT( hits( 0 ), 8U );
  EXPECT_GT( hits( 1 ), 8U );
}

// The list that does not fit fills the tables before rollback.
TEST( RunTest, MonitorsTheCapacity ) {
  RunInput watched = input();
  watched.thresholds = { { { 0, 0 }, { 80, 50 } } };
  watched.clears = { clearRequest( "group:1", watched.platform ) };
  const RunReport report = runLocked( watched );
  EXPECT_TRUE( report.differences.empty() );
  const json object = json::parse( jsonReport( report ) );
  EXPECT_EQ( object[ "capacity" ],
             json::parse( R"([ { "unit": 0, "stage": "IFP", "used": 17, "free": 111,
    "max-limit": 128, "high-watermark": 104, "used-threshold-upper": 80,
    "used-threshold-upper-clear": 50, "used-threshold-upper-exceeded": false } ])" ) );
  EXPECT_THAT( textReport( report, {} ),
               HasSubstr( "  alarm raised: unit 0 IFP, 81 % used, 104 of 128 (upper 80 %)\n"
                          "  alarm cleared: unit 0 IFP, 12 % used, 16 of 128 (clear 50 %)\n" ) );
  EXPECT_EQ( object[ "acls" ][ 0 ][ "ruleUse" ][ 0 ][ "packets" ], 0 );
  EXPECT_THAT( textReport( report, {} ), HasSubstr( "\nRules with counters at 0\n" ) );
}

// A policed rule, a rule with a range checker and a mirroring list, verified on every copy.
TEST( RunTest, VerifiesPolicersCheckersAndMirrors ) {
  RunInput in = input();
  in.platform = testPlatform( { 2, true, true, false, 12, 1024, 512, 1, 4, 4 } );
  in.portMethod = PortMethod::automatic;
  in.acls.pop_back();
  applyPolice( { "web/1:1M:125" }, in.acls );  // two frames of 60 bytes
  appendFrames( in.packets.packets, { makeFrame( webPacket ) }, 1000 );
  Acl mirror;
  mirror.name = "taps";
  mirror.use = AclUse::mirror;
  mirror.mirrorPort = 2;
  AclRule & rule = mirror.rules.emplace_back();
  rule.forwarding = Forwarding::none;
  rule.mirror = true;
  rule.counters.bytes = false;
  rule.udf = { { UdfBase::l3End, 0, 1000U << 16 | 81 } };  // both ports
  in.acls.push_back( mirror );
  const RunReport report = runLocked( in );
  EXPECT_TRUE( report.success() );
  const json object = json::parse( jsonReport( report ) );
  EXPECT_EQ( object[ "packets" ][ "dropped" ], 2 );  // one by the policer, one by default
  EXPECT_EQ( object[ "packets" ][ "mirrored" ], 3 );
  EXPECT_EQ( object[ "rangeCheckers" ], 1 );
  const json & web = object[ "acls" ][ 0 ][ "ruleUse" ];
  EXPECT_EQ( web[ 0 ][ "police" ], json::parse( R"({ "rate": 1000000, "burst": 125,
      "conformed": { "packets": 2, "bytes": 120 }, "dropped": { "packets": 1, "bytes": 60 } })" ) );
  EXPECT_EQ( web[ 1 ][ "destinationPorts" ], "checker" );
  EXPECT_TRUE( object[ "acls" ][ 1 ][ "ruleUse" ][ 0 ][ "bytes" ].is_null() );
  const std::string text = textReport( report, { .detail = true } );
  EXPECT_THAT(
      text,
      HasSubstr( "range checkers in use: 1 of 1 (100.0 %)\n  web: 1 of 3 by range checkers" ) );
}

TEST( RunTest, ReportsMismatchedPackets ) {
  RunReport report;
  report.verified = true;
  report.mismatches = 2;
  report.differences = { "port 3: x" };
  EXPECT_FALSE( report.success() );
  EXPECT_THAT( textReport( report, {} ), HasSubstr( "2 packets differ from the rules" ) );
  // A list that is not on the chip.
  TestSwitch sw( {} );
  const Acl acl = input().acls[ 0 ];
  const Packet packet = { makeFrame( webPacket ), 0 };
  const Policy policy = { { { AclKind::ipv4, Direction::in, { { 0, &acl } } } } };
  EXPECT_NE( sw.replay.send( packet, {} ), expectedFate( policy, readFrame( packet.frame ), {} ) );
}

}  // namespace Agent
