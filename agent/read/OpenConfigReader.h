// Reads the access lists of the OpenConfig model (openconfig-acl) in JSON, in the wrappings in
// which tools write it: docs/formats.md.
#pragma once

#include "agent/read/AclDocument.h"

namespace Agent {

bool isOpenConfig( const AclSource & source );
void readOpenConfig( const AclSource & source, AclDocument & document );

}  // namespace Agent
