// Runs code in a forked child and returns how it ended. Cheaper than a death test, and usable in
// loops: the parent keeps its state.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "kiv/Lock.h"

namespace Test {

struct Ending {
  bool aborted = false;  // in an assertion
  bool failed = false;   // in any way
  std::string text;      // standard error
};

// The child holds the activity lock if the parent does, and exits without running destructors.
template < class F >
Ending inChild( F && code ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  Kiv::Lock & activity = Kiv::ActivityUnlockAnchor::lock();
  const bool held = activity.held();
  if ( held )
    activity.unlock();  // a lock held across a fork belongs to the parent's thread
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

// The assertion's text; "survived: ..." if the code returned.
template < class F >
std::string deathOf( F && code ) {
  const Ending ending = inChild( code );
  return ending.aborted ? ending.text : "survived: " + ending.text;
}

}  // namespace Test
