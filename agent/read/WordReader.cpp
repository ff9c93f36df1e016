#include "agent/read/WordReader.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>

#include "platform/NearNames.h"

namespace Agent {

namespace {

char lower( char c ) {
  return c >= 'A' && c <= 'Z' ? static_cast< char >( c - 'A' + 'a' ) : c;
}

bool isBlank( char c ) {
  return c == ' ' || c == '\t';
}

// The closing quote of a text that follows an opening one; npos: there is none.
size_t closingQuote( std::string_view line, size_t at ) {
  for ( ; at < line.size(); ++at )
    if ( line[ at ] == '\\' )
      ++at;
    else if ( line[ at ] == '"' )
      return at;
  return std::string_view::npos;
}

}  // namespace

bool TextLines::next() {
  if ( rest_.empty() )
    return false;
  const size_t end = rest_.find( '\n' );
  line_ = rest_.substr( 0, end );
  rest_ = end == rest_.npos ? std::string_view() : rest_.substr( end + 1 );
  if ( line_.ends_with( '\r' ) )
    line_.remove_suffix( 1 );
  ++number_;
  return true;
}

WordReader::WordReader( const std::string & file, U32 number, std::string_view line, Quotes quotes )
    : file_( &file ), number_( number ), line_( line ), quotes_( quotes ) {
  advance();
  last_ = at_;
}

void WordReader::advance() {
  at_ = wordAt( line_, end_ );
  more_ = at_ != line_.size();
  if ( more_ && quotes_ == Quotes::group && line_[ at_ ] == '"' ) {
    const size_t close = closingQuote( line_, at_ + 1 );
    open_ = close == line_.npos;
    next_ = line_.substr( at_ + 1, close - at_ - 1 );
    end_ = open_ ? line_.size() : close + 1;
    return;
  }
  end_ = wordEnd( line_, at_ );
  next_ = line_.substr( at_, end_ - at_ );
}

std::string_view WordReader::next( const std::string & what ) {
  last_ = at_;
  if ( !more_ )
    fail( what + " is missing" );
  if ( open_ )
    fail( "the quoted text does not end" );
  const std::string_view word = next_;
  advance();
  return word;
}

bool WordReader::take( std::string_view word ) {
  if ( !more_ || open_ || !sameWord( next_, word ) )
    return false;
  last_ = at_;
  advance();
  return true;
}

U32 WordReader::number( const std::string & what, U32 max ) {
  const std::string_view word = next( what );
  return numberIn( word, what, max );
}

U32 WordReader::numberIn( std::string_view digits, const std::string & what, U32 max ) const {
  U32 value = 0;
  if ( !isNumber( digits ) )
    fail( fmt::format( "{} \"{}\" is not a number", what, digits ) );
  const auto [ end, error ] =
      std::from_chars( digits.data(), digits.data() + digits.size(), value );
  if ( error != std::errc() || value > max )
    fail( fmt::format( "{} {} is above {}", what, digits, max ) );
  return value;
}

Platform::Place WordReader::place() const {
  return { number_, static_cast< U32 >( last_ ) + 1 };
}

void WordReader::fail( const std::string & what ) const {
  throw Platform::InputError( *file_, place(), what );
}

void WordReader::failName( const std::string & what, std::string_view name,
                           std::vector< std::string_view > names ) const {
  fail( fmt::format( "there is no {} \"{}\"; there are {}", what, name,
                     Platform::nearNames( std::move( names ), name ) ) );
}

size_t wordAt( std::string_view text, size_t at ) {
  while ( at < text.size() && isBlank( text[ at ] ) )
    ++at;
  return at;
}

size_t wordEnd( std::string_view text, size_t at ) {
  while ( at < text.size() && !isBlank( text[ at ] ) )
    ++at;
  return at;
}

bool sameWord( std::string_view a, std::string_view b ) {
  return std::equal(
      a.begin(), a.end(), b.begin(), b.end(),
      []( char one, char other ) { return lower( one ) == lower( other ); } );
}

bool isNumber( std::string_view word ) {
  return !word.empty() &&
         std::all_of(
             word.begin(), word.end(), []( char c ) { return c >= '0' && c <= '9'; } );
}

}  // namespace Agent
