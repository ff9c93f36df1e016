// Runs code in a forked child and brings back how it ended: cheaper than a death test, and usable
// in loops, because the parent keeps the state that the child went on from.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "kiv/Lock.h"

namespace Test {

struct Ending {
  bool aborted = false;  // by an assertion
  bool failed = false;   // in whatever way
  std::string text;      // everything that went to standard error
};

// The child has the activity lock when the parent has it. It ends without running destructors.
template < class F >
Ending inChild( F && code ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  Kiv::Lock & activity = Kiv::ActivityUnlockAnchor::lock();
  const bool held = activity.held();
  if ( held )
    activity.unlock();  // a lock that is held across a fork has its owner in the parent
  int ends[ 2 ] = {};
  if ( pipe( ends ) != 0 )
    return { false, true, "no pipe" };
  const pid_t child = fork();
  if ( held )
    activity.lock();
  if ( child == 0 ) {
    dup2( ends[ 1 ], STDERR_FILENO );
    code();
    std::fflush( stderr );
    _exit( 0 );
  }
  close( ends[ 1 ] );
  Ending ending;
  char buffer[ 4096 ];
  for ( ssize_t got; ( got = read( ends[ 0 ], buffer, sizeof( buffer ) ) ) > 0; )
    ending.text.append( buffer, static_cast< size_t >( got ) );
  close( ends[ 0 ] );
  int status = 0;
  waitpid( child, &status, 0 );
  ending.failed = status != 0;
  ending.aborted = WIFSIGNALED( status ) && WTERMSIG( status ) == SIGABRT;
  if ( !ending.aborted && status != 0 )
    ending.text += "\nended with status " + std::to_string( status );
  return ending;
}

// What an assertion printed; "survived: ..." when the code came back.
template < class F >
std::string deathOf( F && code ) {
  const Ending ending = inChild( code );
  return ending.aborted ? ending.text : "survived: " + ending.text;
}

}  // namespace Test
