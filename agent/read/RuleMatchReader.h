// Reads the match part of a rule in a rules file.
#pragma once

#include "agent/acl/AclRule.h"
#include "platform/JsonFields.h"

namespace Agent {

// Accepts the fields that lists of the kind and use support. Ports by name go to `ports`, without
// the rule's index. Throws Platform::InputError.
void readRuleMatch( Platform::JsonFields & fields, AclKind kind, AclUse use, AclRule & rule,
                    std::vector< NamedPorts > & ports );

}  // namespace Agent
