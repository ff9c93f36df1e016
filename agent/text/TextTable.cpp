#include "agent/text/TextTable.h"

#include <fmt/core.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace Agent {

namespace {

// Without colours.
size_t widthOf( const std::string & cell ) {
  size_t width = 0;
  for ( size_t i = 0; i < cell.size(); ++i )
    if ( cell[ i ] == '\033' )
      i = std::min( cell.find( 'm', i ), cell.size() );
    else
      ++width;
  return width;
}

std::string lineOf( const std::vector< std::string > & cells, const std::vector< bool > & right,
                    const std::vector< size_t > & widths ) {
  std::string line;
  for ( size_t i = 0; i < cells.size(); ++i ) {
    const std::string pad( widths[ i ] - std::min( widths[ i ], widthOf( cells[ i ] ) ), ' ' );
    line += "  " + ( right[ i ] ? pad + cells[ i ] : cells[ i ] + pad );
  }
  line.erase( line.find_last_not_of( ' ' ) + 1 );
  return line + "\n";
}

// Not within a character of several bytes.
std::string cut( std::string cell, size_t width ) {
  constexpr std::string_view mark = "..";
  if ( cell.size() <= width )
    return cell;
  size_t end = width - mark.size();
  while ( end != 0 && ( static_cast< unsigned char >( cell[ end ] ) & 0xC0 ) == 0x80 )
    --end;
  cell.resize( end );
  return cell += mark;
}

// Words in indented lines that end at `columns`, unless a word is longer; with a final newline.
std::string wrapped( const std::string & words, size_t indent, size_t columns ) {
  std::string text;
  size_t line = columns;  // characters in the last line: the first word begins one
  for ( size_t begin = 0; begin < words.size(); ) {
    const size_t end = std::min( words.find( ' ', begin ), words.size() );
    const bool fits = line + 1 + end - begin <= columns;
    if ( !fits )
      text += ( text.empty() ? "" : "\n" ) + std::string( indent, ' ' );
    text.append( fits ? " " : "" ).append( words, begin, end - begin );
    line = ( fits ? line + 1 : indent ) + end - begin;
    begin = end + 1;
  }
  return text + "\n";
}

}  // namespace

TextTable::TextTable( const std::vector< std::string > & headings ) {
  for ( const std::string & heading : headings ) {
    const bool right = heading.starts_with( '>' );
    right_.push_back( right );
    headings_.push_back( right ? heading.substr( 1 ) : heading );
  }
}

std::string TextTable::text( size_t columns ) const {
  constexpr size_t shortest = 12;
  std::vector< size_t > widths;
  size_t before = 2;  // the last cell
  for ( size_t i = 0; i < headings_.size(); ++i ) {
    size_t width = headings_[ i ].size();
    for ( const auto & row : rows_ )
      width = std::max( width, widthOf( row[ i ] ) );
    widths.push_back( width );
    before += i + 1 < headings_.size() ? width + 2 : 0;
  }
  if ( columns != 0 )
    widths.back() = std::min( widths.back(), std::max( columns, before + shortest ) - before );
  std::vector< std::string > rule;
  for ( const size_t width : widths )
    rule.emplace_back( width, '-' );
  std::string text = lineOf( headings_, right_, widths ) + lineOf( rule, right_, widths );
  for ( auto row : rows_ ) {
    if ( columns != 0 )
      row.back() = cut( std::move( row.back() ), widths.back() );
    text += lineOf( row, right_, widths );
  }
  return text;
}

std::string linesWithin( const std::string & text, size_t columns ) {
  constexpr size_t further = 4;
  std::string result;
  for ( size_t begin = 0; begin < text.size(); ) {
    const size_t end = std::min( text.find( '\n', begin ), text.size() );
    const std::string line = text.substr( begin, end - begin );
    const size_t indent = std::min( line.find_first_not_of( ' ' ), line.size() );
    if ( columns == 0 || line.size() <= columns )
      result += line + "\n";
    else  // The first line is indented less.
      result += wrapped( line.substr( indent ), indent + further, columns ).substr( further );
    begin = end + 1;
  }
  return result;
}

std::string countText( unsigned long long count ) {
  std::string text = std::to_string( count );
  for ( size_t at = text.size(); at > 3; at -= 3 )
    text.insert( at - 3, 1, ',' );
  return text;
}

std::string percentText( unsigned long long part, unsigned long long whole ) {
  return whole == 0 ? "-" : fmt::format( "{}.{} %", part * 100 / whole, part * 1000 / whole % 10 );
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
