#include "agent/read/RuleMatchReader.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>

#include "agent/acl/MatchFields.h"
#include "agent/read/FieldValueReader.h"

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

constexpr U32 udfOffsetMax = 127;  // from the start of the L3 header

[[noreturn]] void failValue( JsonFields & fields, const std::string & key,
                             const std::string & expected ) {
  fields.fail( fields.place( key ), fmt::format( "\"{}\" must be {}", key, expected ) );
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
  udf.value = readHex( fields, "value", 0xFFFFFFFF );
  if ( ( udf.value & ~udf.mask ) != 0 )
    fields.fail( fields.place( "value" ), "\"value\" has bits outside of the mask" );
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
  if ( node->elements.empty() )
    fields.fail( node->place(), "\"udf\" is an empty list" );
  for ( const JsonNode & element : node->elements )
    rule.udf.push_back( readUdf( fields.file(), element, kind ) );
}

bool isPorts( const MatchField & field ) {
  return field.id == FieldId::inPorts || field.id == FieldId::outPorts;
}

// True if a value, or one of a list, is no range of numbers: the platform knows what it names.
bool anyName( const JsonNode & node ) {
  if ( node.kind == JsonNode::Kind::array )
    return std::any_of( node.elements.begin(), node.elements.end(), anyName );
  return node.kind == JsonNode::Kind::string &&
         node.string.find_first_not_of( "0123456789-<>!" ) != std::string::npos;
}

// With commas.
std::string joined( const JsonNode & node ) {
  if ( node.kind == JsonNode::Kind::string )
    return node.string;
  std::string text;
  for ( const JsonNode & element : node.elements )
    text += ( text.empty() ? "" : "," ) + ( element.kind == JsonNode::Kind::string
                                                ? element.string
                                                : Platform::jsonShown( element ) );
  return text;
}

}  // namespace

void readRuleMatch( JsonFields & fields, AclKind kind, AclUse use, AclRule & rule,
                    std::vector< NamedPorts > & ports ) {
  for ( const MatchField & field : matchFields() ) {
    const JsonNode * node = field.isIn( kind ) ? fields.find( field.name ) : nullptr;
    if ( node == nullptr )
      continue;
    if ( isPorts( field ) && anyName( *node ) )
      ports.push_back( { 0, joined( *node ), node->line, node->column, field.id } );
    else
      readFieldValue( fields, kind, field, *node, rule );
    if ( const char * protocol = missingProtocol( field, rule ) )
      fields.fail( fields.place( field.name ),
                   fmt::format( "\"{}\" needs the protocol {}", field.name, protocol ) );
  }
  if ( use != AclUse::filter && kind != AclKind::ipv6 )
    readUdfs( fields, kind, rule );
}

}  // namespace Agent
