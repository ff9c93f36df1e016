// Lists on ports: the options that bind them, what their files say, and packets that leave.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "tests/agent/CommandRunner.h"

namespace {

using BindTest = Agent::CommandRunner;
using Agent::Outcome;
using testing::HasSubstr;
using testing::MatchesRegex;

TEST_F( BindTest, ListsAreBoundToPorts ) {
  // The router's list drops what it does not permit, but only on its ports.
  const std::string lists =
      "run --acl " +
      write( "web.cfg", "ip access-list extended web\n permit tcp any any eq 80\n" ) + " --acl " +
      write( "rest.json", R"({ "rules": [ { "protocol": "udp" } ] })" );
  const Outcome bound = run( lists + " --bind web=6,2,5-6,5 --random 500 --verify --json" );
  EXPECT_EQ( bound.status, 0 ) << bound.error;
  const auto report = nlohmann::json::parse( bound.out, nullptr, false );
  EXPECT_EQ( report[ "packets" ][ "mismatches" ], 0 ) << bound.out;
  EXPECT_EQ( report[ "packets" ][ "ingressPorts" ], nlohmann::json( { 0, 2 } ) );
  EXPECT_EQ( report[ "acls" ][ 0 ][ "ports" ], "2,5-6" );
  EXPECT_EQ( run( lists + " --bind web=all --random 500 --verify" ).status, 0 );
  const Outcome apart =
      run( "run --acl " + write( "seven.json", R"({ "rules": [ { "inPorts": 7 } ] })" ) +
           " --bind seven=1,8" );
  EXPECT_EQ( apart.status, 2 );
  EXPECT_THAT( apart.error, HasSubstr( "the list is not bound to the rule's ports" ) );
  const std::pair< const char *, const char * > refused[] = {
      { "web=9999", "web: there is no port 9999: large has the ports 0 to " },
      { "web=Uplink1", "web: there is no port Uplink1: large has the ports 0 to 127, by name " },
      { "web=Ethernet5-2", "web: the range Ethernet5-2 is reversed. --bind" },
      { "web=3-x", "web: there is no port 3-x: " },
      { "web=", "LIST=PORTS, LIST=PORTS:in or LIST=PORTS:out is expected" },
      { "west=1", "there is no list west; there are " },
      { "web=1,,2", "--bind web=1,,2: a port is missing" },
      { "web=3,all:out", "\"all\" stands alone" },
      { "web=1:up", "the direction is in or out, not up" } };
  for ( const auto & [ bind, what ] : refused ) {
    const Outcome outcome = run( lists + " --bind " + bind );
    EXPECT_EQ( outcome.status, 2 ) << bind;
    EXPECT_THAT( outcome.error, HasSubstr( what ) ) << bind;
  }
}

// --bind names all lists that a document's list became, or one of them, whose ports win.
TEST_F( BindTest, PartsOfAListAreBound ) {
  const std::string mixed = write( "mixed.json", R"({ "ietf-access-control-list:acls": { "acl": [
    { "name": "a", "type": "mixed-eth-ipv4-ipv6-acl-type", "aces": { "ace": [
      { "name": "four", "matches": { "ipv4": { "protocol": 6 } }, "actions": { "forwarding": "drop" } },
      { "name": "six", "matches": { "ipv6": { "protocol": 6 } }, "actions": { "forwarding": "drop" } },
      { "name": "arp", "matches": { "eth": { "ethertype": "arp" } }, "actions": { "forwarding": "drop" } }
    ] } } ] } })" );
  const std::string router = write( "both.cfg", R"(interface Ethernet1
 ip access-group used in
ip access-list extended used
 permit ip any any
ip access-list extended a
 permit tcp any any
ipv6 access-list a
 permit tcp any any
)" );
  const struct {
    std::string arguments;
    std::vector< std::string > lists;  // with their ports
  } cases[] = {
      { mixed + " --bind a=2", { "a-ipv4 2", "a-ipv6 2", "a-mac 2" } },
      { mixed + " --bind a-ipv4=5 --bind a=2", { "a-ipv4 5", "a-ipv6 2", "a-mac 2" } },
      { mixed + " --bind a-ipv4=5", { "a-ipv4 5", "a-ipv6 all", "a-mac all" } },
      { "n=" + mixed + " --bind n-a=2", { "n-a-ipv4 2", "n-a-ipv6 2", "n-a-mac 2" } },
      { router + " --bind a=2", { "used 1", "a-ipv4 2", "a-ipv6 2" } },
      { "n=" + router + " --bind n-a=2 --bind n-a-ipv6=3",
        { "n-used 1", "n-a-ipv4 2", "n-a-ipv6 3" } },
  };
  for ( const auto & c : cases ) {
    const Outcome outcome = run( "run --json --acl " + c.arguments );
    const auto report = nlohmann::json::parse( outcome.out, nullptr, false );
    std::vector< std::string > lists;
    for ( const auto & acl : report[ "acls" ] )
      lists.push_back( acl.value( "name", "" ) + " " + acl.value( "ports", "" ) );
    EXPECT_EQ( lists, c.lists ) << c.arguments << outcome.error;
  }
}

