#include "agent/report/Progress.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Agent {

namespace {

// A terminal of some width whose clock the test sets.
struct FakeTerminal {
  U64 now = 5000;
  std::string written;
  ProgressOutput output( U32 columns ) {
    return { [ this ]( const std::string & text ) { written += text; }, [ this ] { return now; },
             columns };
  }
  std::string take() { return std::exchange( written, {} ); }
};

// What work of two seconds shows where standard error is a terminal of this type.
std::string shownOn( const std::string & type ) {
  int terminal = -1;
  const pid_t child = forkpty( &terminal, nullptr, nullptr, nullptr );
  if ( child == 0 ) {
    setenv( "TERM", type.c_str(), 1 );
    ProgressOutput output = ProgressOutput::standardError();
    U64 now = 0;
    output.milliseconds = [ & ] { return now; };
    {
      Progress progress( "verifying", output );
      now = 2000;
      progress.at( 1, 2 );
    }
    _exit( 0 );
  }
  std::string text;
  char block[ 512 ];
  for ( ssize_t size; ( size = read( terminal, block, sizeof block ) ) > 0; )
    text.append( block, static_cast< size_t >( size ) );
  close( terminal );
  waitpid( child, nullptr, 0 );
  return text;
}

}  // namespace

TEST( ProgressTest, AppearsAfterASecondAndErasesItself ) {
  FakeTerminal terminal;
  {
    Progress progress( "reading", terminal.output( 80 ) );
    terminal.now += 999;
    progress.at( 10, 100 );
    EXPECT_EQ( terminal.take(), "" );
    terminal.now += 1;
    progress.at( 50, 100 );
    EXPECT_EQ( terminal.take(),
               "\r\033[Kreading [" + std::string( 20, '#' ) + std::string( 20, '.' ) + "]  50 %" );
    terminal.now += 99;
    progress.at( 60, 100 );
    EXPECT_EQ( terminal.take(), "" );
    terminal.now += 1;
    progress.at( 100, 100 );
    EXPECT_NE( terminal.take().find( std::string( 40, '#' ) + "] 100 %" ), std::string::npos );
  }
  EXPECT_EQ( terminal.take(), "\r\033[K" );
  { const Progress never( "reading", terminal.output( 80 ) ); }
  EXPECT_EQ( terminal.take(), "" );
}

TEST( ProgressTest, FitsTheTerminal ) {
  for ( const U32 columns : { 22U, 30U, 200U } ) {
    FakeTerminal terminal;
    Progress progress( "reading", terminal.output( columns ) );
    terminal.now += 2000;
    progress.at( 1, 3 );
    EXPECT_LT( terminal.take().size(), columns + 4 ) << columns;
  }
}

TEST( ProgressTest, IsShownOnTerminalsThatCanEraseIt ) {
  const std::string shown = shownOn( "xterm" );
  EXPECT_NE( shown.find( "verifying [" ), std::string::npos ) << shown;
  EXPECT_TRUE( shown.ends_with( "\r\033[K" ) ) << shown;
  EXPECT_EQ( shownOn( "dumb" ) + shownOn( "" ), "" );
}

}  // namespace Agent
