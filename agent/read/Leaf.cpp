#include "agent/read/Leaf.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>

#include "agent/acl/AddressText.h"
#include "agent/acl/Names.h"
#include "platform/InputError.h"
#include "platform/NearNames.h"

namespace Agent {

namespace {

using Platform::JsonNode;

constexpr U64 allBits = ~U64( 0 );
constexpr U32 etherTypeMin = 0x600;  // what is below is a length

// The upper `length` bits of 64.
U64 upperBits( U32 length ) {
  return length == 0 ? 0 : allBits << ( 64 - std::min( length, 64U ) );
}

FieldBits prefixMask( bool ip6, U32 length ) {
  if ( !ip6 )
    return { 0, upperBits( length ) >> 32 };
  return { upperBits( length ), upperBits( length - std::min( length, 64U ) ) };
}

struct Halves {
  std::string first;
  std::optional< std::string > second;
};

// Around the first separator.
Halves halvesOf( const std::string & text, std::string_view separator ) {
  const size_t at = text.find( separator );
  if ( at == text.npos )
    return { text, std::nullopt };
  return { text.substr( 0, at ), text.substr( at + separator.size() ) };
}

}  // namespace

std::optional< U32 > numberOf( std::string_view text ) {
  const bool hex = text.starts_with( "0x" ) || text.starts_with( "0X" );
  if ( hex )
    text.remove_prefix( 2 );
  U32 value = 0;
  const auto [ end, error ] =
      std::from_chars( text.data(), text.data() + text.size(), value, hex ? 16 : 10 );
  if ( text.empty() || error != std::errc() || end != text.data() + text.size() )
    return std::nullopt;
  return value;
}

std::optional< Leaf > findLeaf( Platform::JsonFields & fields, const char * key ) {
  const JsonNode * node = fields.find( key );
  if ( node == nullptr )
    return std::nullopt;
  return Leaf( fields.file(), key, *node );
}

Leaf needLeaf( Platform::JsonFields & fields, const char * key ) {
  return { fields.file(), key, fields.need( key ) };
}

void Leaf::fail( const std::string & expected ) const {
  throw Platform::InputError(
      file_, node_.place(),
      fmt::format( "\"{}\" must be {}, not {}", key_, expected, Platform::jsonShown( node_ ) ) );
}

void Leaf::failName( const std::string & expected, std::string_view name,
                     std::vector< std::string_view > names ) const {
  fail( fmt::format( "{} ({})", expected, Platform::nearNames( std::move( names ), name ) ) );
}

void Leaf::refuse( const std::string & why ) const {
  throw Platform::InputError( file_, node_.place(), fmt::format( "\"{}\" {}", key_, why ) );
}

const std::string & Leaf::text() const {
  return Platform::jsonText( file_, node_, fmt::format( "\"{}\"", key_ ) );
}

U32 Leaf::number( U32 low, U32 high ) const {
  std::optional< S64 > value;
  if ( isText() )
    value = numberOf( node_.string );
  else if ( node_.kind == JsonNode::Kind::integer )
    value = node_.integer;
  if ( !value || *value < low || *value > high )
    fail( fmt::format( "a whole number from {} to {}", low, high ) );
  return static_cast< U32 >( *value );
}

std::string_view Leaf::identity() const {
  const std::string_view name = text();
  const size_t colon = name.find( ':' );
  return colon == name.npos ? name : name.substr( colon + 1 );
}

AddressMatch Leaf::address() const {
  if ( !isText() )
    fail( "an address or a prefix" );
  const auto [ address, lengthText ] = halvesOf( text(), "/" );
  const auto ip4 = ip4FromText( address );
  const auto ip6 = ip6FromText( address );
  if ( !ip4 && !ip6 )
    fail( "an address or a prefix" );
  const U32 width = ip6 ? 128 : 32;
  const auto length = lengthText ? numberOf( *lengthText ) : width;
  if ( !length || *length > width ||
       ( lengthText && lengthText->find_first_not_of( "0123456789" ) != std::string::npos ) )
    fail( fmt::format( "ADDRESS/0 to ADDRESS/{}", width ) );
  AddressMatch match;
  match.ip6 = ip6.has_value();
  match.bits.mask = prefixMask( match.ip6, *length );
  match.bits.value = ip6 ? fieldBits( *ip6 ) : FieldBits{ 0, *ip4 };
  const FieldBits & value = match.bits.value;
  const FieldBits & mask = match.bits.mask;
  if ( ( value.high & ~mask.high ) != 0 || ( value.low & ~mask.low ) != 0 )
    refuse( fmt::format( "must be a prefix: \"{}\" has bits beyond its length", text() ) );
  return match;
}

TernaryBits Leaf::address4() const {
  const AddressMatch match = address();
  if ( match.ip6 )
    fail( "an IPv4 address or prefix" );
  return match.bits;
}

TernaryBits Leaf::address6() const {
  const AddressMatch match = address();
  if ( !match.ip6 )
    fail( "an IPv6 address or prefix" );
  return match.bits;
}

TernaryBits Leaf::masked( U32 max, U32 defaultMask ) const {
  const std::string whole = isText() ? text() : std::to_string( number( 0, max ) );
  const auto [ valueText, maskText ] = halvesOf( whole, "/" );
  const auto value = numberOf( valueText );
  const auto mask = maskText ? numberOf( *maskText ) : defaultMask;
  if ( !value || !mask || *value > max || *mask > max )
    fail( fmt::format( "VALUE or VALUE/MASK from 0 to {}", max ) );
  if ( ( *value & ~*mask ) != 0 )
    refuse( fmt::format( "must be VALUE/MASK: {} has bits outside of its mask {:#x}", valueText,
                         *mask ) );
  return exactly( *value, *mask );
}

TernaryBits Leaf::mac() const {
  if ( !isText() )
    fail( "a MAC address, or ADDRESS/MASK" );
  const auto [ valueText, maskText ] = halvesOf( text(), "/" );
  const auto value = macFromText( valueText );
  const auto mask = maskText ? macFromText( *maskText ) : std::optional( allBits >> 16 );
  if ( !value || !mask )
    fail( "a MAC address, or ADDRESS/MASK" );
  if ( ( *value & ~*mask ) != 0 )
    refuse( fmt::format( "must be ADDRESS/MASK: \"{}\" has bits outside of its mask", text() ) );
  return { { 0, *value }, { 0, *mask } };
}

TernaryBits Leaf::macAddress() const {
  if ( isText() && text().find( '/' ) != std::string::npos )
    fail( "a MAC address" );
  return mac();
}

AnyRange Leaf::range( U32 max, std::string_view separator ) const {
  if ( !isText() || text().find( separator ) == std::string::npos ) {
    const U32 value = number( 0, max );
    return { value, value };
  }
  const auto [ lowText, highText ] = halvesOf( text(), separator );
  const auto low = numberOf( lowText );
  const auto high = numberOf( *highText );
  if ( !low || !high || *low > *high || *high > max )
    fail( fmt::format( "a number, or LOW{}HIGH, from 0 to {}", separator, max ) );
  return { *low, *high };
}

TernaryBits Leaf::etherType() const {
  std::optional< U32 > type;
  if ( isText() && !numberOf( text() ) ) {
    std::string_view name = identity();
    if ( name.starts_with( "ETHERTYPE_" ) )
      name.remove_prefix( std::string_view( "ETHERTYPE_" ).size() );
    type = etherTypeFromText( name );
    if ( !type )
      failName( "an ethertype", name, etherTypeNames() );
  } else {
    type = number( etherTypeMin, 0xFFFF );
  }
  if ( *type == 0x8100 || *type == 0x88A8 )
    refuse( "is of a VLAN tag: rules match the ethertype after the tags" );
  return exactly( *type, 0xFFFF );
}

U8 Leaf::tcpFlag() const {
  const std::string_view name = identity();
  const auto flag = tcpFlagFromText( name.starts_with( "TCP_" ) ? name.substr( 4 ) : name );
  if ( !flag )
    failName( "a flag of TCP", name, tcpFlagNames() );
  return *flag;
}

std::vector< Leaf > Leaf::elements() const {
  if ( node_.kind != JsonNode::Kind::array )
    fail( "a list" );
  std::vector< Leaf > leaves;
  for ( const JsonNode & element : node_.elements )
    leaves.emplace_back( file_, key_, element );
  return leaves;
}

Platform::JsonRows Leaf::rows() const {
  if ( node_.kind != JsonNode::Kind::arrayRows )
    fail( "a list" );
  return { file_, node_ };
}

Platform::JsonRows Leaf::namedRows() const {
  if ( node_.kind != JsonNode::Kind::objectRows )
    fail( "an object" );
  return { file_, node_ };
}

void finishRefusing( const Platform::JsonFields & fields,
                     std::span< const std::string_view > unmatched ) {
  const Platform::JsonMember * member = fields.unread();
  if ( member == nullptr )
    return;
  const std::string_view name =
      std::string_view( member->name ).substr( member->name.find( ':' ) + 1 );
  if ( std::find( unmatched.begin(), unmatched.end(), name ) != unmatched.end() )
    Leaf( fields.file(), member->name, member->value )
        .refuse( "cannot be matched by a TCAM entry" );
  fields.finish();
}

}  // namespace Agent
