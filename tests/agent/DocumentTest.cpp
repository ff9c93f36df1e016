// Documents of other models: RFC 8519, OpenConfig, SONiC.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "agent/acl/RuleText.h"
#include "agent/read/AclFiles.h"

namespace Agent {

namespace {

using testing::HasSubstr;

// Lists with their rules, then refusals; of a file that is refused as a whole, its message.
std::string readAs( const std::string & text, const char * format = nullptr ) {
  std::string result;
  try {
    const AclDocument document = parseAclText(
        { "n", false }, "f", text, format == nullptr ? nullptr : formatNamed( format ) );
    for ( const Acl & acl : document.lists ) {
      result += fmt::format( "{} {}{}", acl.name, kindName( acl.kind ),
                             acl.defaultAction == Forwarding::drop ? " default drop" : "" );
      for ( const Binding & binding : acl.bindings )
        result += fmt::format( " {}{}", binding.egress ? "out " : "in ",
                               fmt::join( binding.ports, "," ) );
      result += "\n";
      for ( const AclRule & rule : acl.rules )
        result += ruleText( acl.kind, rule ) + "\n";
      for ( const NamedPorts & ports : acl.namedPorts )
        result += fmt::format( "rule {} {} {}\n", ports.rule, matchField( ports.field ).name,
                               ports.text );
    }
    for ( const std::string & line : document.refusals.lines() )
      result += line + "\n";
  } catch ( const Platform::InputError & error ) {
    return error.what();
  }
  return result;
}

bool isRefused( const std::string & result ) {
  return result.find( "f:" ) != result.npos;
}

std::string ietf( const std::string & matches, const std::string & type = "" ) {
  const std::string typeLeaf = type.empty() ? "" : R"("type": ")" + type + R"(", )";
  return R"({ "ietf-access-control-list:acls": { "acl": [ { "name": "l", )" + typeLeaf +
         R"("aces": { "ace": [ { "name": "r", "matches": {)" + "\n" + matches + "\n" +
         R"(}, "actions": { "forwarding": "accept" } } ] } } ] } })";
}

std::string openConfig( const std::string & entry, const std::string & type = "ACL_IPV4" ) {
  return R"({ "acl-sets": { "acl-set": [ { "name": "l", "type": ")" + type +
         R"(", "acl-entries": { "acl-entry": [ { "sequence-id": 1,)" + "\n" + entry + "\n" +
         R"(, "actions": { "config": { "forwarding-action": "ACCEPT" } } } ] } } ] },
         "defined-sets": {
           "ipv4-prefix-sets": { "ipv4-prefix-set": [ { "name": "nets", "config": {
             "name": "nets", "prefix": [ "10.0.0.0/8", "192.0.2.0/24" ] } } ] },
           "port-sets": { "port-set": [ { "name": "web", "config": {
             "name": "web", "port": [ 80, "8000..8007" ] } } ] } } })";
}

std::string sonic( const std::string & keys, const std::string & type = "L3" ) {
  return R"({ "ACL_TABLE": { "T_l": { "type": ")" + type + R"(" } }, "ACL_RULE": { "T_l|r": {)" +
         "\n" + keys + "\n" + R"(, "PRIORITY": "1", "PACKET_ACTION": "FORWARD" } } })";
}

struct Case {
  std::string text;
  std::string contains;
};

void expectAll( const std::vector< Case > & cases ) {
  for ( const Case & c : cases )
    EXPECT_THAT( readAs( c.text ), HasSubstr( c.contains ) ) << c.text;
}

// A document of each dialect that uses many of its keys. Keys with T_l in them or a digit first are
// names.
const std::vector< std::string > & samples() {
  static const std::vector< std::string > all = {
      R"({ "ietf-access-control-list:acls": { "acl": [ {
        "ietf-access-control-list:name": "a", "type": "ipv6-acl-type", "aces": { "ace": [
          { "name": "r1", "matches": {
              "ipv6": { "dscp": 46, "ecn": 1, "ttl": 255, "protocol": 6,
                        "source-ipv6-network": "2001:db8::/32",
                        "destination-ipv6-network": "2001:db8:1::1/128" },
              "tcp": { "flags": "syn ack", "source-port": { "lower-port": 1, "upper-port": 9 },
                       "destination-port": { "operator": "neq", "port": 80 } } },
            "actions": { "forwarding": "accept", "logging": "log-none" } },
          { "name": "r2", "matches": { "icmp": { "type": 1, "code": 4 } },
            "actions": { "forwarding": "drop" } } ] } } ],
        "attachment-points": { "interface": [ { "interface-id": "e1",
          "ingress": { "acl-sets": { "acl-set": [ { "name": "a" } ] } } } ] } } })",
      R"({ "openconfig-acl:acl": { "acl-sets": { "acl-set": [ {
        "name": "a", "type": "ACL_IPV4", "config": { "name": "a", "type": "ACL_IPV4" },
        "acl-entries": { "acl-entry": [ {
          "sequence-id": 10, "config": { "sequence-id": 10 },
          "l2": { "config": { "source-mac": "02:00:00:00:00:01" } },
          "ipv4": { "config": { "source-address": "10.0.0.0/8", "protocol": "IP_TCP",
                                "destination-address-prefix-set": "T_p", "dscp": 8,
                                "hop-limit": 64 } },
          "transport": { "config": { "source-port": "1..2", "destination-port": 22,
            "detail-mode": "EXPLICIT", "explicit-detail-match-mode": "ALL",
            "explicit-tcp-flags": [ "TCP_SYN" ] } },
          "actions": { "config": { "forwarding-action": "DROP", "log-action": "LOG_NONE" } } } ] }
        } ] },
        "interfaces": { "interface": [ { "id": "e1", "interface-ref": { "config": {
            "interface": "e1" } }, "ingress-acl-sets": { "ingress-acl-set": [ {
            "set-name": "a", "type": "ACL_IPV4" } ] } } ] } },
        "openconfig-defined-sets:defined-sets": { "ipv4-prefix-sets": { "ipv4-prefix-set": [ {
          "name": "T_p", "config": { "name": "T_p", "prefix": [ "192.0.2.0/24" ] } } ] } } })",
      R"({ "ACL_TABLE": { "T_l": { "type": "L3", "stage": "EGRESS", "ports": [ "e1" ] } },
        "ACL_RULE": { "T_l|r": { "PRIORITY": "10", "PACKET_ACTION": "DROP", "SRC_IP": "10.0.0.0/8",
          "DST_IP": "192.0.2.1/32", "IP_PROTOCOL": "6", "L4_SRC_PORT": "1",
          "L4_DST_PORT_RANGE": "2-3", "TCP_FLAGS": "0x2/0x12", "DSCP": "8", "VLAN_ID": "5",
          "PCP": "1/1", "IP_TYPE": "IPV4ANY", "IN_PORTS": "1,3-4", "OUT_PORTS": "e1" } } })",
      R"({ "acl": { "acl-sets": { "acl-set": { "T_l": { "acl-entries": { "acl-entry": { "1": {
        "config": { "sequence-id": 1 }, "l2": { "config": { "vlan-id": "7" } },
        "ip": { "config": { "protocol": "IP_TCP", "source-ip-address": "10.0.0.0/8",
                            "destination-ip-address": "192.0.2.0/24" } },
        "transport": { "config": { "source-port": "1..2", "destination-port": "22",
                                   "tcp-flags": [ "TCP_ACK" ] } },
        "actions": { "config": { "forwarding-action": "ACCEPT" } } } } } } } } } })",
      R"([ { "ACL_RULE_TABLE:T_l:r": { "priority": "5", "PACKET_ACTION": "FORWARD",
        "IP_PROTOCOL": "58", "ICMPV6_TYPE": "1", "ICMPV6_CODE": "4", "SRC_IPV6": "2001:db8::/32" },
        "OP": "SET" } ])",
  };
  return all;
}

