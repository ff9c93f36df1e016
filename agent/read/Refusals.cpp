#include "agent/read/Refusals.h"

#include <fmt/core.h>

namespace Agent {

void Refusals::add( Platform::Place place, const std::string & list, const std::string & rule,
                    const std::string & what ) {
  if ( count_++ < listed ) {
    const std::string subject = rule.empty() ? list : fmt::format( "{}, {}", list, rule );
    lines_.push_back( Platform::placedMessage( file_, place, subject + ": " + what ) );
  }
  if ( !rule.empty() )
    lists_.insert( list );
  if ( stopped() )
    throw Platform::FileError( file_, place, "too many rules are refused" );
}

std::vector< std::string > Refusals::lines() const {
  std::vector< std::string > lines = lines_;
  if ( count_ > lines_.size() )
    lines.push_back( fmt::format( "{}: ... and {} more{}", file_, count_ - lines_.size(),
                                  stopped() ? "; the rest is not read" : "" ) );
  return lines;
}

}  // namespace Agent
