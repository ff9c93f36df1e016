#include "sdkrecord/Leaf.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

#include "sdktext/CallText.h"
#include "softasic/QualifierNames.h"

namespace SdkRecord {

namespace {

template < class... F >
struct Overloaded : F... {
  using F::operator()...;
};
template < class... F >
Overloaded( F... ) -> Overloaded< F... >;

[[noreturn]] void refuse( std::string_view text, const char * wanted ) {
  throw FormError( fmt::format( "\"{}\" is not {}", text, wanted ) );
}

std::string bytesText( std::span< const U8 > bytes ) {
  std::string text;
  for ( const U8 byte : bytes )
    text += fmt::format( "{:02x}", byte );
  return text;
}

std::vector< U8 > bytesOf( std::string_view text ) {
  std::vector< U8 > bytes( text.size() / 2 );
  for ( size_t i = 0; i < bytes.size(); ++i ) {
    const char * const end = text.data() + 2 * i + 2;
    if ( std::from_chars( end - 2, end, bytes[ i ], 16 ).ptr != end )
      refuse( text, "pairs of hexadecimal digits" );
  }
  if ( text.size() % 2 != 0 )
    refuse( text, "pairs of hexadecimal digits" );
  return bytes;
}

std::string setText( const Bits & bits ) {
  const auto end = static_cast< U32 >( bits.words.size() * 32 );
  if ( !bits.qualifiers )
    return SdkText::numbersText( end, [ & ]( U32 number ) { return bits.has( number ); } );
  std::string text;
  for ( U32 number = 0; number < end; ++number ) {
    if ( !bits.has( number ) )
      continue;
    const char * const name = SoftAsic::qualifierName( number );
    text += ( text.empty() ? "" : "," ) + ( name != nullptr ? name : std::to_string( number ) );
  }
  return "[" + text + "]";
}

void addMembers( const Bits & bits, std::string_view part ) {
  const size_t dash = part.find( '-' );
  const auto number =
      bits.qualifiers ? SoftAsic::qualifierNumber( std::string( part ) ) : std::optional< U32 >();
  const U64 first = number ? *number : numberOf( part.substr( 0, dash ) );
  const U64 last = dash == part.npos ? first : numberOf( part.substr( dash + 1 ) );
  if ( first > last || last >= bits.words.size() * 32 )
    refuse( part, "in the set's range" );
  for ( U64 member = first; member <= last; ++member )
    bits.words[ member / 32 ] |= 1U << ( member % 32 );
}

void readSet( const Bits & bits, std::string_view text ) {
  std::fill( bits.words.begin(), bits.words.end(), 0 );
  forEachPart( text, [ & ]( std::string_view part ) { addMembers( bits, part ); } );
}

void readNumber( const Number & number, std::string_view text ) {
  const U64 value = numberOf( text );
  if ( number.isBool && value > 1 )
    refuse( text, "0 or 1" );
  number.set( value );
  if ( number.get() != value )
    refuse( text, "a number of the argument's type" );
}

std::string unquoted( std::string_view text ) {
  if ( text.size() < 2 || text.front() != '"' || text.back() != '"' )
    refuse( text, "text in quotes" );
  text = text.substr( 1, text.size() - 2 );
  std::string plain;
  for ( size_t i = 0; i < text.size(); ++i ) {
    if ( text[ i ] != '\\' || i + 1 == text.size() ) {
      plain += text[ i ];
    } else if ( const char next = text[ ++i ]; next != 'x' ) {
      plain += next == 'n' ? '\n' : next;
    } else {
      const std::vector< U8 > byte = bytesOf( text.substr( i + 1, 2 ) );
      if ( byte.empty() )
        refuse( text, "text with \\xNN of two digits" );
      plain += static_cast< char >( byte[ 0 ] );
      i += 2;
    }
  }
  return plain;
}

}  // namespace

void forEachPart( std::string_view text, const std::function< void( std::string_view ) > & use ) {
  if ( text.size() < 2 || text.front() != '[' || text.back() != ']' )
    refuse( text, "a list in []" );
  for ( text = text.substr( 1, text.size() - 2 ); !text.empty(); ) {
    const size_t comma = text.find( ',' );
    use( text.substr( 0, comma ) );
    text.remove_prefix( comma == text.npos ? text.size() : comma + 1 );
  }
}

U64 Number::get() const {
  U64 value = 0;
  std::memcpy( &value, at, size );  // of a little-endian machine
  const U32 unused = 64 - 8 * size;
  return isSigned ? static_cast< U64 >( static_cast< S64 >( value << unused ) >> unused ) : value;
}

void Number::set( U64 value ) const {
  std::memcpy( at, &value, size );
}

U64 numberOf( std::string_view text ) {
  const char * const end = text.data() + text.size();
  U64 value = 0;
  S64 negative = 0;
  if ( text.starts_with( "0x" ) ) {
    if ( text.size() == 2 || std::from_chars( text.data() + 2, end, value, 16 ).ptr != end )
      refuse( text, "a number" );
    return value;
  }
  const auto read = text.starts_with( '-' ) ? std::from_chars( text.data(), end, negative )
                                            : std::from_chars( text.data(), end, value );
  if ( read.ec != std::errc() || read.ptr != end )
    refuse( text, "a number" );
  return value | static_cast< U64 >( negative );
}

std::string quoted( std::string_view text ) {
  std::string form = "\"";
  for ( const char c : text )
    if ( c == '"' || c == '\\' )
      form += { '\\', c };
    else if ( c == '\n' )
      form += "\\n";
    else if ( static_cast< U8 >( c ) < ' ' || static_cast< U8 >( c ) >= 127 )
      form += fmt::format( "\\x{:02x}", static_cast< U8 >( c ) );
    else
      form += c;
  return form + '"';
}

bool Leaf::isZero() const {
  return std::visit( Overloaded{
                         []( const Number & number ) { return number.get() == 0; },
                         []( const Bits & bits ) {
                           return std::all_of(
                               bits.words.begin(), bits.words.end(),
                               []( U32 word ) { return word == 0; } );
                         },
                         []( const Bytes & bytes ) {
                           return std::all_of(
                               bytes.begin(), bytes.end(), []( U8 byte ) { return byte == 0; } );
                         },
                         []( const auto * list ) { return list->empty(); },
                     },
                     value );
}

std::string Leaf::text() const {
  return std::visit(
      Overloaded{
          []( const Number & n ) { return SdkText::numberText( n.get(), n.isSigned ); },
          []( const Bits & bits ) { return setText( bits ); },
          []( const Bytes & bytes ) { return bytesText( bytes ); },
          []( const std::vector< U8 > * bytes ) { return bytesText( *bytes ); },
          []( const std::vector< int > * list ) {
            return fmt::format( "[{}]", fmt::join( *list, "," ) );
          },
          []( const std::string * text ) { return quoted( *text ); },
      },
      value );
}

void Leaf::read( std::string_view text ) const {
  std::visit( Overloaded{
                  [ & ]( const Number & number ) { readNumber( number, text ); },
                  [ & ]( const Bits & bits ) { readSet( bits, text ); },
                  [ & ]( const Bytes & bytes ) {
                    const std::vector< U8 > read = bytesOf( text );
                    if ( read.size() != bytes.size() )
                      refuse( text, "of the argument's length" );
                    std::copy( read.begin(), read.end(), bytes.begin() );
                  },
                  [ & ]( std::vector< U8 > * bytes ) { *bytes = bytesOf( text ); },
                  [ & ]( std::vector< int > * list ) {
                    list->clear();
                    forEachPart(
                        text,
                        [ & ]( std::string_view part ) {
                          int number = 0;
                          readNumber( numberAt( number ), part );
                          list->push_back( number );
                        } );
                  },
                  [ & ]( std::string * plain ) { *plain = unquoted( text ); },
              },
              value );
}

}  // namespace SdkRecord
