#include "sdkrecord/Words.h"

#include <fmt/format.h>

namespace SdkRecord {

std::string_view Words::peek() const {
  const size_t begin = rest_.find_first_not_of( ' ' );
  if ( begin == rest_.npos )
    return {};
  size_t end = begin;
  for ( bool inQuotes = false; end < rest_.size() && ( inQuotes || rest_[ end ] != ' ' ); ++end )
    if ( rest_[ end ] == '"' )
      inQuotes = !inQuotes;
    else if ( inQuotes && rest_[ end ] == '\\' && end + 1 < rest_.size() )
      ++end;
  return rest_.substr( begin, end - begin );
}

std::string_view Words::next() {
  const std::string_view word = peek();
  rest_.remove_prefix( word.empty() ? rest_.size()
                                    : static_cast< size_t >( word.end() - rest_.begin() ) );
  return word;
}

std::string_view Words::value( std::string_view name ) {
  const std::string_view word = peek();
  if ( word.size() <= name.size() || !word.starts_with( name ) || word[ name.size() ] != '=' )
    throw FormError( fmt::format( "{}=VALUE is expected, not \"{}\"", name, word ) );
  next();
  return word.substr( name.size() + 1 );
}

void Words::read( const std::vector< Leaf > & leaves ) {
  for ( const Leaf & leaf : leaves ) {
    const std::string_view word = peek();
    const bool there = word.size() > leaf.path.size() && word.starts_with( leaf.path ) &&
                       word[ leaf.path.size() ] == '=';
    if ( !there && leaf.optional )
      continue;
    const std::string_view text = value( leaf.path );
    try {
      leaf.read( text );
    } catch ( const FormError & error ) {
      throw FormError( fmt::format( "{}: {}", leaf.path, error.what() ) );
    }
  }
}

void Words::expectEnd() {
  if ( const std::string_view word = peek(); !word.empty() )
    throw FormError( fmt::format( "\"{}\" is not expected here", word ) );
}

}  // namespace SdkRecord
