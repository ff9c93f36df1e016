#include "kiv/Exception.h"

#include <execinfo.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace Kiv {
namespace {

// strerror_r comes in two forms: the one returns the text, the other a status and fills the buffer.
[[maybe_unused]] const char * strerrorText( const char * text, const char * ) {
  return text;
}
[[maybe_unused]] const char * strerrorText( int status, const char * buffer ) {
  return status == 0 ? buffer : "Unknown error";
}

}  // namespace

String8 errorString( int errnum ) {
  char buffer[ 256 ] = "";
  return strerrorText( strerror_r( errnum, buffer, sizeof buffer ), buffer );
}

Backtrace::Backtrace() {
  void * frames[ 64 ];
  int depth = backtrace( frames, 64 );
  std::unique_ptr< char *, decltype( &std::free ) > lines( backtrace_symbols( frames, depth ),
                                                           &std::free );
  for ( int i = 0; lines && i < depth; ++i ) {
    text_ += lines.get()[ i ];
    text_ += '\n';
  }
}

constinit std::atomic< bool > Exception::debugExceptions_{ false };

Exception::Exception( const String8 & message ) : message_( message ) {
  if ( debugExceptions_.load( std::memory_order_relaxed ) )
    debugData_ = make< Backtrace >();
}

Exception::~Exception() = default;

ErrnoException::ErrnoException( int errnum, const String8 & message )
    : Exception( message + ": " + errorString( errnum ) ) {}

ErrnoException::~ErrnoException() = default;
InternalException::~InternalException() = default;
TypeException::~TypeException() = default;
UnhashableException::~UnhashableException() = default;
NoImplementationException::~NoImplementationException() = default;
RangeException::~RangeException() = default;
NameInUseException::~NameInUseException() = default;

void throwNullValidPtr() {
  throw RangeException( "null ValidPtr" );
}

}  // namespace Kiv
