// Plain text table with columns as wide as their widest cell.
#pragma once

#include <string>
#include <vector>

namespace Agent {

class TextTable {
 public:
  // A heading that starts with '>' right-aligns its column.
  explicit TextTable( const std::vector< std::string > & headings );

  // One cell per column.
  void add( std::vector< std::string > cells ) { rows_.push_back( std::move( cells ) ); }

  // Headings, a rule and the rows, indented by two. Cells may have colours (escape sequences that
  // end in "m"). With `columns` the last cells are cut, down to a dozen characters, for lines that
  // are no longer.
  std::string text( size_t columns = 0 ) const;

 private:
  std::vector< std::string > headings_;
  std::vector< bool > right_;
  std::vector< std::vector< std::string > > rows_;
};

// The lines of a text. Those longer than `columns`, unless that is 0, go on in lines that are
// indented by four more, unless a word is longer.
std::string linesWithin( const std::string & text, size_t columns );

// With thousands separators: "12,345".
std::string countText( unsigned long long count );

// "12.5 %", rounded down; "-" of nothing.
std::string percentText( unsigned long long part, unsigned long long whole );

// "a, b, c and 2 more".
std::string namesText( const std::vector< std::string > & names );

}  // namespace Agent
