// A table of text for people: columns as wide as their widest cell, numbers to the right.
#pragma once

#include <string>
#include <vector>

namespace Agent {

class TextTable {
 public:
  // Column headings; one that begins with '>' aligns its column to the right.
  explicit TextTable( const std::vector< std::string > & headings );

  // One cell for each column.
  void add( std::vector< std::string > cells ) { rows_.push_back( std::move( cells ) ); }

  // Headings, a rule and the rows, each line indented by two and ended.
  std::string text() const;

 private:
  std::vector< std::string > headings_;
  std::vector< bool > right_;
  std::vector< std::vector< std::string > > rows_;
};

// A count with commas between thousands.
std::string countText( unsigned long long count );

}  // namespace Agent
