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

  // Headings, a rule and the rows, indented by two.
  std::string text() const;

 private:
  std::vector< std::string > headings_;
  std::vector< bool > right_;
  std::vector< std::vector< std::string > > rows_;
};

// With thousands separators: "12,345".
std::string countText( unsigned long long count );

// "a, b, c and 2 more".
std::string namesText( const std::vector< std::string > & names );

}  // namespace Agent
