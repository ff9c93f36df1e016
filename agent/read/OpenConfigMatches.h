// The matches of one acl-entry of OpenConfig.
#pragma once

#include "agent/read/DraftRule.h"
#include "agent/read/OpenConfigSets.h"

namespace Agent {

// Reads the entry's containers of matches; the caller reads the others. Throws Platform::InputError
// for every leaf that is not matched.
void readOpenConfigMatches( Platform::JsonFields & entry, const OpenConfigSets & sets,
                            DraftRule & draft );

}  // namespace Agent
