#include "platform/NearNames.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <numeric>
#include <utility>

namespace Platform {

namespace {

constexpr size_t fewNames = 15;
constexpr size_t fewBytes = 110;  // messages are cut
constexpr size_t nearest = 6;

bool sameLetter( char a, char b ) {
  const auto plain = []( char c ) {
    return c == '_' ? '-' : std::tolower( static_cast< unsigned char >( c ) );
  };
  return plain( a ) == plain( b );
}

// Letters that both begin or end with, less those by which the lengths differ. Files can have a
// million unknown names: this has to be quick.
int likeness( std::string_view name, std::string_view wrong ) {
  const auto begin =
      std::mismatch( name.begin(), name.end(), wrong.begin(), wrong.end(), sameLetter );
  const auto same = static_cast< int >( begin.first - name.begin() );
  name.remove_prefix( same );
  wrong.remove_prefix( same );
  const auto end =
      std::mismatch( name.rbegin(), name.rend(), wrong.rbegin(), wrong.rend(), sameLetter );
  const auto more = static_cast< int >( name.size() ) - static_cast< int >( wrong.size() );
  return 2 * ( same + static_cast< int >( end.first - name.rbegin() ) ) - std::abs( more );
}

// The names most like `wrong`.
std::vector< std::string_view > nearestTo( std::string_view wrong,
                                           const std::vector< std::string_view > & names ) {
  std::vector< std::pair< int, std::string_view > > rated;
  rated.reserve( names.size() );
  for ( const std::string_view name : names )
    rated.emplace_back( -likeness( name, wrong ), name );
  const auto end = rated.begin() + std::min( nearest, rated.size() );
  std::partial_sort( rated.begin(), end, rated.end() );
  std::vector< std::string_view > result;
  for ( auto each = rated.begin(); each != end; ++each )
    result.push_back( each->second );
  return result;
}

}  // namespace

std::string nearNames( std::vector< std::string_view > names, std::string_view wrong ) {
  const auto size = []( size_t sum, std::string_view name ) { return sum + name.size() + 2; };
  const bool few = names.size() <= fewNames &&
                   std::accumulate( names.begin(), names.end(), size_t{ 0 }, size ) <= fewBytes;
  if ( !few )
    names = nearestTo( wrong, names );
  std::sort( names.begin(), names.end() );
  names.erase( std::unique( names.begin(), names.end() ), names.end() );
  std::string text;
  for ( const std::string_view name : names )
    text.append( text.empty() ? "" : ", " ).append( name );
  return few ? text : text + ", ..";
}

}  // namespace Platform