TEST_F( BindTest, ListsFilterPacketsThatLeave ) {
  const std::string web = " --acl " + write( "web.cfg", R"(interface Ethernet3
 ip access-group web out
interface Ethernet9
 ip access-group web in
ip access-list extended web
 permit tcp any any range 80 90
 permit udp any any eq 53
)" );
  const std::string verified = "run --random 600 --verify";
  const Outcome both = run( verified + web );
  EXPECT_EQ( both.status, 0 ) << both.error;
  EXPECT_THAT( both.out, HasSubstr( "  web: on ports 9\n" ) );
  EXPECT_THAT( both.out, HasSubstr( "  web, out: on ports 3, out\n" ) );
  EXPECT_THAT( both.out, HasSubstr( "Packets from port 9 to port 3: 600, " ) );
  EXPECT_THAT(
      both.out,
      HasSubstr( "  Egress IPv4 ACL  web, out     21     7   1,024    0.6 %          1,017\n" ) );
  EXPECT_THAT( run( "map" + web ).out, HasSubstr( "  C  Egress IPv4 ACL: web, out " ) );
  // The same list on other ports, with lists of the other kinds and a policer, on every chip.
  const std::string more =
      web + " --bind web=Ethernet4-7,12:out --police web/2:64k --acl " +
      write( "mac.json", R"({ "type": "mac", "rules": [ { "outPorts": ["Ethernet3-4", 5], "vlan": 4,
                              "actions": [ "drop", "copyToCpu" ] } ] })" ) +
      " --bind mac=all:out --default permit --egress-port Ethernet5";
  const std::string ip6 = " --acl " +
                          write( "six.json", R"({ "type": "ipv6", "mirrorPort": 1, "rules": [
                           { "protocol": "tcp", "destinationPorts": "22-30", "dscp": 5,
                             "actions": [ "drop", "mirror" ] } ] })" ) +
                          " --bind six=0-5:out --bind six=1:in";
  for ( const std::string chip : { " --platform small", " --platform shared", "" } ) {
    const Outcome outcome =
        run( verified + " --json" + more + chip + ( chip == " --platform small" ? "" : ip6 ) );
    EXPECT_EQ( outcome.status, 0 ) << chip << outcome.error;
    const auto report = nlohmann::json::parse( outcome.out, nullptr, false );
    EXPECT_EQ( report[ "packets" ][ "mismatches" ], 0 ) << outcome.out;
    EXPECT_EQ( report[ "acls" ][ 0 ][ "direction" ], "out" );
    EXPECT_EQ( report[ "acls" ][ 0 ][ "ports" ], "4-7,12" );
    // No range checkers: 80-87, 88-89, 90 and later fragments, on ports 4-7 and 12.
    EXPECT_EQ( report[ "acls" ][ 0 ][ "ruleUse" ][ 0 ][ "entries" ], ( 3 + 1 ) * 2 );
  }
}

TEST_F( BindTest, EgressListsAreRefusedByWhatThePlatformLacks ) {
  const std::string web =
      " --acl " + write( "web.cfg", "ip access-list extended web\n permit tcp any any eq 80\n" ) +
      " --bind web=3:out";
  const std::string ip6 = " --acl " +
                          write( "six.json", R"({ "type": "ipv6", "rules": [ { "dscp": 1 } ] })" ) +
                          " --bind six=0-5:out --bind six=1:in";
  const std::pair< std::string, const char * > refused[] = {
      { "--platform small" + ip6,
        "six, out: platform small has no share for egress lists of type ipv6 and use filter; its "
        "shares: filter: ipv4, ipv6, mac; mirror: ipv4, mac; flow: ipv4; flowVxlan: ipv4; egress "
        "filter: ipv4, mac\n" },
      { web + " --egress-port Ethernet128", "--egress-port Ethernet128: large has the ports 0 " },
      { web + " --egress-port 3-4", "--egress-port 3-4: large has " },
      { web + " --acl " + write( "in.json", R"({ "rules": [ { "inPorts": 3 } ] })" ) +
            " --bind in=all:out",
        "list in: platform large cannot match inPorts (InPorts) in group 21 of "
        "ipAclEgressTcamGroup" },
      { "--acl " + write( "names.json", R"({ "rules": [ {},
                             { "inPorts": [ "Ethernet3", "Eth4" ] } ] })" ),
        "names.json:2:43: names, a rule: there is no port Eth4: large has the ports 0 to 127" },
      { "--acl " + write( "out.json", R"({ "rules": [ { "outPorts": 3 } ] })" ),
        "list out: platform large cannot match outPorts (OutPort) in group 3 of ipAclTcamGroup" },
      { "--acl " + write( "tap.json", R"({ "use": "mirror", "mirrorPort": 4, "rules": [ {} ] })" ) +
            " --bind tap=1:out",
        "list tap: platform large has no share for egress lists of type ipv4 and use mirror" } };
  for ( const auto & [ arguments, what ] : refused ) {
    const Outcome outcome = run( "run " + arguments );
    EXPECT_EQ( outcome.status, 2 ) << arguments;
    EXPECT_THAT( outcome.error, HasSubstr( what ) ) << arguments;
  }
}

