#include "agent/report/OutputFile.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace Agent {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void failFile( const std::string & file, int error ) {
  throw OutputError( fmt::format( "{}: cannot be written: {}", file, std::strerror( error ) ) );
}

// Returns 0 or errno.
int writeTo( int fd, const std::string & text ) {
  for ( size_t done = 0; done < text.size(); ) {
    const ssize_t size = ::write( fd, text.data() + done, text.size() - done );
    if ( size >= 0 ) {
      done += static_cast< size_t >( size );
    } else if ( errno == EAGAIN ) {
      pollfd room = { fd, POLLOUT, 0 };
      ::poll( &room, 1, -1 );
    } else if ( errno != EINTR ) {
      return errno;
    }
  }
  return 0;
}

// Returns 0 or errno.
int writeAll( const std::string & path, int flags, const std::string & text ) {
  const int fd = ::open( path.c_str(), O_WRONLY | O_CLOEXEC | flags, 0666 );
  if ( fd < 0 )
    return errno;
  const int error = writeTo( fd, text );
  return ::close( fd ) != 0 && error == 0 ? errno : error;
}

}  // namespace

void writeFile( const std::string & file, const std::string & text ) {
  std::error_code ignored;
  const fs::file_status there = fs::status( file, ignored );
  const bool linksToNothing =
      !fs::exists( there ) && fs::is_symlink( fs::symlink_status( file, ignored ) );
  if ( linksToNothing || ( fs::exists( there ) && !fs::is_regular_file( there ) ) ) {
    if ( const int error = writeAll( file, linksToNothing ? O_CREAT : 0, text ) )
      failFile( file, error );
    return;
  }
  // Replace the target of a link, not the link.
  const fs::path target = fs::exists( there ) ? fs::canonical( file, ignored ) : fs::path( file );
  const std::string beside = fmt::format( "{}.{}.tmp", target.string(), ::getpid() );
  if ( fs::exists( there ) && ::access( file.c_str(), W_OK ) != 0 )
    failFile( file, errno );
  std::error_code error( writeAll( beside, O_CREAT | O_EXCL, text ), std::generic_category() );
  if ( !error && fs::exists( there ) )
    fs::permissions( beside, there.permissions(), error );
  if ( !error )
    fs::rename( beside, target, error );
  if ( error ) {
    if ( error.value() != EEXIST )
      fs::remove( beside, ignored );
    failFile( file, error.value() );
  }
}

void printOutput( const std::string & text ) {
  const int error = writeTo( STDOUT_FILENO, text );
  if ( error != 0 && error != EPIPE )
    failFile( "standard output", error );
}

void printError( const std::string & line ) {
  printErrorText( line + "\n" );
}

void printErrorText( const std::string & text ) {
  std::fputs( text.c_str(), stderr );
}

}  // namespace Agent
