// Equality of rules of different lists.
#pragma once

#include <string>

#include "agent/acl/AclRule.h"

namespace Agent {

// The same text for rules that are programmed alike: match, actions, counters, policer. Name and
// place in the file do not matter. Not for people.
std::string ruleKey( const Acl & acl, const AclRule & rule );

}  // namespace Agent
