// printf-style formatting into a String8.
//
//   Kiv::format( "Group %d has invalid ref count %d.", group, count )
#pragma once

#include <cstdarg>

#include "kiv/Export.h"
#include "kiv/String8.h"

namespace Kiv {

// Any length. Throws ErrnoException when the C library cannot convert an argument.
KIV_API String8 format( const char * fmt, ... ) __attribute__( ( format( printf, 1, 2 ) ) );
KIV_API String8 formatArgs( const char * fmt, std::va_list args )
    __attribute__( ( format( printf, 1, 0 ) ) );

}  // namespace Kiv
