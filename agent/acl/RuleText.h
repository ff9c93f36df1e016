// Rules as text for reports, printed from their fields: files of a million rules keep no text.
#pragma once

#include <string>

#include "agent/acl/MatchFields.h"

namespace Agent {

// One line: the name, the fields that the rule restricts, its actions.
std::string ruleText( AclKind kind, const AclRule & rule );

// What the rule allows in one field, alternatives separated by commas: "1024-2047,8080".
std::string fieldText( const MatchField & field, const AclRule & rule );

// One value of a field: "10.0.0.1", "tcp", "0x12".
std::string valueText( const MatchField & field, const FieldBits & bits );

const char * fragmentsName( Fragments fragments );
const char * forwardingName( Forwarding action );

}  // namespace Agent
