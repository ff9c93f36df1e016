// Programs qualifiers and actions of a TCAM entry through the SDK.
//
// Locking: call with the activity lock held; each SDK call drops it.
#pragma once

#include "agent/feature/AclCompiler.h"

namespace Agent {

// Actions of a rule's entries.
struct EntryActions {
  Forwarding forwarding = Forwarding::none;
  bool copyToCpu = false;
  std::optional< U32 > mirrorPort;
};

// All but the ingress ports, which the library programs when it installs the entry. The entry must
// exist, without qualifiers or actions. SDK errors assert: the group must have all
// qualifiers of `match` (listFault).
void qualifyEntry( U32 unit, U32 entryId, const EntryMatch & match );
void addActions( U32 unit, U32 entryId, const EntryActions & actions );

}  // namespace Agent
