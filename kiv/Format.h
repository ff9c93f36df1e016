// printf-style formatting.
//
//   Kiv::format( "Group %d has invalid ref count %d.", group, count )
#pragma once

#include <cstdarg>
#include <string>

#include "kiv/Export.h"
#include "kiv/String8.h"

namespace Kiv {

// Any length. Throws ErrnoException when the C library cannot convert an argument.
KIV_API String8 format( const char * fmt, ... ) __attribute__( ( format( printf, 1, 2 ) ) );
// Appends to the text; nothing when it throws.
KIV_API void appendArgs( std::string & text, const char * fmt, std::va_list args )
    __attribute__( ( format( printf, 2, 0 ) ) );

}  // namespace Kiv
