// Sets of field values as lists of alternatives: what text forms say with "not", ranges of
// addresses, and conditions that follow each other.
#pragma once

#include <vector>

#include "agent/acl/MatchFields.h"

namespace Agent {

// The bits of `mask` as in `value`, in a field of at most 64 bits.
TernaryBits exactly( U64 value, U64 mask );

// The values that a match does not have: one alternative for each bit of its mask.
std::vector< TernaryBits > complement( const TernaryBits & match );
// Those from 0 to `max` in none of the ranges, ascending.
std::vector< AnyRange > complement( std::vector< AnyRange > ranges, U32 max );

// The prefixes of a field of `width` bits that cover the values from `low` to `high`, or all
// others.
std::vector< TernaryBits > prefixCover( const FieldBits & low, const FieldBits & high, U32 width,
                                        bool others );

// Both ranges of all ports and flags of any value are wildcards in a rule, which packets without
// the field match too. These match packets that have the field.
std::vector< AnyRange > presentPorts( const std::vector< AnyRange > & ranges );
std::vector< TernaryBits > presentBits( const TernaryBits & match, U32 width );

// ACK or RST.
std::vector< TernaryBits > establishedFlags();

// What the text of a rule may still be made of; a product of more alternatives is refused.
inline constexpr size_t alternativesMax = 4096;

enum class Meet {
  some,  // packets match both
  none,  // no packet does
  many,  // more than `alternativesMax` in a field
};
// Restricts `rule` to what `other` matches too.
Meet restrictTo( AclRule & rule, const AclRule & other );

}  // namespace Agent
