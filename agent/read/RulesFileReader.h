// Reads access lists in the agent's JSON format (docs/rules-file.md).
#pragma once

#include "agent/read/AclDocument.h"

namespace Agent {

bool isRulesFile( const AclSource & source );
void readRulesFile( const AclSource & source, AclDocument & document );

}  // namespace Agent
