#include "kiv/Format.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include "kiv/Exception.h"

namespace Kiv {

void appendArgs( std::string & text, const char * fmt, std::va_list args ) {
  std::va_list again;
  va_copy( again, args );
  char line[ 256 ];
  const int size = std::vsnprintf( line, sizeof line, fmt, args );
  const auto length = static_cast< std::size_t >( std::max( size, 0 ) );
  const std::size_t before = text.size();
  text.append( line, std::min( length, sizeof line - 1 ) );
  if ( length >= sizeof line ) {
    text.resize( before + length );
    std::vsnprintf( text.data() + before, length + 1, fmt, again );
  }
  va_end( again );
  if ( size < 0 )
    throw ErrnoException( errno, "Failed to format text" );
}

String8 format( const char * fmt, ... ) {
  std::va_list args;
  va_start( args, fmt );
  struct Cleanup {
    std::va_list & args;
    ~Cleanup() { va_end( args ); }
  } cleanup{ args };
  std::string text;
  appendArgs( text, fmt, args );
  return String8( text );
}

}  // namespace Kiv
