// What a message can offer in place of an unknown name.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Platform {

// All names, in ascending order and each once, if they are few; otherwise those that are most like
// `wrong`: "ah, esp, gre, ..".
std::string nearNames( std::vector< std::string_view > names, std::string_view wrong );

// Of a table whose rows have a `name`.
template < class Table >
std::string nearRows( const Table & table, std::string_view wrong ) {
  std::vector< std::string_view > names;
  for ( const auto & row : table )
    names.push_back( row.name );
  return nearNames( std::move( names ), wrong );
}

}  // namespace Platform
