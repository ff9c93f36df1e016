// Reads access lists in the agent's JSON format (docs/rules-file.md).
#pragma once

#include "agent/read/AclDocument.h"

namespace Agent {

bool isRulesFile( const AclSource & source );
void readRulesFile( const AclSource & source, AclDocument & document );
// One rule for a list. Ports by name go to `ports`, without the rule's index. Throws
// Platform::InputError.
AclRule readFileRule( const Acl & acl, const Platform::JsonNode & node,
                      std::vector< NamedPorts > & ports );

}  // namespace Agent
