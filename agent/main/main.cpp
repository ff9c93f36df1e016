// The command morvane-tcam. Exit status: 0 success, 1 an access list does not fit, refused rules
// were left out, verification or comparison found a difference or check found something, 2 usage
// error, invalid input or failed output.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <system_error>

#include "agent/command/CostCommand.h"
#include "agent/command/CountCommand.h"
#include "agent/command/ExplainCommand.h"
#include "agent/command/FitCommand.h"
#include "agent/command/Help.h"
#include "agent/command/Inspect.h"
#include "agent/command/ManualPage.h"
#include "agent/command/MapCommand.h"
#include "agent/command/MeaningCommands.h"
#include "agent/command/Messages.h"
#include "agent/command/ReplayCommand.h"
#include "agent/command/Run.h"
#include "agent/command/UsageError.h"
#include "agent/main/RunCommandLine.h"
#include "agent/report/FitReport.h"
#include "agent/report/OutputFile.h"
#include "agent/report/PlatformList.h"
#include "agent/session/SwitchSession.h"
#include "agent/shell/ShellCommand.h"
#include "agent/verdict/WhatIf.h"
#include "cli/Completion.h"
#include "kiv/Lock.h"
#include "platform/InputError.h"
#include "platform/PlatformLoader.h"

namespace {

using namespace Kiv::Integers;

constexpr int exitSuccess = 0;
constexpr int exitDifference = 1;
constexpr int exitUsage = 2;

// The filter acts on the tables of rules only.
void requireFiltered( const Agent::RunInput & input, const Agent::OutputOptions & output ) {
  if ( output.text.filter.empty() )
    return;
  if ( output.json )
    throw Agent::UsageError( "--filter is for the text report, not for --json" );
  if ( !output.text.detail && input.packets.packets.empty() )
    throw Agent::UsageError( "--filter needs --show detail, or packets for the busiest rules" );
}

bool runCommand( const Agent::RunOptions & options, Agent::OutputOptions output ) {
  output.text.terminal = Agent::Terminal::standardOutput();
  const Agent::RunInput input = Agent::readInput( options );
  requireFiltered( input, output );
  Agent::printRefusals( input.remarks );
  const Agent::RunReport report = Agent::run( input );
  if ( !options.html.empty() )
    Agent::writeFile( options.html, htmlReport( report, Agent::fitLists( input.platform, input.acls,
                                                                         input.portMethod ) ) );
  Agent::printOutput( output.json ? jsonReport( report ) : textReport( report, output.text ) );
  if ( output.json )
    for ( const std::string & difference : report.differences )
      Agent::printError( difference );
  return report.success();
}

void addInspectOptions( CLI::App & app, Agent::InspectOptions & inspect ) {
  app.add_option(
      "PATH", inspect.path,
      "What to show, e.g. groupManager/entryManager[ipAclTcamGroup]/exhausted; default: "
      "the whole tree" );
  app.add_option( "--set", inspect.sets, "Set an attribute before showing; repeatable" )
      ->type_name( "PATH=VALUE" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_flag( "--json", inspect.json, "Write JSON instead of text" );
}

bool inspectCommand( const Agent::RunOptions & options, const Agent::InspectOptions & inspect ) {
  const Agent::RunInput input = Agent::readInput( options );
  std::string shown;
  const auto look = [ & ]( Agent::SwitchSession & session ) {
    session.capacity().poll();
    shown = Agent::inspect(
        { { "groupManager", &session.groupManager() }, { "tcamCapacity", &session.capacity() } },
        inspect );
  };
  const std::vector< std::string > unfit = unfitLists( Agent::withProgrammedSwitch( input, look ) );
  Agent::printRefusals( input.remarks );
  Agent::printOutput( inspect.json ? withPartial( input.remarks, shown )
                                   : partialText( input.remarks ) + shown );
  for ( const std::string & line : unfit )
    Agent::printError( line );
  return unfit.empty() && input.remarks.refused == 0;
}

void addCostOptions( CLI::App & app, Agent::RunOptions & run, Agent::CostOptions & cost ) {
  Agent::addPlatformOption( app, run );
  app.add_flag( "--all", cost.all,
                "Show every rule of several entries and every range, not only ten" );
  app.add_flag( "--json", cost.json, "Write one JSON object instead of tables" );
}

void addFitOptions( CLI::App & app, Agent::FitOptions & fit ) {
  app.add_option( "--platform", fit.platforms,
                  "Built-in platform, or a platform file (JSON); repeatable; default: large" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_option(
         "--what-if", fit.changes,
         "Change the platforms or a list first: one of " + Agent::whatIfNames() +
             "=N, +N or -N, or list:NAME*N, which repeats the rules of a list; repeatable" )
      ->type_name( "CHANGE" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_flag( "--json", fit.json, "Write one JSON object instead of tables" );
}

void addMeaningOptions( CLI::App & app, Agent::MeaningOptions & meaning ) {
  Agent::addPlatformOption( app, meaning.run );
  app.add_option( "--nodes", meaning.nodes, "Bound on the size of the sets of packets" )
      ->type_name( "N" )
      ->capture_default_str()
      ->check( CLI::Range( 10'000U, 100'000'000U ) );
  app.add_flag( "--json", meaning.json, "Write one JSON object instead of text" );
}

void addCheckOptions( CLI::App & app, Agent::MeaningOptions & meaning ) {
  Agent::addListArguments( app, meaning.run );
  addMeaningOptions( app, meaning );
  app.add_flag( "--overlaps", meaning.overlaps,
                "Also list rules that overlap with other actions, each pair with a packet" );
}

void addDiffOptions( CLI::App & app, Agent::MeaningOptions & meaning ) {
  app.add_option( "OLD", meaning.before, "Access lists, FILE or NAME=FILE" )->required();
  app.add_option( "NEW", meaning.after, "Access lists that replace them" )->required();
  Agent::addListOptions( app, meaning.run );
  addMeaningOptions( app, meaning );
  app.add_option( "--rows", meaning.rows, "Show at most N differences of each type of lists" )
      ->type_name( "N" )
      ->capture_default_str()
      ->check( CLI::Range( 1U, 1'000'000U ) );
  app.add_flag(
      "--apply", meaning.apply,
      "Replace the old lists on a software switch while packets run, and count those that "
      "met neither version" );
}

void addCompactOptions( CLI::App & app, Agent::MeaningOptions & meaning ) {
  Agent::addListArguments( app, meaning.run );
  addMeaningOptions( app, meaning );
  app.add_option( "--output", meaning.output, "Write the list as a rules file" )
      ->type_name( "FILE" );
}

int fail( std::string message ) {
  std::replace( message.begin(), message.end(), '\n', ' ' );
  Agent::printError( message );
  return exitUsage;
}

// Of all commands; those of the given one are read.
struct Options {
  Agent::RunOptions run;
  Agent::OutputOptions output;
  Agent::InspectOptions inspect;
  Agent::MapOptions map;
  bool countJson = false;
  Agent::CostOptions cost;
  Agent::FitOptions fit;
  Agent::MeaningOptions meaning;
  Agent::ExplainOptions explain;
  Agent::ShellOptions shell;
  Agent::ReplayOptions replay;
  Agent::MessageOptions messages;
};

struct Verb {
  const char * name;
  const char * what;
  void ( *add )( CLI::App & app, Options & options );
  bool ( *run )( const Options & options );  // returns whether the exit status is 0
  bool oneSwitch = false;  // has options for the library's messages and a record of SDK calls
};

bool printPlatforms( const Options & ) {
  Agent::printOutput( Agent::platformsText() );
  return true;
}

// The first one is the default.
constexpr Verb verbs[] = {
    { "run", "Program access lists and classify packets",
      []( CLI::App & app, Options & all ) { Agent::addRunOptions( app, all.run, all.output ); },
      []( const Options & all ) { return runCommand( all.run, all.output ); }, true },
    { "inspect", "Program access lists and show or set the library's state by name",
      []( CLI::App & app, Options & all ) {
        Agent::addAclOptions( app, all.run );
        addInspectOptions( app, all.inspect );
      },
      []( const Options & all ) { return inspectCommand( all.run, all.inspect ); }, true },
    { "map", "Program access lists and draw the TCAM occupancy map",
      []( CLI::App & app, Options & all ) {
        Agent::addAclOptions( app, all.run );
        Agent::addMapOptions( app, all.map );
      },
      []( const Options & all ) { return mapCommand( all.run, all.map ); }, true },
    { "count", "Count the rules and TCAM entries of access lists of any length",
      []( CLI::App & app, Options & all ) {
        Agent::addAclOptions( app, all.run );
        app.add_flag( "--json", all.countJson, "Write one JSON object instead of a table" );
      },
      []( const Options & all ) { return Agent::countCommand( all.run, all.countJson ); } },
    { "cost", "Say which entries and range checkers the rules of access lists take, and why",
      []( CLI::App & app, Options & all ) {
        Agent::addListArguments( app, all.run );
        addCostOptions( app, all.run, all.cost );
      },
      []( const Options & all ) { return Agent::costCommand( all.run, all.cost ); } },
    { "fit", "Say whether access lists fit platforms, what binds, and what would make them fit",
      []( CLI::App & app, Options & all ) {
        Agent::addListArguments( app, all.run );
        addFitOptions( app, all.fit );
      },
      []( const Options & all ) { return Agent::fitCommand( all.run, all.fit ); } },
    { "check", "Find rules that can never match, change nothing, can be merged or conflict",
      []( CLI::App & app, Options & all ) { addCheckOptions( app, all.meaning ); },
      []( const Options & all ) { return Agent::checkCommand( all.meaning ); } },
    { "diff", "Show the packets whose fate differs between two versions of access lists",
      []( CLI::App & app, Options & all ) { addDiffOptions( app, all.meaning ); },
      []( const Options & all ) { return Agent::diffCommand( all.meaning ); } },
    { "compact", "Make access lists smaller that mean exactly the same",
      []( CLI::App & app, Options & all ) { addCompactOptions( app, all.meaning ); },
      []( const Options & all ) { return Agent::compactCommand( all.meaning ); } },
    { "explain", "Program access lists and show what happens to one packet, and why",
      []( CLI::App & app, Options & all ) {
        Agent::addAclOptions( app, all.run );
        Agent::addPacketOptions( app, all.run );
        Agent::addExplainOptions( app, all.explain );
      },
      []( const Options & all ) { return Agent::explainCommand( all.run, all.explain ); }, true },
    { "shell", "Keep a switch alive and change its access lists, command by command",
      []( CLI::App & app, Options & all ) {
        Agent::addAclOptions( app, all.run );
        Agent::addShellOptions( app, all.shell );
      },
      []( const Options & all ) { return Agent::shellCommand( all.run, all.shell ); }, true },
    { "replay", "Make the SDK calls of a record again and find the first other result",
      []( CLI::App & app, Options & all ) { Agent::addReplayOptions( app, all.replay ); },
      []( const Options & all ) { return Agent::replayCommand( all.replay ); } },
    { "platforms", "List the built-in platforms", []( CLI::App &, Options & ) {}, printPlatforms },
};

int command( int argc, char ** argv ) {
  CLI::App app(
      "Runs access lists on a software switch through the TCAM manager library. Without "
      "a command: run, on the built-in example.",
      "morvane-tcam" );
  app.require_subcommand( 0, 1 );
  Options options;
  for ( const Verb & verb : verbs ) {
    CLI::App & added = *app.add_subcommand( verb.name, verb.what );
    verb.add( added, options );
    if ( verb.oneSwitch ) {
      Agent::addMessageOptions( added, options.messages );
      Agent::addRecordOption( added, options.run );
    }
  }
  std::string shell;
  const CLI::App & completion = Cli::addCompletion( app, shell );
  std::string manualFolder;
  const CLI::App & manual = Agent::addManual( app, manualFolder );
  Agent::addHelp( app );
  try {
    app.parse( argc, argv );
  } catch ( const CLI::Success & help ) {
    return app.exit( help );
  } catch ( const CLI::ExtrasError & ) {
    return fail( Agent::unknownArgument( app, { argv + 1, argv + argc } ) );
  } catch ( const CLI::ParseError & error ) {
    return fail( fmt::format( "morvane-tcam: {}", error.what() ) );
  }
  if ( completion.parsed() ) {
    Agent::printOutput(
        Cli::completionScript( app, shell, { { "platform", Platform::builtInPlatforms() } } ) );
    return exitSuccess;
  }
  if ( manual.parsed() ) {
    Agent::writeManualPages( app, manualFolder );
    return exitSuccess;
  }
  const Verb * chosen = verbs;
  for ( const Verb & verb : verbs )
    if ( app.got_subcommand( verb.name ) )
      chosen = &verb;
  std::optional< Agent::Messages > messages;
  if ( chosen->oneSwitch )
    messages.emplace( options.messages );
  return chosen->run( options ) ? exitSuccess : exitDifference;
}

}  // namespace

int main( int argc, char ** argv ) {
  // Library code runs under this lock.
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  try {
    return command( argc, argv );
  } catch ( const Agent::RefusedRules & refused ) {
    for ( const std::string & line : refused.lines() )
      Agent::printError( line );
    return exitUsage;
  } catch ( const Platform::InputError & error ) {
    return fail( error.what() );
  } catch ( const Agent::OutputError & error ) {
    return fail( error.what() );
  } catch ( const std::system_error & error ) {
    return fail( error.what() );
  } catch ( const Agent::UsageError & error ) {
    return fail( fmt::format( "morvane-tcam: {}", error.what() ) );
  }
}
