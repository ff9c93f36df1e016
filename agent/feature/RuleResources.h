// Range checkers and policers of rules. Allocate them before the rule's entries and release them
// after.
//
// Locking: call with the activity lock held.
#pragma once

#include <optional>

#include "agent/feature/RangeChoice.h"
#include "morvane/MorvaneTcamGroupManager.h"

namespace Agent {

// Range checkers for those ranges of a rule that take several prefixes and are to have one. Empty,
// with none held, if the method requires one and none is free. `groupMatches`: the group supports
// range checkers.
std::optional< RangeCheckers > getCheckers( Morvane::MorvaneTcamEntryManager & manager, U32 unit,
                                            const AclRule & rule, const RangeChoice & choice,
                                            bool groupMatches );
void releaseCheckers( Morvane::MorvaneTcamEntryManager & manager, U32 unit, const AclRule & rule,
                      const RangeCheckers & checkers );

// Single-rate policer that drops exceeding packets. The chip must have a free one.
U32 createPolicer( Morvane::MorvaneTcamGroupManager & manager, U32 unit, const PoliceRate & rate );

// Sets the same rate again, which refills the bucket.
void refillPolicer( Morvane::MorvaneTcamGroupManager & manager, U32 unit, U32 policer,
                    const PoliceRate & rate );

// Counter types of a rule's entries.
Kiv::Ptr< Morvane::StatTypes > statTypesOf( const AclRule & rule );

}  // namespace Agent
