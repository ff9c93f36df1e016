#include "agent/read/SonicRule.h"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <set>

#include "platform/NearNames.h"

namespace Agent {

namespace {

using Platform::JsonNode;

std::string upperCase( std::string_view text ) {
  std::string upper( text );
  std::transform( upper.begin(), upper.end(), upper.begin(),
                  []( unsigned char c ) { return static_cast< char >( std::toupper( c ) ); } );
  return upper;
}

// What is read of a rule.
struct Reading {
  DraftRule draft;
  std::optional< U32 > priority;
  bool action = false;
};

void readPriority( const Leaf & leaf, Reading & rule ) {
  rule.priority = leaf.number( 0, priorityMax );
}

void readAction( const Leaf & leaf, Reading & rule ) {
  const std::string name = upperCase( leaf.text() );
  if ( name != "FORWARD" && name != "ACCEPT" && name != "DROP" )
    leaf.fail( "FORWARD, ACCEPT or DROP" );
  rule.draft.rule.forwarding = name == "DROP" ? Forwarding::drop : Forwarding::permit;
  rule.action = true;
}

void readIpType( const Leaf & leaf, Reading & rule ) {
  const std::pair< std::string_view, Families > names[] = {
      { "ANY", familyAll },     { "IP", familyIp },    { "IPV4", familyIp4 },
      { "IPV4ANY", familyIp4 }, { "IPV6", familyIp6 }, { "IPV6ANY", familyIp6 },
      { "ARP", familyOther },
  };
  const std::string name = upperCase( leaf.text() );
  for ( const auto & [ known, families ] : names ) {
    if ( name != known )
      continue;
    if ( name == "ARP" )
      rule.draft.arp( leaf );
    return rule.draft.restrictTo( leaf, families );
  }
  if ( name.starts_with( "NON_IP" ) )
    leaf.refuse( fmt::format( "{} cannot be matched by a TCAM entry", name ) );
  leaf.fail( "ANY, IP, IPV4, IPV4ANY, IPV6, IPV6ANY or ARP" );
}

void readProtocol( const Leaf & leaf, Reading & rule ) {
  rule.draft.protocol( leaf, static_cast< U8 >( leaf.number( 0, 0xFF ) ) );
}

template < FieldId field >
void readPort( const Leaf & leaf, Reading & rule ) {
  const U32 port = leaf.number( 0, 0xFFFF );
  rule.draft.range( leaf, field, { port, port } );
}

template < FieldId field >
void readPortRange( const Leaf & leaf, Reading & rule ) {
  if ( leaf.text().find( '-' ) == std::string::npos )
    leaf.fail( "LOW-HIGH" );
  rule.draft.range( leaf, field, leaf.range( 0xFFFF, "-" ) );
}

template < FieldId field >
void readMac( const Leaf & leaf, Reading & rule ) {
  rule.draft.match( leaf, field, leaf.mac() );
}

template < bool source, bool ip6 >
void readAddress( const Leaf & leaf, Reading & rule ) {
  rule.draft.restrictTo( leaf, ip6 ? familyIp6 : familyIp4 );
  rule.draft.address( leaf, source );
}

// ICMP and ICMPv6 have keys of their own.
template < bool ip6, bool code >
void readIcmp( const Leaf & leaf, Reading & rule ) {
  const auto value = static_cast< U8 >( leaf.number( 0, 0xFF ) );
  rule.draft.restrictTo( leaf, ip6 ? familyIp6 : familyIp4 );
  if ( code )
    rule.draft.icmpCode( leaf, value );
  else
    rule.draft.icmpType( leaf, value );
}

void readVlan( const Leaf & leaf, Reading & rule ) {
  rule.draft.match( leaf, FieldId::vlan, exactly( leaf.number( 1, vlanMax ), 0xFFF ) );
}

template < FieldId field >
void readPorts( const Leaf & leaf, Reading & rule ) {
  rule.draft.ports( leaf, field );
}

struct Key {
  std::string_view name;
  void ( *read )( const Leaf & leaf, Reading & rule );  // null: no qualifier of the chip has it
};

constexpr Key keys[] = {
    { "PRIORITY", readPriority },
    { "PACKET_ACTION", readAction },
    { "IP_TYPE", readIpType },
    { "ETHER_TYPE", []( const Leaf & leaf, Reading & rule ) { rule.draft.etherType( leaf ); } },
    { "SRC_IP", readAddress< true, false > },
    { "DST_IP", readAddress< false, false > },
    { "SRC_IPV6", readAddress< true, true > },
    { "DST_IPV6", readAddress< false, true > },
    { "SRC_MAC", readMac< FieldId::sourceMac > },
    { "DST_MAC", readMac< FieldId::destinationMac > },
    { "IP_PROTOCOL", readProtocol },
    { "NEXT_HEADER", readProtocol },
    { "L4_SRC_PORT", readPort< FieldId::sourcePorts > },
    { "L4_DST_PORT", readPort< FieldId::destinationPorts > },
    { "L4_SRC_PORT_RANGE", readPortRange< FieldId::sourcePorts > },
    { "L4_DST_PORT_RANGE", readPortRange< FieldId::destinationPorts > },
    { "TCP_FLAGS",
      []( const Leaf & leaf, Reading & rule ) {
        rule.draft.match( leaf, FieldId::tcpFlags, leaf.masked( 0xFF, 0x3F ) );
      } },
    { "DSCP",
      []( const Leaf & leaf, Reading & rule ) {
        rule.draft.match( leaf, FieldId::dscp, leaf.masked( 0x3F, 0x3F ) );
      } },
    { "PCP",
      []( const Leaf & leaf, Reading & rule ) {
        rule.draft.match( leaf, FieldId::vlanPriority, leaf.masked( 7, 7 ) );
      } },
    { "ICMP_TYPE", readIcmp< false, false > },
    { "ICMP_CODE", readIcmp< false, true > },
    { "ICMPV6_TYPE", readIcmp< true, false > },
    { "ICMPV6_CODE", readIcmp< true, true > },
    { "VLAN_ID", readVlan },
    { "IN_PORTS", readPorts< FieldId::inPorts > },
    { "OUT_PORTS", readPorts< FieldId::outPorts > },
    { "MIRROR_ACTION", nullptr },
    { "MIRROR_INGRESS_ACTION", nullptr },
    { "MIRROR_EGRESS_ACTION", nullptr },
    { "TC", nullptr },
    { "DEI", nullptr },
    { "TUNNEL_VNI", nullptr },
    { "BTH_OPCODE", nullptr },
    { "AETH_SYNDROME", nullptr },
    { "INNER_ETHER_TYPE", nullptr },
    { "INNER_IP_PROTOCOL", nullptr },
    { "INNER_L4_SRC_PORT", nullptr },
    { "INNER_L4_DST_PORT", nullptr },
    { "INNER_SRC_IP", nullptr },
    { "INNER_DST_IP", nullptr },
    { "INNER_SRC_MAC", nullptr },
    { "INNER_DST_MAC", nullptr },
};

// The older dialect has names in mixed case.
void readKey( const Leaf & leaf, const std::string & name, Reading & rule ) {
  for ( const Key & key : keys ) {
    if ( name != key.name )
      continue;
    if ( key.read == nullptr )
      leaf.refuse( name.find( "ACTION" ) == name.npos ? "cannot be matched by a TCAM entry"
                                                      : "needs a mirroring session" );
    return key.read( leaf, rule );
  }
  std::vector< std::string_view > known;
  for ( const Key & key : keys )
    if ( key.read != nullptr )
      known.push_back( key.name );
  leaf.refuse( fmt::format( "is an unknown key; a rule can have {}",
                            Platform::nearNames( std::move( known ), name ) ) );
}

}  // namespace

SonicRule readSonicRule( const std::string & file, const std::string & name,
                         const JsonNode & node ) {
  if ( node.kind != JsonNode::Kind::object )
    throw Platform::InputError( file, node.place(), "a rule must be an object" );
  Reading rule{ DraftRule( file, name, node.place() ), std::nullopt, false };
  std::set< std::string > seen;
  for ( const auto & [ key, value ] : node.members ) {
    const Leaf leaf( file, key, value );
    const std::string upper = upperCase( key );
    if ( !seen.insert( upper ).second )
      leaf.refuse( "occurs twice" );
    readKey( leaf, upper, rule );
  }
  if ( !rule.priority || !rule.action )
    rule.draft.fail(
        fmt::format( "a rule has no {}", rule.action ? "PRIORITY" : "PACKET_ACTION" ) );
  rule.draft.complete();
  return { *rule.priority, std::move( rule.draft ) };
}

}  // namespace Agent
