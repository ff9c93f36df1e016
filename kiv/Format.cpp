#include "kiv/Format.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include "kiv/Exception.h"

namespace Kiv {

String8 formatArgs( const char * fmt, std::va_list args ) {
  std::va_list again;
  va_copy( again, args );
  char line[ 256 ];
  int size = std::vsnprintf( line, sizeof line, fmt, args );
  if ( size < 0 ) {
    va_end( again );
    throw ErrnoException( errno, "Failed to format text" );
  }
  auto length = static_cast< std::size_t >( size );
  if ( length < sizeof line ) {
    va_end( again );
    return String8( std::string_view( line, length ) );
  }
  std::string text( length, '\0' );
  std::vsnprintf( text.data(), length + 1, fmt, again );
  va_end( again );
  return String8( text );
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