size_t positionOf( const Platform::JsonNode & node, const std::string & text ) {
  size_t line = 0;
  for ( U32 i = 1; i < node.line; ++i )
    line = text.find( '\n', line ) + 1;
  return line + node.column - 1;
}

// Positions of the values that are not containers, and of the keys that are not names.
void places( const Platform::JsonNode & node, const std::string & text,
             std::vector< size_t > & values, std::vector< size_t > & keys ) {
  using Kind = Platform::JsonNode::Kind;
  if ( node.kind != Kind::object && node.kind != Kind::array )
    values.push_back( positionOf( node, text ) );
  for ( const auto & [ name, value ] : node.members ) {
    places( value, text, values, keys );
    if ( name.find( "T_l" ) == name.npos && name[ 0 ] != '1' )
      keys.push_back( text.rfind( "\"" + name + "\":", positionOf( value, text ) ) );
  }
  for ( const Platform::JsonNode & element : node.elements )
    places( element, text, values, keys );
}

size_t endOfValue( const std::string & text, size_t at ) {
  return text[ at ] == '"' ? text.find( '"', at + 1 ) + 1 : text.find_first_of( " ,}]", at );
}

}  // namespace

TEST( DocumentTest, ReadsEveryField ) {
  expectAll( {
      { ietf( R"("ipv4": { "dscp": 10, "ecn": 2, "ttl": 1, "source-ipv4-network": "10.0.0.0/8" },
                "udp": { "destination-port": { "operator": "lte", "port": 80 } })" ),
        "r: udp 10.0.0.0/8 > any:0-80 dscp 10 ecn 2 ttl 1 permit" },
      { ietf( R"("tcp": { "flags": "syn", "source-port": { "operator": "neq", "port": 80 } })",
              "ipv4-acl-type" ),
        "l ipv4\nr: tcp any:0-79,81-65535 > any flags =syn permit" },
      // Without type or family: both
      { ietf( R"("icmp": { "type": 3 })" ),
        "l-ipv4 ipv4\nr: icmp type 3 permit\n"
        "l-ipv6 ipv6\nr: icmp6 type 3 permit\n" },
      { ietf( R"("eth": { "ethertype": "lldp", "source-mac-address": "02:00:00:00:00:00",
                "source-mac-address-mask": "ff:00:00:00:00:00" })",
              "eth-acl-type" ),
        "l mac\nr: smac 02:00:00:00:00:00/ff:00:00:00:00:00 ethertype 0x88cc permit" },
      { openConfig( R"("ipv4": { "config": { "source-address-prefix-set": "nets",
                       "dscp-set": [ 8, 16 ], "protocol": "oc-x:IP_TCP" } },
                       "transport": { "config": { "destination-port-set": "web",
                       "source-port": "ANY", "explicit-detail-match-mode": "ANY",
                       "explicit-tcp-flags": [ "TCP_SYN", "TCP_FIN" ] } })" ),
        "tcp 10.0.0.0/8,192.0.2.0/24 > any:80,8000-8007 flags +syn,+fin dscp 8,16 permit" },
      { openConfig( R"("ipv4": { "icmpv4": { "config": { "type": "DST_UNREACHABLE",
                       "code": "oc-icmp:PORT_UNREACHABLE" } } })" ),
        "icmp type 3/3 permit" },
      { openConfig( R"("ipv6": { "config": { "protocol": "IP_ICMP" },
                       "icmpv6": { "config": { "type": "ECHO_REPLY" } } })",
                    "ACL_IPV6" ),
        "icmp6 type 129 permit" },
      { openConfig( R"("transport": { "config": { "builtin-detail": "TCP_INITIAL" } })" ),
        "tcp flags +syn-ack permit" },
      { openConfig( R"("transport": { "config": { "builtin-detail": "FRAGMENT" } })" ),
        "fragments fragment permit" },
      { openConfig( R"("transport": { "config": { "source-port": 5 } })", "ACL_MIXED" ),
        "l-ipv4 ipv4\nentry 1: any:5 > any permit\nl-ipv6 ipv6\nentry 1: any:5 > any permit" },
      { sonic( R"("SRC_MAC": "02:00:00:00:00:00/ff:00:00:00:00:00", "ETHER_TYPE": "0x0806")" ),
        "T_l mac\nr: smac 02:00:00:00:00:00/ff:00:00:00:00:00 ethertype 0x806 permit" },
      { sonic( R"("TCP_FLAGS": "0x12", "L4_DST_PORT_RANGE": "0-65535")" ),
        "r: tcp flags -fin+syn-rst-psh+ack-urg permit" },
      // The platform says which ports there are.
      { sonic( R"("IN_PORTS": "e1,3-4", "DSCP": 5)" ),
        "r: dscp 5 permit\nrule 0 inPorts e1,3-4\n" },
      { sonic( R"("ICMP_TYPE": 8, "IP_PROTOCOL": 1)", "L3V4V6" ),
        "T_l ipv4\nr: icmp type 8 permit" },
  } );
}

