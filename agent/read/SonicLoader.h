// The form of acl-loader: names of OpenConfig, with objects in place of its arrays.
#pragma once

#include "agent/read/AclDocument.h"

namespace Agent {

bool isSonicLoader( const AclSource & source );
void readSonicLoader( const AclSource & source, AclDocument & document );

}  // namespace Agent
