#include "agent/read/RuleMatchReader.h"

#include <fmt/core.h>

#include <charconv>

#include "agent/acl/AddressText.h"
#include "agent/acl/MatchFields.h"
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

// ADDRESS or ADDRESS/LENGTH.
template < class P, class F >
void readPrefix( JsonFields & fields, const std::string & key, U32 lengthMax, P & prefix,
                 F && addressFrom ) {
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
void readProtocol( JsonFields & fields, const std::string & key, FieldMatch< U8 > & match ) {
  match.mask = 0xFF;
  if ( fields.find( key )->kind == JsonNode::Kind::integer ) {
    match.value = static_cast< U8 >( fields.number( key, 0, 0xFF ) );
    return;
  }
  const std::pair< const char *, U8 > names[] = { { "tcp", protocolTcp },
                                                  { "udp", protocolUdp },
                                                  { "icmp", protocolIcmp },
                                                  { "icmp6", protocolIcmp6 } };
  const std::string name = fields.text( key );
  for ( const auto & [ known, number ] : names ) {
    if ( name == known ) {
      match.value = number;
      return;
    }
  }
  failValue( fields, key, "a number from 0 to 255, or tcp, udp, icmp or icmp6" );
}

// A number, or "LOW-HIGH".
void readPorts( JsonFields & fields, const std::string & key, PortRange & range ) {
  if ( fields.find( key )->kind == JsonNode::Kind::integer ) {
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

void readFlags( JsonFields & fields, const std::string & key, FieldMatch< U8 > & match ) {
  JsonFields flags( fields.file(), *fields.find( key ), fmt::format( "\"{}\"", key ) );
  match.mask = static_cast< U8 >( readHexOr( flags, "mask", 0xFF, 0xFF ) );
  match.value = static_cast< U8 >( readHex( flags, "value", 0xFF ) & match.mask );
  flags.finish();
}

void readIcmp( JsonFields & fields, const std::string & key, FieldMatch< U16 > & match ) {
  JsonFields icmp( fields.file(), *fields.find( key ), fmt::format( "\"{}\"", key ) );
  match = { static_cast< U16 >( icmp.number( "type", 0, 0xFF ) << 8 ), 0xFF00 };
  if ( icmp.find( "code" ) != nullptr ) {
    match.value |= static_cast< U16 >( icmp.number( "code", 0, 0xFF ) );
    match.mask = 0xFFFF;
  }
  icmp.finish();
}

void readEtherType( JsonFields & fields, const std::string & key, FieldMatch< U16 > & match ) {
  match = { static_cast< U16 >( readHex( fields, key, 0xFFFF ) ), 0xFFFF };
  if ( match.value < 0x600 )
    failValue( fields, key, "0x600 or above: what is below is a length" );
}

void readNumber( JsonFields & fields, const std::string & key, U32 width,
                 FieldMatch< U16 > & match ) {
  const auto mask = static_cast< U16 >( ( 1U << width ) - 1 );
  match = { static_cast< U16 >( fields.number( key, 0, mask ) ), mask };
}

void readValue( JsonFields & fields, const MatchField & field, AclRule & rule ) {
  const std::string key = field.name;
  switch ( field.text ) {
    case FieldText::ip4Prefix:
      return readPrefix( fields, key, field.width, valueOf< Prefix >( field, rule ), ip4FromText );
    case FieldText::ip6Prefix:
      return readPrefix( fields, key, field.width, valueOf< Prefix6 >( field, rule ), ip6FromText );
    case FieldText::mac:
      return readMac( fields, key, valueOf< FieldMatch< U64 > >( field, rule ) );
    case FieldText::protocol:
      return readProtocol( fields, key, valueOf< FieldMatch< U8 > >( field, rule ) );
    case FieldText::ports:
      return readPorts( fields, key, valueOf< PortRange >( field, rule ) );
    case FieldText::flags:
      return readFlags( fields, key, valueOf< FieldMatch< U8 > >( field, rule ) );
    case FieldText::icmp:
      return readIcmp( fields, key, valueOf< FieldMatch< U16 > >( field, rule ) );
    case FieldText::etherType:
      return readEtherType( fields, key, valueOf< FieldMatch< U16 > >( field, rule ) );
    case FieldText::number:
      return readNumber( fields, key, field.width, valueOf< FieldMatch< U16 > >( field, rule ) );
  }
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
  for ( const MatchField & field : matchFields() ) {
    if ( !field.isIn( kind ) || fields.find( field.name ) == nullptr )
      continue;
    readValue( fields, field, rule );
    if ( const char * protocol = missingProtocol( field, rule ) )
      fields.fail( fields.line( field.name ),
                   fmt::format( "\"{}\" needs the protocol {}", field.name, protocol ) );
  }
  if ( use != AclUse::filter )
    readUdfs( fields, kind, rule );
}

}  // namespace Agent
