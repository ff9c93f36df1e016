// Reads access lists in the project's own form, JSON: docs/rules-file.md describes it.
#pragma once

#include <string>

#include "agent/AclRule.h"

namespace Agent {

// Throws Platform::InputError, with the line of what is wrong, for text that is not JSON, keys
// that are unknown or missing, values out of range, and rules without a meaning.
Acl parseRulesFile( const std::string & name, const std::string & file, const std::string & text );

}  // namespace Agent
