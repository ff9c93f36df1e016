// Reads access lists in the router command-line form (docs/formats.md), alone or in a router's
// whole configuration.
#pragma once

#include "agent/read/AclDocument.h"

namespace Agent {

bool isRouterCli( const AclSource & source );
void readRouterCli( const AclSource & source, AclDocument & document );

}  // namespace Agent
