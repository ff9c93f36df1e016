#include "kiv/Format.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include "kiv/Exception.h"

namespace Kiv {

String8 formatArgs( const char * fmt, std::va_list args ) {
  std::va_list again;
  va_copy( again, args );
  char line[ 256 ];
  const int size = std::vsnprintf( line, sizeof line, fmt, args );
  const auto length = static_cast< std::size_t >( std::max( size, 0 ) );
  std::string text;
  if ( length >= sizeof line ) {
    text.resize( length );
    std::vsnprintf( text.data(), length + 1, fmt, again );
  }
  va_end( again );
  if ( size < 0 )
    throw ErrnoException( errno, "Failed to format text" );
  return text.empty() ? String8( std::string_view( line, length ) ) : String8( text );
}

String8 format( const char * fmt, ... ) {
  std::va_list args;
  va_start( args, fmt );
  struct Cleanup {
    std::va_list & args;
    ~Cleanup() { va_end( args ); }
  } cleanup{ args };
  return formatArgs( fmt, args );
}

}  // namespace Kiv
