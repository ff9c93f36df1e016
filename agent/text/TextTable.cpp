#include "agent/text/TextTable.h"

#include <fmt/core.h>

#include <algorithm>

namespace Agent {

namespace {

std::string lineOf( const std::vector< std::string > & cells, const std::vector< bool > & right,
                    const std::vector< size_t > & widths ) {
  std::string line;
  for ( size_t i = 0; i < cells.size(); ++i )
    line += right[ i ] ? fmt::format( "  {:>{}}", cells[ i ], widths[ i ] )
                       : fmt::format( "  {:<{}}", cells[ i ], widths[ i ] );
  line.erase( line.find_last_not_of( ' ' ) + 1 );
  return line + "\n";
}

}  // namespace

TextTable::TextTable( const std::vector< std::string > & headings ) {
  for ( const std::string & heading : headings ) {
    const bool right = heading.starts_with( '>' );
    right_.push_back( right );
    headings_.push_back( right ? heading.substr( 1 ) : heading );
  }
}

std::string TextTable::text() const {
  std::vector< size_t > widths;
  std::vector< std::string > rule;
  for ( size_t i = 0; i < headings_.size(); ++i ) {
    size_t width = headings_[ i ].size();
    for ( const auto & row : rows_ )
      width = std::max( width, row[ i ].size() );
    widths.push_back( width );
    rule.emplace_back( width, '-' );
  }
  std::string text = lineOf( headings_, right_, widths ) + lineOf( rule, right_, widths );
  for ( const auto & row : rows_ )
    text += lineOf( row, right_, widths );
  return text;
}

std::string countText( unsigned long long count ) {
  std::string text = std::to_string( count );
  for ( size_t at = text.size(); at > 3; at -= 3 )
    text.insert( at - 3, 1, ',' );
  return text;
}

std::string namesText( const std::vector< std::string > & names ) {
  constexpr size_t named = 3;
  std::string text;
  for ( size_t i = 0; i < std::min( names.size(), named ); ++i )
    text += ( i == 0 ? "" : ", " ) + names[ i ];
  if ( names.size() > named )
    text += " and " + std::to_string( names.size() - named ) + " more";
  return text;
}

}  // namespace Agent
