// The command morvane-tcam. Exit status: 0 success, 1 an access list does not fit, refused rules
// were left out, verification or comparison found a difference or check found something, 2 usage
// error, invalid input or failed output.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>

#include "agent/command/CostCommand.h"
#include "agent/command/CountCommand.h"
#include "agent/command/ExplainCommand.h"
#include "agent/command/FitCommand.h"
#include "agent/command/Help.h"
#include "agent/command/Inspect.h"
#include "agent/command/MapCommand.h"
#include "agent/command/MeaningCommands.h"
#include "agent/command/Run.h"
#include "agent/command/RunCommandLine.h"
#include "agent/command/UsageError.h"
#include "agent/report/OutputFile.h"
#include "agent/report/PlatformList.h"
#include "agent/session/SwitchSession.h"
#include "agent/verdict/WhatIf.h"
#include "kiv/Lock.h"
#include "platform/InputError.h"

namespace {

using namespace Kiv::Integers;

constexpr int exitSuccess = 0;
constexpr int exitDifference = 1;
constexpr int exitUsage = 2;

void printRefusals( const Agent::ReaderRemarks & remarks ) {
  for ( const std::string & line : remarks.refusals )
    Agent::printError( line );
}

int runCommand( const Agent::RunOptions & options, Agent::OutputOptions output ) {
  output.text.terminal = Agent::Terminal::standardOutput();
  const Agent::RunInput input = Agent::readInput( options );
  printRefusals( input.remarks );
  const Agent::RunReport report = Agent::run( input );
  if ( !options.html.empty() )
    Agent::writeFile( options.html, htmlReport( report ) );
  Agent::printOutput( output.json ? jsonReport( report ) : textReport( report, output.text ) );
  if ( output.json )
    for ( const std::string & difference : report.differences )
      Agent::printError( difference );
  return report.success() ? exitSuccess : exitDifference;
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

int inspectCommand( const Agent::RunOptions & options, const Agent::InspectOptions & inspect ) {
  const Agent::RunInput input = Agent::readInput( options );
  std::string shown;
  const auto look = [ & ]( Agent::SwitchSession & session ) {
    session.capacity().poll();
    shown = Agent::inspect(
        { { "groupManager", &session.groupManager() }, { "tcamCapacity", &session.capacity() } },
        inspect );
  };
  const std::vector< std::string > unfit = unfitLists( Agent::withProgrammedSwitch( input, look ) );
  printRefusals( input.remarks );
  Agent::printOutput( inspect.json ? withPartial( input.remarks, shown )
                                   : partialText( input.remarks ) + shown );
  for ( const std::string & line : unfit )
    Agent::printError( line );
  return unfit.empty() && input.remarks.refused == 0 ? exitSuccess : exitDifference;
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

int command( int argc, char ** argv ) {
  CLI::App app(
      "Runs access lists on a software switch through the TCAM manager library. Without "
      "a command: run, on the built-in example.",
      "morvane-tcam" );
  Agent::RunOptions runOptions;
  Agent::OutputOptions output;
  app.require_subcommand( 0, 1 );
  CLI::App * run = app.add_subcommand( "run", "Program access lists and classify packets" );
  Agent::addRunOptions( *run, runOptions, output );
  Agent::InspectOptions inspectOptions;
  CLI::App * inspect = app.add_subcommand(
      "inspect", "Program access lists and show or set the library's state by name" );
  Agent::addAclOptions( *inspect, runOptions );
  addInspectOptions( *inspect, inspectOptions );
  Agent::MapOptions mapOptions;
  CLI::App * map =
      app.add_subcommand( "map", "Program access lists and draw the TCAM occupancy map" );
  Agent::addAclOptions( *map, runOptions );
  Agent::addMapOptions( *map, mapOptions );
  bool countJson = false;
  CLI::App * count = app.add_subcommand(
      "count", "Count the rules and TCAM entries of access lists of any length" );
  Agent::addAclOptions( *count, runOptions );
  count->add_flag( "--json", countJson, "Write one JSON object instead of a table" );
  Agent::CostOptions costOptions;
  CLI::App * cost = app.add_subcommand(
      "cost", "Say which entries and range checkers the rules of access lists take, and why" );
  Agent::addListArguments( *cost, runOptions );
  addCostOptions( *cost, runOptions, costOptions );
  Agent::FitOptions fitOptions;
  CLI::App * fit = app.add_subcommand(
      "fit", "Say whether access lists fit platforms, what binds, and what would make them fit" );
  Agent::addListArguments( *fit, runOptions );
  addFitOptions( *fit, fitOptions );
  Agent::MeaningOptions meaning;
  CLI::App * check = app.add_subcommand(
      "check", "Find rules that can never match, change nothing, can be merged or conflict" );
  addCheckOptions( *check, meaning );
  CLI::App * diff = app.add_subcommand(
      "diff", "Show the packets whose fate differs between two versions of access lists" );
  addDiffOptions( *diff, meaning );
  CLI::App * compact =
      app.add_subcommand( "compact", "Make access lists smaller that mean exactly the same" );
  addCompactOptions( *compact, meaning );
  Agent::ExplainOptions explainOptions;
  CLI::App * explain = app.add_subcommand(
      "explain", "Program access lists and show what happens to one packet, and why" );
  Agent::addAclOptions( *explain, runOptions );
  Agent::addPacketOptions( *explain, runOptions );
  Agent::addExplainOptions( *explain, explainOptions );
  CLI::App * platforms = app.add_subcommand( "platforms", "List the built-in platforms" );
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
  if ( inspect->parsed() )
    return inspectCommand( runOptions, inspectOptions );
  if ( map->parsed() )
    return mapCommand( runOptions, mapOptions ) ? exitSuccess : exitDifference;
  if ( count->parsed() )
    return Agent::countCommand( runOptions, countJson ) ? exitSuccess : exitDifference;
  if ( cost->parsed() )
    return Agent::costCommand( runOptions, costOptions ) ? exitSuccess : exitDifference;
  if ( fit->parsed() )
    return Agent::fitCommand( runOptions, fitOptions ) ? exitSuccess : exitDifference;
  if ( check->parsed() )
    return Agent::checkCommand( meaning ) ? exitSuccess : exitDifference;
  if ( diff->parsed() )
    return Agent::diffCommand( meaning ) ? exitSuccess : exitDifference;
  if ( compact->parsed() )
    return Agent::compactCommand( meaning ) ? exitSuccess : exitDifference;
  if ( explain->parsed() )
    return Agent::explainCommand( runOptions, explainOptions ) ? exitSuccess : exitDifference;
  if ( platforms->parsed() ) {
    Agent::printOutput( Agent::platformsText() );
    return exitSuccess;
  }
  return runCommand( runOptions, output );
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
  } catch ( const Agent::UsageError & error ) {
    return fail( fmt::format( "morvane-tcam: {}", error.what() ) );
  }
}
