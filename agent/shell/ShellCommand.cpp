#include "agent/shell/ShellCommand.h"

#include <fmt/core.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>

#include "agent/report/OutputFile.h"
#include "agent/shell/LineEditor.h"
#include "agent/shell/Shell.h"
#include "platform/InputError.h"

namespace Agent {

namespace {

// Each command's output only; what is wrong is on standard error, with the line.
bool runScript( Shell & shell, std::istream & script, const std::string & name, bool stopOnError ) {
  bool done = true;
  std::string line;
  for ( U32 number = 1; !shell.ended() && std::getline( script, line ); ++number ) {
    const auto fault = shell.run( line );
    if ( !fault )
      continue;
    printError( fmt::format( "{}:{}: {}", name, number, *fault ) );
    done = false;
    if ( stopOnError )
      break;
  }
  return done;
}

// What is wrong ends nothing here: its reader sees it, and types on.
void runTerminal( Shell & shell ) {
  LineEditor editor( "morvane> ", historyFile(),
                     [ & ]( std::string_view line ) { return completions( shell.live(), line ); } );
  while ( !shell.ended() ) {
    const auto line = editor.next();
    if ( !line )
      break;
    if ( const auto fault = shell.run( *line ) )
      printError( *fault );
  }
}

}  // namespace

void addShellOptions( CLI::App & app, ShellOptions & shell ) {
  app.get_option( "--acl" )->description(
      "Access list to start with, FILE or NAME=FILE; repeatable, in order of precedence; default: "
      "none" );
  app.add_option( "--script", shell.script, "Read commands from a file, not from standard input" )
      ->type_name( "FILE" );
  app.add_flag( "--stop-on-error", shell.stopOnError,
                "End a script at the first command that cannot be done" );
}

bool shellCommand( const RunOptions & options, const ShellOptions & shell ) {
  std::ifstream script;
  if ( !shell.script.empty() ) {
    Platform::readFile( shell.script );  // with its message
    script.open( shell.script );
  }
  LiveSwitch live( options );
  bool done = live.refused() == 0;
  for ( const std::string & fault : live.addFirstLists() ) {
    printError( fault );
    done = false;
  }
  Shell commands( live );
  if ( shell.script.empty() && ::isatty( STDIN_FILENO ) == 1 && ::isatty( STDOUT_FILENO ) == 1 ) {
    runTerminal( commands );
    live.session().requireRecorded();
    return true;
  }
  if ( done || !shell.stopOnError )
    done &= runScript( commands, shell.script.empty() ? std::cin : script,
                       shell.script.empty() ? "standard input" : shell.script, shell.stopOnError );
  live.session().requireRecorded();
  return done && live.refused() == 0;
}

}  // namespace Agent