TEST( DocumentTest, ListsHaveTheOrderAndPortsOfTheirFormat ) {
  const std::string entry = R"(, "actions": { "config": { "forwarding-action": "DROP" } } })";
  expectAll( {
      { samples()[ 0 ], "a ipv6 in e1\nr1: " },
      { samples()[ 1 ], "a ipv4 in e1\nentry 10: " },
      { samples()[ 2 ], "T_l ipv4 out e1\nr: " },
      { samples()[ 3 ], "T_L ipv4 default drop\nRULE_1: " },
      { R"([ { "name": "l", "type": "ACL_IPV4", "acl-entries": { "acl-entry": [
          { "sequence-id": 20)" +
            entry + R"(, { "sequence-id": 3)" + entry + "] } } ]",
        "l ipv4\nentry 3: any drop\nentry 20: any drop\n" },
      { R"({ "ACL_RULE": { "T|a": { "PRIORITY": "9", "PACKET_ACTION": "DROP", "SRC_IP": "10.0.0.1" },
          "T|b": { "PRIORITY": "10", "PACKET_ACTION": "DROP" } } })",
        "T ipv4\nb: any drop\na: 10.0.0.1 > any drop\n" },
      { R"([ { "ACL_RULE_TABLE:t:a": { "PRIORITY": "1", "PACKET_ACTION": "DROP", "SRC_IP": "10.0.0.1" },
            "OP": "SET" },
          { "ACL_RULE_TABLE:t:b": { "PRIORITY": "2", "PACKET_ACTION": "DROP", "SRC_IP": "10.0.0.2" },
            "OP": "SET" }, { "ACL_RULE_TABLE:t:b": {}, "OP": "DEL" } ])",
        "t ipv4\na: 10.0.0.1 > any drop\n" },
  } );
  // Both lists of one name and different types
  const std::string both = readAs( R"({ "acl-set": [
      { "name": "x", "type": "ACL_IPV6", "acl-entries": { "acl-entry": [ { "sequence-id": 1)" +
                                       entry + R"( ] } },
      { "name": "x", "type": "ACL_IPV4", "acl-entries": { "acl-entry": [ { "sequence-id": 1)" +
                                       entry + "] } } ] }",
                                   "openconfig" );
  EXPECT_EQ( both, "x-ipv6 ipv6\nentry 1: any drop\nx-ipv4 ipv4\nentry 1: any drop\n" );
}

TEST( DocumentTest, RefusesRulesAtThePlaceOfTheFault ) {
  expectAll( {
      { ietf( R"("ipv4": { "source-ipv4-network": "10.0.0.1/8" })" ),
        "f:2:34: l, r: \"source-ipv4-network\" must be a prefix" },
      { ietf( R"("ipv4": { "flags": "more" })" ), "f:2:20: l, r: \"flags\" cannot be matched" },
      { ietf( R"("ipv4": {}, "tcp": { "ietf-mud:direction-initiated": "from-device" })" ),
        "l, r: \"ietf-mud:direction-initiated\" cannot be matched" },
      { ietf( R"("ipv4": { "ietf-acldns:src-dnsname": "a.example" })" ), "cannot be matched" },
      { ietf( R"("ipv6": {})", "ipv4-acl-type" ),
        "l, r: matches packets that a list of this type" },
      { ietf( R"("eth": { "source-mac-address": "02:00:00:00:00:00/ff:00:00:00:00:00" })" ),
        "\"source-mac-address\" must be a MAC address, not" },
      { ietf( R"("ipv4": {}, "ipv6": {})" ), "\"ipv6\" contradicts the family" },
      { ietf( R"("ipv4": { "protocol": 17 }, "tcp": {})" ), "\"tcp\" contradicts the protocol" },
      { ietf( R"("egress-interface": "e1")" ), "f:2:21: l, r: ports by which packets leave" },
      { ietf( R"("ipv4": { "dscp": 64 })" ),
        "f:2:19: l, r: \"dscp\" must be a whole number from 0 to 63" },
      { ietf( R"("tcp": { "source-port": { "lower-port": 9, "upper-port": 8 } })" ), "is below" },
      { ietf( R"("udp": { "source-port": {} })", R"(ipv4-acl-type", "mtu": "9)" ),
        "l, r: \"source-port\" has no \"port\"\nf:1:94: l: an ACL has an unknown key \"mtu\"" },
      { ietf( "", "arp-acl-type" ), "f:1:70: l: \"type\" must be one of ipv4-acl-type" },
      { openConfig( R"("ipv4": { "config": { "length": 5 } })" ),
        "f:2:33: l, entry 1: \"length\" cannot be matched" },
      { openConfig( R"("ipv4": { "config": { "source-address-prefix-set": "nowhere" } })" ),
        "names the IPv4 prefix set nowhere" },
      { openConfig( R"("ipv4": { "config": { "protocol": 47 } },
                       "transport": { "config": { "source-port": 5 } })" ),
        "sourcePorts needs the protocol tcp or udp" },
      { openConfig( R"("transport": { "config": { "source-port": "9..8" } })" ), "LOW..HIGH" },
      { openConfig( R"("ipv4": { "icmpv4": { "config": { "type": "ECHO", "code": "PORT_UNREACHABLE"
                                                       } } })" ),
        "\"code\" is a code of type 3" },
      { openConfig( R"("ipv4": { "icmpv4": { "config": { "code": "ECHO" } } })" ),
        "\"code\" must be a code of ICMP" },
      { openConfig( R"("ipv4": { "config": { "dscp-set": [] } })" ), "would match nothing" },
      { openConfig( R"("ipv4": { "config": { "protocol": "255" } })" ),
        "from 0 to 254, not \"255\"" },
      { openConfig( R"("transport": { "config": { "explicit-detail-match-mode": "ALL" } })" ),
        "has no flags to match" },
      { openConfig( R"("ipv4": {}, "mpls": {})" ), "\"mpls\" cannot be matched" },
      { openConfig( R"("ipv4": {})", "ACL_MPLS" ), "l: \"type\" must be one of ACL_IPV4" },
      { sonic( R"("TCP_FLAGS": 64)" ), "must be VALUE/MASK: 64 has bits outside of its mask 0x3f" },
      { sonic( R"("VLAN_ID": "4095")" ),
        "f:2:12: T_l, r: \"VLAN_ID\" must be a whole number from 1" },
      // What there is: all of few names, the most like of many
      { ietf( R"("tcp": { "flags": "syn+ack" })" ),
        "must be flags of TCP (ack, cwr, ece, fin, psh, rst, syn, urg), not \"syn+ack\"" },
      { openConfig( R"("ipv4": { "config": { "protocol": "IP_SCPT" } })" ), "sctp, " },
      { openConfig( R"("ipv4": { "icmpv4": { "config": { "type": "DST_UNREACH" } } })" ),
        "dst-unreachable, " },
      { openConfig( R"("l3": {})" ), "key \"l3\"; it can have actions, config, input-interface, " },
      { sonic( R"("SCR_IP": "10.0.0.1")" ),
        "unknown key; a rule can have DSCP, DST_IP, DST_MAC, " },
      { sonic( R"("TUNNEL_VNI": "1")" ), "\"TUNNEL_VNI\" cannot be matched" },
      { sonic( R"("MIRROR_INGRESS_ACTION": "s")" ), "needs a mirroring session" },
      { sonic( R"("SRC_IPV6": "::1")" ), "T_l, r: matches packets that a list of this type" },
      { sonic( R"("ETHER_TYPE": "1500")" ), "from 1536 to 65535" },
      { sonic( R"("DSCP": 1)", "MIRROR" ), "f:1:35: T_l: \"type\" is of a mirroring table" },
      { sonic( R"("dscp": 1, "DSCP": 1)" ), "\"DSCP\" occurs twice" },
  } );
}

// Nothing that a document states is passed over: another key or another type of value is refused.
TEST( DocumentTest, EveryKeyAndValueCounts ) {
  for ( const std::string & text : samples() ) {
    const std::string read = readAs( text );
    EXPECT_FALSE( isRefused( read ) ) << read;
    std::vector< size_t > values, keys;
    places( Platform::parseJson( "f", text ), text, values, keys );
    for ( const size_t at : values )
      for ( const char * number :
            { "7.5", "1e400", "-0", "123456789012345678", "-1E999", "12345678901234567890123" } ) {
        std::string changed = text;
        changed.replace( at, endOfValue( text, at ) - at, number );
        EXPECT_THAT( readAs( changed ), testing::ContainsRegex( fmt::format(
                                            "f:[0-9]+:[0-9]+: .* {}(\n|$|,)", number ) ) )
            << changed;
      }
    for ( const size_t at : keys ) {
      std::string changed = text;
      changed.insert( changed.find( '"', at + 1 ), "-x" );
      EXPECT_TRUE( isRefused( readAs( changed ) ) ) << changed;
    }
  }
}

TEST( DocumentTest, RefusesDamagedTexts ) {
  for ( const std::string & text : samples() ) {
    for ( size_t size = 0; size < text.size(); size += 3 )
      EXPECT_THAT( readAs( text.substr( 0, size ) ),
                   testing::AnyOf( HasSubstr( "truncated" ), HasSubstr( "empty" ) ) )
          << size;
    std::string lines = "\xEF\xBB\xBF" + text;
    for ( size_t at = 0; ( at = lines.find( '\n', at ) ) != lines.npos; at += 2 )
      lines.insert( at, "\r" );
    EXPECT_EQ( readAs( lines ), readAs( text ) );
    std::string nul = text;
    nul[ nul.find( '"' ) + 1 ] = '\0';
    EXPECT_THAT( readAs( nul ), HasSubstr( "a NUL byte" ) );
  }
  // Rules are parsed one by one: a text that is not JSON is refused as a whole all the same.
  for ( const std::string & text : samples() )
    for ( size_t at = 1; at < text.size(); ++at ) {
      std::string changed = text;
      changed.erase( at, 1 );
      const bool json = nlohmann::json::accept( changed );
      ASSERT_TRUE( json || testing::Matches( testing::ContainsRegex(
                               "^f:[0-9]+:[0-9]+: (not JSON: unexpected|truncated: )" ) )(
                               readAs( changed ) ) )
          << changed << readAs( changed );
    }
  expectAll( {
      { R"({ "ACL_RULE": { "T|a": {}, "T|a": {} } })", "f:1:28: key \"T|a\" occurs twice" },
      { " \n", "f:1:1: the file is empty" },
      { "<config/>", "f: this is XML; the formats are classbench" },
      { "table inet filter {\n}", "this is an nft ruleset" },
      { R"({ "nftables": [] })", "this is an nft ruleset in JSON" },
      { "module a { }", "this is a YANG module" },
      { "hello", "the format of this file is not known; the formats are classbench" },
      { "{}", "the format of this file is not known" },
      { std::string( 1000000, '[' ), "nested too deeply" },
  } );
  EXPECT_THAT( readAs( "{}", "rfc8519" ), HasSubstr( "f:1:1: there is no \"ietf-access" ) );
}

TEST( DocumentTest, CountsTheRefusalsThatItDoesNotList ) {
  std::string rules;
  for ( int i = 0; i < 25; ++i )
    rules += fmt::format( R"({}"T|{}": {{ "PRIORITY": {} }})", i == 0 ? "" : ",\n", i, i );
  const std::string text = "{ \"ACL_RULE\": {\n" + rules + "} }";
  EXPECT_THAT( readAs( text ),
               HasSubstr( "f:21:9: T, 19: a rule has no PACKET_ACTION\nf: ... and 5 more" ) );
  ReaderOptions options;
  options.refusalsMax = 22;
  const AclDocument stopped = parseAclText( { "n", false }, "f", text, nullptr, options );
  EXPECT_EQ( stopped.refusals.lines().back(), "f: ... and 2 more; the rest is not read" );
}

TEST( DocumentTest, ReadsRealDocuments ) {
  const std::filesystem::path data = MORVANE_TEST_DATA;
  if ( !std::filesystem::exists( data ) )
    GTEST_SKIP() << "no real documents in " << data;
  const struct {
    const char * file;
    size_t lists, rules;
    const char * refusal;  // of the only one; empty: none
  } cases[] = {
      { "ietf-acl/example-4.3.1.json", 1, 1, "" },
      { "ietf-acl/example-4.4.1.json", 1, 1, "" },
      { "ietf-acl/example-4.4.2.json", 1, 1, "" },
      { "ietf-acl/example-4.4.3.json", 1, 1, "" },
      { "openconfig-acl/acl-10x10.json", 10, 100, "" },
      { "openconfig-acl/testDport.json", 1, 1, "" },
      { "openconfig-acl/testSaddr.json", 1, 1, "" },
      { "openconfig-acl/testTcpEstablished.json", 1, 1, "" },
      { "sonic-acl/acltb_test_rules.json", 1, 15, "" },
      { "sonic-acl/acl_rules.json", 2, 15, "" },
      { "sonic-acl/config_tcp_flags_valid_1.json", 2, 2, "" },
      { "sonic-acl/acl_loader_1.json", 13, 19, "" },
      { "sonic-acl/invalid/config_ip_type_invalid_1.json", 2, 0, ":6:16: acl_test_table" },
      { "sonic-acl/invalid/illegal_vlan_0.json", 2, 0, ":19:22: DATAACL, RULE_1: \"vlan-id\"" },
  };
  for ( const auto & c : cases ) {
    SCOPED_TRACE( c.file );
    const AclDocument document = readAclFile( { "n", false }, data / c.file, nullptr );
    size_t rules = 0;
    for ( const Acl & acl : document.lists )
      rules += acl.rules.size();
    EXPECT_EQ( document.lists.size(), c.lists );
    EXPECT_EQ( rules, c.rules );
    const std::vector< std::string > refusals = document.refusals.lines();
    EXPECT_EQ( refusals.size(), *c.refusal == '\0' ? 0U : 1U );
    EXPECT_THAT( refusals.empty() ? "" : refusals[ 0 ], HasSubstr( c.refusal ) );
  }
  EXPECT_THAT( readAs( Platform::readFile(
                   data / "sonic-acl/invalid/config_l4_port_range_invalid_5.json" ) ),
               "f:7:13: key \"L4_SRC_PORT_RANGE\" occurs twice" );
}

}  // namespace Agent
