#include "platform/JsonFields.h"

#include <fmt/core.h>

#include <algorithm>

#include "platform/InputError.h"

namespace Platform {

JsonFields::JsonFields( const std::string & file, const JsonNode & node, const std::string & what )
    : file_( file ), node_( node ), what_( what ) {
  if ( node.kind != JsonNode::Kind::object )
    throw InputError( file, node.line, what + " must be an object" );
}

void JsonFields::fail( U32 line, const std::string & message ) const {
  throw InputError( file_, line, message );
}

U32 JsonFields::line( const std::string & key ) const {
  for ( const auto & [ name, value ] : node_.members )
    if ( name == key )
      return value.line;
  return node_.line;
}

const JsonNode * JsonFields::find( const std::string & key ) {
  read_.insert( key );
  for ( const auto & [ name, value ] : node_.members )
    if ( name == key )
      return &value;
  return nullptr;
}

const JsonNode & JsonFields::need( const std::string & key ) {
  const JsonNode * value = find( key );
  if ( value == nullptr )
    fail( node_.line, fmt::format( "{} has no \"{}\"", what_, key ) );
  return *value;
}

std::string JsonFields::text( const std::string & key ) {
  return jsonText( file_, need( key ) );
}

std::string JsonFields::text( const std::string & key, const std::string & absent ) {
  const JsonNode * value = find( key );
  return value == nullptr ? absent : jsonText( file_, *value );
}

U32 JsonFields::number( const std::string & key, U32 low, U32 high ) {
  const JsonNode & value = need( key );
  if ( value.kind != JsonNode::Kind::integer || value.integer < low || value.integer > high )
    fail( value.line, fmt::format( "\"{}\" must be a number from {} to {}", key, low, high ) );
  return static_cast< U32 >( value.integer );
}

U32 JsonFields::number( const std::string & key, U32 low, U32 high, U32 absent ) {
  return find( key ) == nullptr ? absent : number( key, low, high );
}

bool JsonFields::flag( const std::string & key ) {
  const JsonNode * value = find( key );
  if ( value != nullptr && value->kind != JsonNode::Kind::boolean )
    fail( value->line, fmt::format( "\"{}\" must be true or false", key ) );
  return value != nullptr && value->boolean;
}

const std::vector< JsonNode > & JsonFields::list( const std::string & key ) {
  const JsonNode & value = need( key );
  if ( value.kind != JsonNode::Kind::array )
    fail( value.line, fmt::format( "\"{}\" must be a list", key ) );
  return value.elements;
}

void JsonFields::finish() const {
  for ( const auto & [ name, value ] : node_.members )
    if ( !read_.contains( name ) )
      fail( value.line, fmt::format( "{} has an unknown key \"{}\"", what_, name ) );
}

const std::string & jsonText( const std::string & file, const JsonNode & node ) {
  if ( node.kind != JsonNode::Kind::string )
    throw InputError( file, node.line, "a string is expected here" );
  const auto isControl = []( char c ) {
    return static_cast< unsigned char >( c ) < ' ' || c == 0x7F;
  };
  if ( std::any_of( node.string.begin(), node.string.end(), isControl ) )
    throw InputError( file, node.line, "a string must not have control characters" );
  return node.string;
}

}  // namespace Platform
