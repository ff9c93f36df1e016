#include "agent/read/RuleMatchReader.h"

#include <fmt/core.h>

#include <charconv>

#include "agent/acl/AddressText.h"
#include "agent/acl/PoliceRate.h"

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

constexpr U32 udfOffsetMax = 127;  // from the start of the L3 header

[[noreturn]] void failValue( JsonFields & fields, const std::string & key,
                             const std::string & expected ) {
  fields.fail( fields.line( key ), fmt::format( "\"{}\" must be {}", key, expected ) );
}

// "0x" followed by hexadecimal digits.
U32 readHex( JsonFields & fields, const std::string & key, U32 max ) {
  const std::string text = fields.text( key );
  const std::string_view digits = std::string_view( text ).substr( std::min( text.size(), { 2 } ) );
  U32 value = 0;
  const auto [ end, error ] =
      std::from_chars( digits.data(), digits.data() + digits.size(), value, 16 );
  if ( !text.starts_with( "0x" ) || digits.empty() || error != std::errc() ||
       end != digits.data() + digits.size() || value > max )
    failValue( fields, key, fmt::format( "a text from \"0x0\" to \"{:#x}\"", max ) );
  return value;
}

U32 readHexOr( JsonFields & fields, const std::string & key, U32 max, U32 absent ) {
  return fields.find( key ) == nullptr ? absent : readHex( fields, key, max );
}

// ADDRESS or ADDRESS/LENGTH. Without the key the prefix matches everything.
template < class P, class F >
void readPrefix( JsonFields & fields, const std::string & key, U32 lengthMax, P & prefix,
                 F && addressFrom ) {
  if ( fields.find( key ) == nullptr )
    return;
  const std::string text = fields.text( key );
  const size_t slash = std::min( text.find( '/' ), text.size() );
  const auto address = addressFrom( text.substr( 0, slash ) );
  const auto length = slash == text.size() ? std::optional< U64 >( lengthMax )
                                           : numberFromText( text.substr( slash + 1 ) );
  if ( !address || !length || *length > lengthMax )
    failValue( fields, key, fmt::format( "an address, or ADDRESS/0 to ADDRESS/{}", lengthMax ) );
  prefix = { *address, static_cast< U8 >( *length ) };
}

// ADDRESS or ADDRESS/MASK.
void readMac( JsonFields & fields, const std::string & key, FieldMatch< U64 > & match ) {
  if ( fields.find( key ) == nullptr )
    return;
  const std::string text = fields.text( key );
  const size_t slash = std::min( text.find( '/' ), text.size() );
  const auto value = macFromText( std::string_view( text ).substr( 0, slash ) );
  const auto mask = slash == text.size()
                        ? std::optional< U64 >( 0xFFFFFFFFFFFF )
                        : macFromText( std::string_view( text ).substr( slash + 1 ) );
  if ( !value || !mask )
    failValue( fields, key, "a MAC address, or ADDRESS/MASK" );
  match = { *value & *mask, *mask };
}

// A number, or the name of a protocol.
void readProtocol( JsonFields & fields, AclRule & rule ) {
  const JsonNode * node = fields.find( "protocol" );
  if ( node == nullptr )
    return;
  if ( node->kind == JsonNode::Kind::integer ) {
    rule.protocol = { static_cast< U8 >( fields.number( "protocol", 0, 0xFF ) ), 0xFF };
    return;
  }
  const std::pair< const char *, U8 > names[] = { { "tcp", protocolTcp },
                                                  { "udp", protocolUdp },
                                                  { "icmp", protocolIcmp },
                                                  { "icmp6", protocolIcmp6 } };
  const std::string name = fields.text( "protocol" );
  for ( const auto & [ known, number ] : names ) {
    if ( name == known ) {
      rule.protocol = { number, 0xFF };
      return;
    }
  }
  failValue( fields, "protocol", "a number from 0 to 255, or tcp, udp, icmp or icmp6" );
}

// A number, or "LOW-HIGH".
void readPorts( JsonFields & fields, const std::string & key, PortRange & range ) {
  const JsonNode * node = fields.find( key );
  if ( node == nullptr )
    return;
  if ( node->kind == JsonNode::Kind::integer ) {
    range.low = range.high = static_cast< U16 >( fields.number( key, 0, 0xFFFF ) );
    return;
  }
  const std::string text = fields.text( key );
  const size_t dash = std::min( text.find( '-' ), text.size() );
  const auto low = numberFromText( text.substr( 0, dash ) );
  const auto high = numberFromText( text.substr( std::min( dash + 1, text.size() ) ) );
  if ( !low || !high || *low > *high || *high > 0xFFFF )
    failValue( fields, key, "a port, or \"LOW-HIGH\"" );
  range = { static_cast< U16 >( *low ), static_cast< U16 >( *high ) };
}

