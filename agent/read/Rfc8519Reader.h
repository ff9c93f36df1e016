// Reads the access lists of RFC 8519 (ietf-access-control-list) in JSON, and those of MUD files
// (RFC 8520), which use its model: docs/formats.md.
#pragma once

#include "agent/read/AclDocument.h"

namespace Agent {

bool isRfc8519( const AclSource & source );
void readRfc8519( const AclSource & source, AclDocument & document );

}  // namespace Agent
