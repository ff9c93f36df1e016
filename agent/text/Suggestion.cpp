#include "agent/text/Suggestion.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace Agent {

namespace {

char plain( char letter ) {
  return static_cast< char >( std::tolower( static_cast< unsigned char >( letter ) ) );
}

size_t edits( std::string_view a, std::string_view b ) {
  // The last two rows of the table of edits from each beginning of `a` to each beginning of `b`.
  std::vector< size_t > before, above, row( b.size() + 1 );
  for ( size_t j = 0; j <= b.size(); ++j )
    row[ j ] = j;
  for ( size_t i = 1; i <= a.size(); ++i ) {
    before = std::exchange( above, row );
    row[ 0 ] = i;
    for ( size_t j = 1; j <= b.size(); ++j ) {
      const bool same = plain( a[ i - 1 ] ) == plain( b[ j - 1 ] );
      row[ j ] =
          std::min( { above[ j ] + 1, row[ j - 1 ] + 1, above[ j - 1 ] + ( same ? 0 : 1 ) } );
      if ( i > 1 && j > 1 && plain( a[ i - 1 ] ) == plain( b[ j - 2 ] ) &&
           plain( a[ i - 2 ] ) == plain( b[ j - 1 ] ) )
        row[ j ] = std::min( row[ j ], before[ j - 2 ] + 1 );
    }
  }
  return row.back();
}

}  // namespace

std::string suggestion( std::string_view wrong, const std::vector< std::string > & names ) {
  constexpr size_t longest = 64;
  if ( wrong.size() > longest )
    return "";
  const std::string * best = nullptr;
  size_t least = wrong.size() / 3 + 1;
  for ( const std::string & name : names )
    if ( const size_t count = edits( wrong, name );
         count < name.size() && count <= least && ( best == nullptr || count < least ) ) {
      best = &name;
      least = count;
    }
  return best == nullptr ? "" : "; did you mean " + *best + "?";
}

}  // namespace Agent
