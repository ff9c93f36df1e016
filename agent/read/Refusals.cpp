#include "agent/read/Refusals.h"

#include <fmt/core.h>

namespace Agent {

void Refusals::add( Platform::Place place, const std::string & list, const std::string & rule,
                    const std::string & what ) {
  if ( count_++ >= listed )
    return;
  const std::string subject = rule.empty() ? list : fmt::format( "{}, {}", list, rule );
  lines_.push_back( Platform::placedMessage( file_, place, subject + ": " + what ) );
}

std::vector< std::string > Refusals::lines() const {
  std::vector< std::string > lines = lines_;
  if ( count_ > lines_.size() )
    lines.push_back( fmt::format( "{}: ... and {} more", file_, count_ - lines_.size() ) );
  return lines;
}

}  // namespace Agent
