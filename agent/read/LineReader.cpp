#include "agent/read/LineReader.h"

#include <fmt/core.h>

#include <charconv>

#include "platform/InputError.h"

namespace Agent {

namespace {

void splitWords( std::string_view text, std::vector< std::string_view > & words ) {
  words.clear();
  for ( size_t at = wordAt( text, 0 ); at != text.size(); ) {
    const size_t end = wordEnd( text, at );
    words.push_back( text.substr( at, end - at ) );
    at = wordAt( text, end );
  }
}

}  // namespace

bool WordLines::next() {
  while ( lines_.next() ) {
    splitWords( lines_.line(), line_.words );
    line_.number = lines_.number();
    line_.text = lines_.line();
    if ( !line_.words.empty() )
      return true;
  }
  return false;
}

void LineReader::fail( const std::string & what ) const {
  fail( line_.words.front(), what );
}

void LineReader::fail( std::string_view word, const std::string & what ) const {
  const auto column = static_cast< U32 >( word.data() - line_.text.data() ) + 1;
  throw Platform::InputError( file_, Platform::Place{ line_.number, column }, what );
}

U32 LineReader::digits( std::string_view word, int base, U32 max, const std::string & what ) const {
  U32 value = 0;
  const auto [ end, error ] =
      std::from_chars( word.data(), word.data() + word.size(), value, base );
  const bool whole = end == word.data() + word.size();
  if ( !whole || ( error != std::errc() && error != std::errc::result_out_of_range ) )
    fail( word, fmt::format( "{} \"{}\" is not a number", what, word ) );
  if ( error != std::errc() || value > max )
    fail( word, fmt::format( "{} \"{}\" is above {}", what, word, max ) );
  return value;
}

U32 LineReader::decimal( std::string_view word, U32 max, const std::string & what ) const {
  return digits( word, 10, max, what );
}

U32 LineReader::hex( std::string_view word, U32 max, const std::string & what ) const {
  if ( !word.starts_with( "0x" ) && !word.starts_with( "0X" ) )
    fail( word, fmt::format( "{} \"{}\" does not begin with 0x", what, word ) );
  return digits( word.substr( 2 ), 16, max, what );
}

U32 LineReader::address( std::string_view word, const std::string & what ) const {
  U32 value = 0;
  std::string_view rest = word;
  for ( int byte = 0; byte < 4; ++byte ) {
    const size_t dot = byte < 3 ? rest.find( '.' ) : rest.size();
    if ( dot == std::string_view::npos )
      fail( word, fmt::format( "{} \"{}\" is not an IPv4 address", what, word ) );
    value = value << 8 | decimal( rest.substr( 0, dot ), 255, what );
    rest = byte < 3 ? rest.substr( dot + 1 ) : std::string_view();
  }
  return value;
}

std::pair< std::string_view, std::string_view > LineReader::split(
    std::string_view word, char separator, const std::string & what ) const {
  const size_t at = word.find( separator );
  if ( at == std::string_view::npos || word.find( separator, at + 1 ) != std::string_view::npos )
    fail( word, fmt::format( "{} \"{}\" must hold one '{}'", what, word, separator ) );
  return { word.substr( 0, at ), word.substr( at + 1 ) };
}

}  // namespace Agent
