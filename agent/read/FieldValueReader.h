// Reads the value of a match field in a rules file (docs/rules-file.md).
#pragma once

#include "agent/acl/MatchFields.h"
#include "platform/JsonFields.h"

namespace Agent {

// One value, or a list of alternatives. `node` is the field's member in `fields`. Throws
// Platform::InputError.
void readFieldValue( Platform::JsonFields & fields, AclKind kind, const MatchField & field,
                     const Platform::JsonNode & node, AclRule & rule );

}  // namespace Agent
