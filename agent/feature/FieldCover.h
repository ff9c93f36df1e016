// What a rule allows in one field, as the fewest values with masks.
#pragma once

#include <vector>

#include "agent/acl/MatchFields.h"

namespace Agent {

// The same values as disjoint ranges that do not touch, ascending.
std::vector< AnyRange > mergedRanges( std::vector< AnyRange > ranges );

// The same values without matches inside another, and with every pair that differs in one bit
// joined, ordered by value. The result is minimal for prefixes. It may overlap: of the entries of a
// rule, only the first that matches is hit and counted.
std::vector< TernaryBits > mergedMatches( const std::vector< TernaryBits > & matches );

// Covers a field that the rule restricts; none of the matches is a wildcard, so that a packet
// without the field matches none. Ranges become prefixes first.
std::vector< TernaryBits > coverOf( const MatchField & field, const AclRule & rule );

}  // namespace Agent
