// Reads access lists in the agent's JSON format (docs/rules-file.md).
#pragma once

#include <string>

#include "agent/acl/AclRule.h"
#include "platform/JsonTree.h"

namespace Agent {

// Throws Platform::InputError with the line of the error: malformed JSON, unknown or missing keys,
// values out of range, inconsistent rules.
Acl parseRulesFile( const std::string & name, const std::string & file, const std::string & text );
Acl parseRulesFile( const std::string & name, const std::string & file,
                    const Platform::JsonNode & root );

}  // namespace Agent
