// What a rule shares or owns besides its entries: range checkers and a policer.
//
// Both are had before the rule's entries and given back after them.
//
// Locks: called with the activity lock held.
#pragma once

#include <optional>

#include "agent/AclCompiler.h"
#include "morvane/MorvaneTcamGroupManager.h"

namespace Agent {

// How ranges of ports are matched.
enum class PortMethod {
  expand,     // by prefixes
  checkers,   // by range checkers; a rule for which there is none does not fit
  automatic,  // by range checkers while there are some, then by prefixes
};

// Checkers for the ranges of a rule that take several prefixes. Absent when the method demands one
// that cannot be had; then none is held. `groupMatches`: the rule's group can match ranges.
std::optional< RangeCheckers > getCheckers( Morvane::MorvaneTcamEntryManager & manager, U32 unit,
                                            const AclRule & rule, PortMethod method,
                                            bool groupMatches );
void releaseCheckers( Morvane::MorvaneTcamEntryManager & manager, U32 unit, const AclRule & rule,
                      const RangeCheckers & checkers );

// A policer of one rate: what exceeds it is dropped. The chip must have one left.
U32 createPolicer( Morvane::MorvaneTcamGroupManager & manager, U32 unit, const PoliceRate & rate );

// Sets it again, so that it starts anew.
void refillPolicer( Morvane::MorvaneTcamGroupManager & manager, U32 unit, U32 policer,
                    const PoliceRate & rate );

// Counters that the entries of a rule need.
Kiv::Ptr< Morvane::StatTypes > statTypesOf( const AclRule & rule );

}  // namespace Agent
