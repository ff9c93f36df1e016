// Programs qualifiers and actions of a TCAM entry through the SDK.
//
// Locking: call with the activity lock held; each SDK call drops it.
#pragma once

#include <vector>

#include "agent/feature/AclCompiler.h"

namespace Agent {

// Actions of a rule's entries.
struct EntryActions {
  Forwarding forwarding = Forwarding::none;
  bool copyToCpu = false;
  std::optional< U32 > mirrorPort;
};

// The entry must exist, without qualifiers or actions. SDK errors assert: the group must have all
// qualifiers of `match` (requiredQualifiers).
void qualifyEntry( U32 unit, U32 entryId, const EntryMatch & match );
void addActions( U32 unit, U32 entryId, const EntryActions & actions );

// SDK qualifiers that a rule needs in its group, without data qualifiers and range checkers: those
// of all rules of the kind, and those that this rule restricts.
std::vector< U32 > requiredQualifiers( AclKind kind, const AclRule & rule );

}  // namespace Agent
