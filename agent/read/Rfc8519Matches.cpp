#include "agent/read/Rfc8519Matches.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>

#include "agent/acl/Names.h"

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

constexpr std::array< std::string_view, 3 > modules = { "ietf-access-control-list",
                                                        "ietf-packet-fields", "ietf-ethertypes" };

constexpr U32 maxOf( U32 bits ) {
  return ( 1U << bits ) - 1;
}

void readNumber( JsonFields & fields, const char * key, FieldId field, U32 bits,
                 DraftRule & draft ) {
  if ( const auto leaf = findLeaf( fields, key ) )
    draft.match( *leaf, field, exactly( leaf->number( 0, maxOf( bits ) ), maxOf( bits ) ) );
}

void readEth( JsonFields & fields, DraftRule & draft ) {
  draft.mac( fields, "destination-mac-address", FieldId::destinationMac );
  draft.mac( fields, "source-mac-address", FieldId::sourceMac );
  if ( const auto leaf = findLeaf( fields, "ethertype" ) )
    draft.etherType( *leaf );
}

void readIp( JsonFields & fields, const Leaf & container, bool ip6, DraftRule & draft ) {
  draft.restrictTo( container, ip6 ? familyIp6 : familyIp4 );
  readNumber( fields, "dscp", FieldId::dscp, 6, draft );
  readNumber( fields, "ecn", FieldId::ecn, 2, draft );
  if ( const auto leaf = findLeaf( fields, "ttl" ) ) {
    const U32 ttl = leaf->number( 0, 0xFF );
    draft.range( *leaf, FieldId::ttl, { ttl, ttl } );
  }
  if ( const auto leaf = findLeaf( fields, "protocol" ) )
    draft.protocol( *leaf, static_cast< U8 >( leaf->number( 0, 0xFF ) ) );
  for ( const bool source : { false, true } ) {
    const std::string key =
        fmt::format( "{}-ipv{}-network", source ? "source" : "destination", ip6 ? 6 : 4 );
    if ( const auto leaf = findLeaf( fields, key.c_str() ) )
      draft.address( *leaf, source );
  }
}

std::vector< AnyRange > operatorRanges( const Leaf & name, U32 port ) {
  const std::string_view op = name.identity();
  if ( op == "lte" )
    return { { 0, port } };
  if ( op == "gte" )
    return { { port, 0xFFFF } };
  if ( op == "eq" )
    return { { port, port } };
  if ( op != "neq" )
    name.fail( "lte, gte, eq or neq" );
  if ( port == 0 )
    return { { 1, 0xFFFF } };
  if ( port == 0xFFFF )
    return { { 0, 0xFFFE } };
  return { { 0, port - 1 }, { port + 1, 0xFFFF } };
}

void readPorts( JsonFields & fields, const char * key, FieldId field, DraftRule & draft ) {
  const auto leaf = findLeaf( fields, key );
  if ( !leaf )
    return;
  JsonFields port( fields.file(), leaf->node(), fmt::format( "\"{}\"", key ), modules );
  if ( port.find( "lower-port" ) != nullptr || port.find( "upper-port" ) != nullptr ) {
    const Leaf upper = needLeaf( port, "upper-port" );
    const AnyRange range = { needLeaf( port, "lower-port" ).number( 0, 0xFFFF ),
                             upper.number( 0, 0xFFFF ) };
    if ( range.low > range.high )
      upper.refuse( fmt::format( "{} is below the lower port {}", range.high, range.low ) );
    draft.range( *leaf, field, range );
  } else {
    const U32 number = needLeaf( port, "port" ).number( 0, 0xFFFF );
    const auto op = findLeaf( port, "operator" );
    draft.ranges(
        *leaf, field,
        op ? operatorRanges( *op, number ) : std::vector< AnyRange >{ { number, number } } );
  }
  port.finish();
}

