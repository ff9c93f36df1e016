// The part of a rules file's rule that says which packets it is about.
#pragma once

#include "agent/AclRule.h"
#include "platform/JsonFields.h"

namespace Agent {

// Reads the members of `fields` that lists of the kind and use may have into the rule. Throws
// Platform::InputError.
void readRuleMatch( Platform::JsonFields & fields, AclKind kind, AclUse use, AclRule & rule );

}  // namespace Agent
