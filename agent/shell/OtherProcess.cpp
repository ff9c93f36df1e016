#include "agent/shell/OtherProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "agent/shell/ShellError.h"
#include "kiv/Lock.h"

namespace Agent {

namespace {

void writeAll( int file, const std::string & text ) {
  for ( size_t done = 0; done < text.size(); ) {
    const ssize_t size = ::write( file, text.data() + done, text.size() - done );
    if ( size <= 0 )
      ::_exit( 1 );
    done += static_cast< size_t >( size );
  }
}

std::string readAll( int file ) {
  std::string text;
  char part[ 4096 ];
  ssize_t size = 0;
  while ( ( size = ::read( file, part, sizeof part ) ) > 0 || ( size < 0 && errno == EINTR ) )
    text.append( part, size > 0 ? static_cast< size_t >( size ) : 0 );
  return text;
}

[[noreturn]] void makeInChild( int file, const std::function< std::string() > & make ) {
  try {
    writeAll( file, make() );
  } catch ( const std::exception & error ) {
    writeAll( file, error.what() );
    ::_exit( 1 );
  }
  ::_exit( 0 );
}

// A lock is held by a thread, and the child's is another.
pid_t forkUnlocked() KIV_NO_THREAD_SAFETY_ANALYSIS {
  const Kiv::UnlockAnchor unlocked( Kiv::ActivityUnlockAnchor::lock() );
  return ::fork();
}

}  // namespace

std::string inOtherProcess( const std::function< std::string() > & make ) {
  int ends[ 2 ];
  if ( ::pipe( ends ) != 0 )
    throw std::system_error( errno, std::generic_category(), "a pipe" );
  std::fflush( nullptr );  // otherwise both would write what waits
  const pid_t child = forkUnlocked();
  if ( child == 0 )
    makeInChild( ends[ 1 ], make );
  ::close( ends[ 1 ] );
  std::string text = child < 0 ? "there is no process for a second switch" : readAll( ends[ 0 ] );
  ::close( ends[ 0 ] );
  int status = 1;
  while ( child > 0 && ::waitpid( child, &status, 0 ) < 0 && errno == EINTR ) {
  }
  if ( status != 0 )
    throw ShellError( WIFSIGNALED( status ) ? "the second switch ended in an assertion" : text );
  return text;
}

}  // namespace Agent
