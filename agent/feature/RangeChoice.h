// Which ranges of L4 ports are matched by range checkers, of which a chip has few; the others
// become prefixes.
#pragma once

#include <compare>
#include <set>
#include <span>
#include <utility>
#include <vector>

#include "agent/feature/AclCompiler.h"
#include "platform/PlatformModel.h"

namespace Agent {

// How port ranges are matched.
enum class PortMethod {
  expand,     // to prefixes
  checkers,   // by range checkers; without a free one the rule does not fit
  automatic,  // by range checkers while available, then by prefixes
  best,       // by range checkers for the ranges that save most entries (bestRanges)
};

// A range of source or destination ports. Rules with the same one share a checker.
struct PlacedRange {
  FieldId ports = FieldId::sourcePorts;
  AnyRange range;
  friend auto operator<=>( const PlacedRange &, const PlacedRange & ) = default;
};

// The ranges of a rule that a checker can match, the source's first.
std::vector< PlacedRange > checkerRanges( const AclRule & rule );

// The checkers of a rule, where `give` returns the one of each of these ranges, or 0.
template < class Give >
RangeCheckers checkersBy( const AclRule & rule, Give && give ) {
  RangeCheckers checkers;
  for ( const PlacedRange & range : checkerRanges( rule ) )
    ( range.ports == FieldId::sourcePorts ? checkers.source : checkers.destination ) =
        give( range );
  return checkers;
}

struct RangeChoice {
  PortMethod method;
  std::set< PlacedRange > best;  // PortMethod::best: the ranges that have a checker each

  RangeChoice( PortMethod by = PortMethod::automatic, std::set< PlacedRange > ranges = {} )
      : method( by ), best( std::move( ranges ) ) {}
  bool wantsChecker( const PlacedRange & range ) const {
    return method == PortMethod::best ? best.contains( range ) : method != PortMethod::expand;
  }
};

// As many ranges of the lists as the chip has checkers, so that the lists take the fewest entries;
// the platform must support them (listFault). With up to `provenRanges` different ranges all
// choices are tried; with more, the result is the best that exchanging single ranges finds, and
// never takes more entries than PortMethod::automatic.
inline constexpr size_t provenRanges = 16;
std::set< PlacedRange > bestRanges( const Platform::PlatformData & platform,
                                    std::span< const Acl * const > acls );

// The method's choice for the lists.
RangeChoice rangeChoice( PortMethod method, const Platform::PlatformData & platform,
                         std::span< const Acl * const > acls );
RangeChoice rangeChoice( PortMethod method, const Platform::PlatformData & platform,
                         const std::vector< Acl > & acls );

}  // namespace Agent
