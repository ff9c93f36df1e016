#include "agent/command/LoadedSdk.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <system_error>

#include "agent/command/UsageError.h"
#include "sdkcheck/SdkLibrary.h"

namespace Agent {

namespace {

using namespace Kiv::Integers;
using SdkRecord::Played;

// What the child reaches, for its parent. It survives the child's end in a call.
struct Reached {
  size_t event;
  U64 calls, packetsLeftOut;
  bool finished, differs, refused;
  size_t lengths[ 3 ];
  char texts[ 60000 ];  // of the difference: where, recorded, got; or why it was refused
};

void keepTexts( Reached & reached, const std::string & where, const std::string & recorded,
                const std::string & got ) {
  size_t at = 0;
  size_t i = 0;
  for ( const std::string * const text : { &where, &recorded, &got } ) {
    const size_t length = std::min( text->size(), sizeof reached.texts / 3 );
    std::memcpy( reached.texts + at, text->data(), length );
    reached.lengths[ i++ ] = length;
    at += length;
  }
}

std::string textAt( const Reached & reached, size_t index ) {
  size_t at = 0;
  for ( size_t i = 0; i < index; ++i )
    at += reached.lengths[ i ];
  return { reached.texts + at, reached.lengths[ index ] };
}

void playInChild( Reached & reached, const SdkRecord::Events & events, const std::string & library,
                  SdkRecord::PlayOptions options ) {
  options.before = [ & ]( size_t event ) { reached.event = event; };
  try {
    const Played played = SdkRecord::play( events, SdkCheck::loadSdk( library ), nullptr, options );
    reached.calls = played.calls;
    reached.packetsLeftOut = played.packetsLeftOut;
    reached.differs = played.difference.has_value();
    if ( played.difference ) {
      reached.event = played.difference->event;
      keepTexts( reached, played.difference->where, played.difference->recorded,
                 played.difference->got );
    }
  } catch ( const std::runtime_error & error ) {
    reached.refused = true;
    keepTexts( reached, error.what(), "", "" );
  }
  reached.finished = true;
}

std::string endOf( int status ) {
  return WIFSIGNALED( status )
             ? fmt::format( "the process ended with signal {}", WTERMSIG( status ) )
             : fmt::format( "the process ended with status {}", WEXITSTATUS( status ) );
}

}  // namespace

SdkRecord::Played playOnLibrary( const SdkRecord::Events & events, const std::string & library,
                                 const SdkRecord::PlayOptions & options ) {
  void * const shared = ::mmap( nullptr, sizeof( Reached ), PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS, -1, 0 );
  if ( shared == MAP_FAILED )
    throw std::system_error( errno, std::generic_category(), "memory for a process" );
  const std::unique_ptr< Reached, void ( * )( Reached * ) > reached(
      new ( shared ) Reached{}, []( Reached * memory ) { ::munmap( memory, sizeof( Reached ) ); } );
  std::fflush( nullptr );  // otherwise both would write what waits
  const pid_t child = ::fork();
  if ( child < 0 )
    throw std::system_error( errno, std::generic_category(), "a process for the SDK" );
  if ( child == 0 ) {
    playInChild( *reached, events, library, options );
    std::fflush( nullptr );
    ::_exit( 0 );
  }
  int status = 0;
  while ( ::waitpid( child, &status, 0 ) < 0 && errno == EINTR ) {
  }
  if ( reached->refused )
    throw UsageError( fmt::format( "--sdk: {}", textAt( *reached, 0 ) ) );
  Played played{ reached->calls, reached->packetsLeftOut, {} };
  if ( !reached->finished )
    played.difference = { reached->event, "result", "a return", endOf( status ) };
  else if ( reached->differs )
    played.difference = { reached->event, textAt( *reached, 0 ), textAt( *reached, 1 ),
                          textAt( *reached, 2 ) };
  return played;
}

}  // namespace Agent
