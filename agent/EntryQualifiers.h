// Puts a rule's qualifiers and actions on a TCAM entry, through the SDK.
//
// Locks: called with the activity lock held, which each SDK call gives up meanwhile.
#pragma once

#include <vector>

#include "agent/AclCompiler.h"

namespace Agent {

// What the entries of a rule do.
struct EntryActions {
  Forwarding forwarding = Forwarding::none;
  bool copyToCpu = false;
  std::optional< U32 > mirrorPort;
};

// The entry is on the unit and has neither qualifiers nor actions yet. Failures of the SDK end the
// process: the group matches all that `match` restricts (requiredQualifiers).
void qualifyEntry( U32 unit, U32 entryId, const EntryMatch & match );
void addActions( U32 unit, U32 entryId, const EntryActions & actions );

// SDK qualifiers that a group needs for the rules of a list, data qualifiers and range checkers
// left out: those of every rule of the kind, and those that this rule restricts.
std::vector< U32 > requiredQualifiers( AclKind kind, const AclRule & rule );

}  // namespace Agent
