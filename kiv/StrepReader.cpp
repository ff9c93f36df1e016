#include "kiv/StrepReader.h"

#include <algorithm>
#include <charconv>

#include "kiv/Strep.h"

namespace Kiv {
namespace {

bool isDigit( char c ) {
  return c >= '0' && c <= '9';
}

bool isWordCharacter( char c ) {
  return isDigit( c ) || ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) || c == '_';
}

std::size_t lengthWhile( std::string_view text, bool ( *holds )( char ) ) {
  return static_cast< std::size_t >( std::find_if_not( text.begin(), text.end(), holds ) -
                                     text.begin() );
}

}  // namespace

std::string_view StrepReader::take( std::size_t count ) {
  std::string_view taken = rest_.substr( 0, count );
  rest_.remove_prefix( count );
  return taken;
}

bool StrepReader::accept( std::string_view literal ) {
  if ( !rest_.starts_with( literal ) )
    return false;
  rest_.remove_prefix( literal.size() );
  return true;
}

void StrepReader::expect( std::string_view literal ) {
  if ( !accept( literal ) )
    fail( literal );
}

void StrepReader::expectEnd() const {
  if ( !rest_.empty() )
    fail( "the end" );
}

StrepInteger StrepReader::integer( std::string_view expected ) {
  const std::size_t sign = rest_.starts_with( '-' ) ? 1 : 0;
  const std::string_view digits =
      rest_.substr( sign, lengthWhile( rest_.substr( sign ), isDigit ) );
  const bool needless = digits.starts_with( '0' ) && ( digits.size() > 1 || sign != 0 );
  if ( digits.empty() || needless )
    fail( expected );
  StrepInteger number;
  number.negative = sign != 0;
  number.huge =
      std::from_chars( digits.data(), digits.data() + digits.size(), number.magnitude ).ec !=
      std::errc();
  number.text = take( sign + digits.size() );
  return number;
}

char StrepReader::escapedByte() {
  constexpr std::string_view letters = "\\'nrt";
  constexpr std::string_view plain = "\\'\n\r\t";
  if ( const std::size_t at = rest_.empty() ? letters.npos : letters.find( rest_[ 0 ] );
       at != letters.npos ) {
    take( 1 );
    return plain[ at ];
  }
  U8 byte = 0;
  const char * const digits = rest_.data() + 1;
  if ( rest_.size() < 3 || rest_[ 0 ] != 'x' ||
       std::from_chars( digits, digits + 2, byte, 16 ).ptr != digits + 2 )
    fail( "an escape after \\" );
  take( 3 );
  return static_cast< char >( byte );
}

String8 StrepReader::string() {
  if ( !accept( "'" ) )
    fail( "a text in single quotes" );
  String8 text;
  while ( !accept( "'" ) )
    if ( accept( "\\" ) )
      text += escapedByte();
    else if ( rest_.empty() || rest_[ 0 ] < 0x20 || rest_[ 0 ] > 0x7e )
      fail( "the closing quote" );
    else
      text += take( 1 );
  return text;
}

std::string_view StrepReader::word() {
  return take( lengthWhile( rest_, isWordCharacter ) );
}

void StrepReader::fail( std::string_view expected ) const {
  constexpr std::size_t shown = 40;
  String8 message( "expected " );
  message += expected;
  message += rest_.empty() ? String8( " where the text ends" )
                           : " at " + stringStrep( rest_.substr( 0, shown ) );
  throw TypeException( message );
}

}  // namespace Kiv
