// Formats that are known and not read.
#pragma once

#include "agent/read/AclDocument.h"

namespace Agent {

// Null if the text is in none of them.
const char * foreignFormat( const AclSource & source );

}  // namespace Agent
