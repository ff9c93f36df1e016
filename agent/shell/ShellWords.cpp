#include "agent/shell/ShellWords.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/acl/PoliceRate.h"
#include "agent/shell/ShellError.h"

namespace Agent {

namespace {

constexpr const char * blanks = " \t\r";

// Where the word at the start of the text ends; the size of the text if its quote does not end.
size_t wordSize( std::string_view text, bool & open ) {
  char quote = 0;
  size_t at = 0;
  for ( ; at < text.size(); ++at ) {
    const char c = text[ at ];
    if ( quote != 0 )
      quote = c == quote ? '\0' : quote;
    else if ( c == '"' || c == '\'' )
      quote = c;
    else if ( c == ' ' || c == '\t' || c == '\r' )
      break;
  }
  open = quote != 0;
  return at;
}

std::string_view withoutComment( std::string_view line, bool partial ) {
  size_t at = 0;
  while ( ( at = line.find_first_not_of( blanks, at ) ) != std::string_view::npos ) {
    if ( line[ at ] == '#' )
      return line.substr( 0, at );
    bool open = false;
    at += wordSize( line.substr( at ), open );
    if ( open && !partial )
      throw ShellError( "a quote does not end" );
  }
  return line;
}

}  // namespace

ShellWords::ShellWords( std::string_view line, bool partial )
    : rest_( withoutComment( line, partial ) ) {
  skipBlanks();
}

void ShellWords::skipBlanks() {
  rest_.remove_prefix( std::min( rest_.find_first_not_of( blanks ), rest_.size() ) );
}

std::optional< std::string > ShellWords::nextIfAny() {
  if ( rest_.empty() )
    return std::nullopt;
  bool open = false;
  const size_t size = wordSize( rest_, open );
  std::string word;
  char quote = 0;
  for ( const char c : rest_.substr( 0, size ) )
    if ( quote == 0 && ( c == '"' || c == '\'' ) )
      quote = c;
    else if ( c == quote )
      quote = 0;
    else
      word += c;
  rest_.remove_prefix( size );
  skipBlanks();
  return word;
}

std::string ShellWords::next( const std::string & what ) {
  auto word = nextIfAny();
  if ( !word )
    throw ShellError( fmt::format( "{} is missing", what ) );
  return *word;
}

bool ShellWords::take( std::string_view word ) {
  ShellWords ahead = *this;
  if ( ahead.nextIfAny() != word )
    return false;
  *this = ahead;
  return true;
}

U32 ShellWords::number( const std::string & what, U64 max ) {
  const std::string word = next( what );
  const auto number = numberFromText( word );
  if ( max == 0 )
    throw ShellError( fmt::format( "{} {}: there is none", what, word ) );
  if ( !number || *number == 0 || *number > max )
    throw ShellError( fmt::format( "{} is 1 to {}, not {}", what, max, word ) );
  return static_cast< U32 >( *number );
}

std::string ShellWords::rest( const std::string & what ) {
  if ( rest_.empty() )
    throw ShellError( fmt::format( "{} is missing", what ) );
  std::string text( rest_.substr( 0, rest_.find_last_not_of( blanks ) + 1 ) );
  rest_ = {};
  return text;
}

void ShellWords::finish() const {
  if ( !rest_.empty() )
    throw ShellError( fmt::format( "unexpected: {}", rest_ ) );
}

}  // namespace Agent
