// Formats that are known and not read.
#pragma once

#include <string_view>

#include "agent/read/AclDocument.h"

namespace Agent {

// Null if the text is in none of them.
const char * foreignFormat( const AclSource & source );

// By the first bytes: captures of packets in any format, and files of gzip and zstd.
bool isCapture( std::string_view bytes );
bool isCompressed( std::string_view bytes );

}  // namespace Agent