void readTcpFlags( JsonFields & fields, AclRule & rule ) {
  const JsonNode * node = fields.find( "tcpFlags" );
  if ( node == nullptr )
    return;
  JsonFields flags( fields.file(), *node, "\"tcpFlags\"" );
  rule.tcpFlags.mask = static_cast< U8 >( readHexOr( flags, "mask", 0xFF, 0xFF ) );
  rule.tcpFlags.value = static_cast< U8 >( readHex( flags, "value", 0xFF ) & rule.tcpFlags.mask );
  flags.finish();
  if ( !rule.isFor( protocolTcp ) )
    fields.fail( node->line, "\"tcpFlags\" needs the protocol tcp" );
}

void readIcmp( JsonFields & fields, AclRule & rule ) {
  const JsonNode * node = fields.find( "icmp" );
  if ( node == nullptr )
    return;
  JsonFields icmp( fields.file(), *node, "\"icmp\"" );
  rule.icmpTypeCode = { static_cast< U16 >( icmp.number( "type", 0, 0xFF ) << 8 ), 0xFF00 };
  if ( icmp.find( "code" ) != nullptr ) {
    rule.icmpTypeCode.value |= static_cast< U16 >( icmp.number( "code", 0, 0xFF ) );
    rule.icmpTypeCode.mask = 0xFFFF;
  }
  icmp.finish();
  if ( !rule.isFor( protocolIcmp ) && !rule.isFor( protocolIcmp6 ) )
    fields.fail( node->line, "\"icmp\" needs the protocol icmp or icmp6" );
}

void readL4( JsonFields & fields, AclRule & rule ) {
  readProtocol( fields, rule );
  readPorts( fields, "sourcePorts", rule.sourcePorts );
  readPorts( fields, "destinationPorts", rule.destinationPorts );
  const bool hasPorts =
      rule.protocol.mask == 0 || rule.isFor( protocolTcp ) || rule.isFor( protocolUdp );
  for ( const char * key : { "sourcePorts", "destinationPorts" } )
    if ( !hasPorts && fields.find( key ) != nullptr )
      fields.fail( fields.line( key ), fmt::format( "\"{}\" needs the protocol tcp or udp", key ) );
  readTcpFlags( fields, rule );
  readIcmp( fields, rule );
}

void readL2( JsonFields & fields, AclRule & rule ) {
  readMac( fields, "sourceMac", rule.sourceMac );
  readMac( fields, "destinationMac", rule.destinationMac );
  if ( fields.find( "etherType" ) != nullptr ) {
    rule.etherType = { static_cast< U16 >( readHex( fields, "etherType", 0xFFFF ) ), 0xFFFF };
    if ( rule.etherType.value < 0x600 )
      failValue( fields, "etherType", "0x600 or above: what is below is a length" );
  }
  if ( fields.find( "vlan" ) != nullptr )
    rule.vlan = { static_cast< U16 >( fields.number( "vlan", 0, 0xFFF ) ), 0xFFF };
}

UdfBase readBase( JsonFields & fields, AclKind kind ) {
  const std::string name = fields.text( "base" );
  if ( kind == AclKind::mac ) {
    if ( name != "l2End" )
      failValue( fields, "base", "l2End in a list of type mac" );
    return UdfBase::l2End;
  }
  if ( name != "l3Start" && name != "l3End" )
    failValue( fields, "base", "l3Start or l3End in a list of type ipv4" );
  return name == "l3Start" ? UdfBase::l3Start : UdfBase::l3End;
}

UdfMatch readUdf( const std::string & file, const JsonNode & node, AclKind kind ) {
  JsonFields fields( file, node, "\"udf\"" );
  UdfMatch udf;
  udf.base = readBase( fields, kind );
  udf.offset = static_cast< U8 >( fields.number( "offset", 0, udfOffsetMax ) );
  if ( udf.fromL3() > udfOffsetMax )
    failValue( fields, "offset", "at most 107 from l3End" );
  udf.mask = readHexOr( fields, "mask", 0xFFFFFFFF, 0xFFFFFFFF );
  udf.value = readHex( fields, "value", 0xFFFFFFFF ) & udf.mask;
  fields.finish();
  return udf;
}

// One field, or a list of them.
void readUdfs( JsonFields & fields, AclKind kind, AclRule & rule ) {
  const JsonNode * node = fields.find( "udf" );
  if ( node == nullptr )
    return;
  if ( node->kind != JsonNode::Kind::array ) {
    rule.udf.push_back( readUdf( fields.file(), *node, kind ) );
    return;
  }
  for ( const JsonNode & element : node->elements )
    rule.udf.push_back( readUdf( fields.file(), element, kind ) );
}

}  // namespace

void readRuleMatch( JsonFields & fields, AclKind kind, AclUse use, AclRule & rule ) {
  switch ( kind ) {
    case AclKind::ipv4:
      readPrefix( fields, "source", 32, rule.source, ip4FromText );
      readPrefix( fields, "destination", 32, rule.destination, ip4FromText );
      readL4( fields, rule );
      break;
    case AclKind::ipv6:
      readPrefix( fields, "source", 128, rule.source6, ip6FromText );
      readPrefix( fields, "destination", 128, rule.destination6, ip6FromText );
      readL4( fields, rule );
      break;
    case AclKind::mac:
      readL2( fields, rule );
      break;
  }
  if ( use != AclUse::filter )
    readUdfs( fields, kind, rule );
}

}  // namespace Agent
