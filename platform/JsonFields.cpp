#include "platform/JsonFields.h"

#include <fmt/core.h>

#include <algorithm>

#include "platform/InputError.h"
#include "platform/NearNames.h"

namespace Platform {

JsonFields::JsonFields( const std::string & file, const JsonNode & node, const std::string & what,
                        Modules modules )
    : file_( file ),
      node_( node ),
      what_( what ),
      modules_( modules ),
      read_( node.members.size() ) {
  if ( node.kind != JsonNode::Kind::object )
    throw InputError( file, node.place(),
                      fmt::format( "{} must be an object, not {}", what, jsonShown( node ) ) );
}

void JsonFields::fail( Place place, const std::string & message ) const {
  throw InputError( file_, place, message );
}

bool JsonFields::isNamed( std::string_view name, std::string_view key ) const {
  if ( name.size() <= key.size() || !name.ends_with( key ) )
    return name == key;
  name.remove_suffix( key.size() );
  return std::any_of( modules_.begin(), modules_.end(), [ name ]( std::string_view module ) {
    return name.size() == module.size() + 1 && name.starts_with( module ) && name.back() == ':';
  } );
}

Place JsonFields::place( const std::string & key ) const {
  for ( const auto & [ name, value ] : node_.members )
    if ( isNamed( name, key ) )
      return value.place();
  return node_.place();
}

const JsonNode * JsonFields::find( const std::string & key ) {
  for ( size_t i = 0; i < node_.members.size(); ++i ) {
    if ( !isNamed( node_.members[ i ].name, key ) )
      continue;
    read_[ i ] = true;
    return &node_.members[ i ].value;
  }
  absent_.append( key ).push_back( ' ' );
  return nullptr;
}

const JsonNode & JsonFields::need( const std::string & key ) {
  const JsonNode * value = find( key );
  if ( value == nullptr )
    fail( node_.place(), fmt::format( "{} has no \"{}\"", what_, key ) );
  return *value;
}

std::string JsonFields::text( const std::string & key ) {
  return jsonText( file_, need( key ), fmt::format( "\"{}\"", key ) );
}

std::string JsonFields::text( const std::string & key, const std::string & absent ) {
  const JsonNode * value = find( key );
  return value == nullptr ? absent : jsonText( file_, *value, fmt::format( "\"{}\"", key ) );
}

U32 JsonFields::number( const std::string & key, U32 low, U32 high ) {
  const JsonNode & value = need( key );
  if ( value.kind != JsonNode::Kind::integer || value.integer < low || value.integer > high )
    fail( value.place(), fmt::format( "\"{}\" must be a whole number from {} to {}, not {}", key,
                                      low, high, jsonShown( value ) ) );
  return static_cast< U32 >( value.integer );
}

U32 JsonFields::number( const std::string & key, U32 low, U32 high, U32 absent ) {
  return find( key ) == nullptr ? absent : number( key, low, high );
}

bool JsonFields::flag( const std::string & key ) {
  const JsonNode * value = find( key );
  if ( value != nullptr && value->kind != JsonNode::Kind::boolean )
    fail( value->place(),
          fmt::format( "\"{}\" must be true or false, not {}", key, jsonShown( *value ) ) );
  return value != nullptr && value->boolean;
}

const std::vector< JsonNode > & JsonFields::list( const std::string & key ) {
  const JsonNode & value = need( key );
  if ( value.kind != JsonNode::Kind::array )
    fail( value.place(), fmt::format( "\"{}\" must be a list, not {}", key, jsonShown( value ) ) );
  return value.elements;
}

const JsonMember * JsonFields::unread() const {
  const auto first = std::find( read_.begin(), read_.end(), false );
  return first == read_.end() ? nullptr : &node_.members[ first - read_.begin() ];
}

std::string JsonFields::keysLike( const std::string & wrong ) const {
  std::vector< std::string_view > keys;
  for ( std::string_view rest = absent_; !rest.empty();
        rest.remove_prefix( keys.back().size() + 1 ) )
    keys.push_back( rest.substr( 0, rest.find( ' ' ) ) );
  for ( size_t i = 0; i < read_.size(); ++i )
    if ( read_[ i ] )
      keys.push_back( node_.members[ i ].name );
  return keys.empty() ? "none" : nearNames( std::move( keys ), wrong );
}

void JsonFields::finish() const {
  if ( const JsonMember * member = unread() )
    fail( member->value.place(), fmt::format( "{} has an unknown key \"{}\"; it can have {}", what_,
                                              member->name, keysLike( member->name ) ) );
}

std::string jsonShown( const JsonNode & node ) {
  switch ( node.kind ) {
    case JsonNode::Kind::boolean:
      return node.boolean ? "true" : "false";
    case JsonNode::Kind::integer:
      return std::to_string( node.integer );
    case JsonNode::Kind::number:
      return node.string;
    case JsonNode::Kind::string:
      return fmt::format( "\"{}\"", node.string );
    case JsonNode::Kind::array:
    case JsonNode::Kind::arrayRows:
      return "a list";
    case JsonNode::Kind::object:
    case JsonNode::Kind::objectRows:
      return "an object";
    default:
      return "null";
  }
}

const std::string & jsonText( const std::string & file, const JsonNode & node,
                              const std::string & what ) {
  if ( node.kind != JsonNode::Kind::string )
    throw InputError( file, node.place(),
                      fmt::format( "{} must be a string, not {}", what, jsonShown( node ) ) );
  const auto isControl = []( char c ) {
    return static_cast< unsigned char >( c ) < ' ' || c == 0x7F;
  };
  if ( std::any_of( node.string.begin(), node.string.end(), isControl ) )
    throw InputError( file, node.place(), what + " must not have control characters" );
  return node.string;
}

}  // namespace Platform
