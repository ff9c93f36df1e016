#include "morvane/MorvaneTcamShow/ReportText.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <ctime>

#include "kiv/Format.h"

namespace Morvane {

namespace {

// Keeps a write to a closed pipe from raising SIGPIPE in this thread.
class SigpipeGuard {
 public:
  SigpipeGuard() {
    sigemptyset( &sigpipe_ );
    sigaddset( &sigpipe_, SIGPIPE );
    sigset_t pending;
    sigpending( &pending );
    wasPending_ = sigismember( &pending, SIGPIPE ) == 1;
    pthread_sigmask( SIG_BLOCK, &sigpipe_, &before_ );
  }
  ~SigpipeGuard() {
    // Discards a signal raised under the guard; one that was pending before stays.
    const timespec now = {};
    if ( !wasPending_ )
      sigtimedwait( &sigpipe_, nullptr, &now );
    pthread_sigmask( SIG_SETMASK, &before_, nullptr );
  }
  SigpipeGuard( const SigpipeGuard & ) = delete;
  SigpipeGuard & operator=( const SigpipeGuard & ) = delete;

 private:
  sigset_t sigpipe_;
  sigset_t before_;
  bool wasPending_{};
};

// Waits until the descriptor takes more, has an error, or a signal came.
void waitForRoom( int fd ) {
  pollfd room = { fd, POLLOUT, 0 };
  poll( &room, 1, -1 );
}

// Whether all of the text was written.
bool writeAll( int fd, std::string_view text ) {
  const SigpipeGuard guard;
  while ( !text.empty() ) {
    const ssize_t size = write( fd, text.data(), text.size() );
    if ( size >= 0 )
      text.remove_prefix( static_cast< std::size_t >( size ) );
    else if ( errno == EAGAIN )
      waitForRoom( fd );
    else if ( errno != EINTR )
      return false;
  }
  return true;
}

}  // namespace

void appendFormatted( std::string & text, const char * format, ... ) {
  va_list arguments;
  va_start( arguments, format );
  Kiv::appendArgs( text, format, arguments );
  va_end( arguments );
}

void ReportWriter::flush() {
  if ( !ended_ )
    ended_ = !writeAll( fd_, text_ );
  text_.clear();
}

}  // namespace Morvane
