// Reads access lists in the agent's JSON format (docs/rules-file.md).
#pragma once

#include <string>

#include "agent/read/AclDocument.h"

namespace Agent {

bool isRulesFile( const AclSource & source );
void readRulesFile( const AclSource & source, AclDocument & document );

// The list of a text. Throws Platform::InputError with the place of the first error: malformed
// JSON, unknown or missing keys, values out of range, inconsistent rules.
Acl parseRulesFile( const std::string & name, const std::string & file, const std::string & text );

}  // namespace Agent
