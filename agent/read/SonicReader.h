// Reads the access lists of SONiC in JSON: CONFIG_DB, the form of acl-loader, and the older array
// of operations: docs/formats.md.
#pragma once

#include "agent/read/AclDocument.h"

namespace Agent {

bool isSonic( const AclSource & source );
void readSonic( const AclSource & source, AclDocument & document );

}  // namespace Agent
