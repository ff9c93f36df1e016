// Reads the match part of a rule in a rules file.
#pragma once

#include "agent/acl/AclRule.h"
#include "platform/JsonFields.h"

namespace Agent {

// Accepts the fields that lists of the kind and use support. Throws Platform::InputError.
void readRuleMatch( Platform::JsonFields & fields, AclKind kind, AclUse use, AclRule & rule );

}  // namespace Agent
