#include "agent/verdict/RuleNumbers.h"

#include <fmt/core.h>

namespace Agent {

std::vector< U32 > numbers( const std::vector< U32 > & rules ) {
  std::vector< U32 > numbers;
  for ( const U32 rule : rules )
    numbers.push_back( rule + 1 );
  return numbers;
}

std::string numberedRules( const std::vector< U32 > & rules ) {
  std::string text = rules.size() == 1 ? "rule " : "rules ";
  for ( size_t i = 0; i < rules.size(); ) {
    size_t last = i;
    while ( last + 1 < rules.size() && rules[ last + 1 ] == rules[ last ] + 1 )
      ++last;
    text += ( i == 0 ? "" : ", " ) + std::to_string( rules[ i ] + 1 );
    if ( last != i )
      text += fmt::format( "{}{}", last == i + 1 ? ", " : "-", rules[ last ] + 1 );
    i = last + 1;
  }
  return text;
}

}  // namespace Agent