// The flags by name, separated by blanks. Those that are not listed must be clear.
void readFlags( const Leaf & leaf, DraftRule & draft ) {
  U32 flags = 0;
  std::string_view rest = leaf.text();
  while ( !rest.empty() ) {
    const std::string_view name = rest.substr( 0, rest.find( ' ' ) );
    rest.remove_prefix( std::min( name.size() + 1, rest.size() ) );
    const auto flag = tcpFlagFromText( name );
    if ( !flag && !name.empty() )
      leaf.failName( "flags of TCP", name, tcpFlagNames() );
    flags |= flag.value_or( 0 );
  }
  draft.match( leaf, FieldId::tcpFlags, exactly( flags, 0xFF ) );
}

void readTcp( JsonFields & fields, const Leaf & container, DraftRule & draft ) {
  draft.protocol( container, protocolTcp );
  readPorts( fields, "source-port", FieldId::sourcePorts, draft );
  readPorts( fields, "destination-port", FieldId::destinationPorts, draft );
  if ( const auto leaf = findLeaf( fields, "flags" ) )
    readFlags( *leaf, draft );
}

void readUdp( JsonFields & fields, const Leaf & container, DraftRule & draft ) {
  draft.protocol( container, protocolUdp );
  readPorts( fields, "source-port", FieldId::sourcePorts, draft );
  readPorts( fields, "destination-port", FieldId::destinationPorts, draft );
}

void readIcmp( JsonFields & fields, const Leaf & container, DraftRule & draft ) {
  draft.icmpProtocol( container );
  if ( const auto leaf = findLeaf( fields, "type" ) )
    draft.icmpType( *leaf, static_cast< U8 >( leaf->number( 0, 0xFF ) ) );
  if ( const auto leaf = findLeaf( fields, "code" ) )
    draft.icmpCode( *leaf, static_cast< U8 >( leaf->number( 0, 0xFF ) ) );
}

// Leaves of the model that no qualifier of the chip has.
constexpr std::string_view unmatched[] = { "length",
                                           "ihl",
                                           "flags",
                                           "offset",
                                           "identification",
                                           "flow-label",
                                           "sequence-number",
                                           "acknowledgement-number",
                                           "data-offset",
                                           "reserved",
                                           "window-size",
                                           "urgent-pointer",
                                           "options",
                                           "rest-of-header",
                                           "src-dnsname",
                                           "dst-dnsname",
                                           "direction-initiated",
                                           "mud" };

void refuseUnread( const JsonFields & fields ) {
  finishRefusing( fields, unmatched );
}

using ReadContainer = void ( * )( JsonFields & fields, const Leaf & container, DraftRule & draft );

struct Container {
  const char * name;
  ReadContainer read;
};

// The protocol after the fields of the headers below it.
constexpr Container containers[] = {
    { "eth",
      []( JsonFields & fields, const Leaf &, DraftRule & draft ) { readEth( fields, draft ); } },
    { "ipv4", []( JsonFields & fields, const Leaf & container,
                  DraftRule & draft ) { readIp( fields, container, false, draft ); } },
    { "ipv6", []( JsonFields & fields, const Leaf & container,
                  DraftRule & draft ) { readIp( fields, container, true, draft ); } },
    { "tcp", readTcp },
    { "udp", readUdp },
    { "icmp", readIcmp },
};

}  // namespace

JsonFields::Modules rfc8519Modules() {
  return modules;
}

void readRfc8519Matches( const std::string & file, const JsonNode & node, DraftRule & draft ) {
  JsonFields matches( file, node, "\"matches\"", modules );
  for ( const Container & container : containers ) {
    const auto leaf = findLeaf( matches, container.name );
    if ( !leaf )
      continue;
    JsonFields fields( file, leaf->node(), fmt::format( "\"{}\"", container.name ), modules );
    container.read( fields, *leaf, draft );
    refuseUnread( fields );
  }
  if ( const auto leaf = findLeaf( matches, "ingress-interface" ) )
    draft.ports( *leaf, FieldId::inPorts );
  if ( const auto leaf = findLeaf( matches, "egress-interface" ) )
    draft.ports( *leaf, FieldId::outPorts );
  refuseUnread( matches );
}

}  // namespace Agent