TEST_F( BindTest, DocumentsNamePorts ) {
  const std::string sonic = " --acl " + write( "sonic.json", R"({
    "ACL_TABLE": {
      "IN": { "type": "L3", "stage": "INGRESS", "ports": [ "Ethernet0", "Ethernet4" ] },
      "OUT": { "type": "L3", "stage": "EGRESS", "ports": [ "Ethernet8" ] } },
    "ACL_RULE": {
      "IN|A": { "PRIORITY": "9", "PACKET_ACTION": "DROP", "SRC_IP": "10.0.0.0/8",
                "IN_PORTS": "Ethernet4,Ethernet0" },
      "IN|B": { "PRIORITY": "8", "PACKET_ACTION": "FORWARD", "IP_TYPE": "IPV4" },
      "OUT|C": { "PRIORITY": "9", "PACKET_ACTION": "DROP", "DST_IP": "10.0.0.0/8",
                "OUT_PORTS": "Ethernet8-9" } } })" );
  const Outcome named = run( "run --platform small --random 400 --verify --json" + sonic );
  EXPECT_EQ( named.status, 0 ) << named.error;
  const auto report = nlohmann::json::parse( named.out, nullptr, false );
  EXPECT_EQ( report[ "packets" ][ "mismatches" ], 0 );
  EXPECT_EQ( report[ "acls" ][ 0 ][ "ports" ], "0,4" );
  EXPECT_EQ( report[ "acls" ][ 1 ][ "direction" ], "out" );
  EXPECT_EQ( report[ "acls" ][ 1 ][ "ports" ], "8" );
  const std::string document = R"({ "ietf-access-control-list:acls": {
    "acl": [ { "name": "edge", "type": "ipv4-acl-type", "aces": { "ace": [
      { "name": "r", "matches": { "ingress-interface": "Ethernet47", "ipv4": { "protocol": 6 } },
        "actions": { "forwarding": "drop" } } ] } } ],
    "attachment-points": { "interface": [ { "interface-id": "eth7", "ingress": {
      "acl-sets": { "acl-set": [ { "name": "edge" } ] } } } ] } } })";
  const std::string edge = " --acl " + write( "edge.json", document );
  const std::pair< std::string, std::string > refused[] = {
      { edge,
        "[^\n]*edge.json:6:44: edge: there is no port eth7: [^\n]*--bind LIST=PORTS [^\n]*\n" },
      { "--platform small" + edge + " --bind edge=eth8", "morvane-tcam: --bind edge: [^\n]*\n" } };
  for ( const auto & [ arguments, error ] : refused ) {
    const Outcome outcome = run( "run " + arguments );
    EXPECT_EQ( outcome.status, 2 ) << arguments;
    EXPECT_THAT( outcome.error, MatchesRegex( error ) ) << arguments;
  }
  EXPECT_EQ( run( "run --random 200 --verify" + edge + " --bind edge=40-50" ).status, 0 );
  // A rule with an unknown port is refused as any other rule.
  const Outcome partial = run( "run --platform small --partial" + edge + " --bind edge=all" );
  EXPECT_EQ( partial.status, 0 ) << partial.error;
  const std::string other =
      " --acl " +
      write( "other.json",
             std::regex_replace( document, std::regex( "Ethernet47" ), "Ethernet48" ) ) +
      " --bind edge=all";
  const Outcome unknown = run( "run --platform small --partial" + other );
  EXPECT_EQ( unknown.status, 1 );
  EXPECT_THAT( unknown.error, HasSubstr( "other.json:3:56: edge, r: there is no port "
                                         "Ethernet48: small has the ports 0 to 47, " ) );
}

}  // namespace
