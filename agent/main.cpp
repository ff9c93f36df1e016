// The command morvane-tcam. Exit status: 0 all is well, 1 an access list does not fit or
// verification found a difference, 2 wrong usage or unreadable input.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "agent/Inspect.h"
#include "agent/Run.h"
#include "agent/RunCommandLine.h"
#include "agent/SwitchSession.h"
#include "agent/TextTable.h"
#include "kiv/Lock.h"
#include "platform/InputError.h"
#include "platform/PlatformLoader.h"

namespace {

using namespace Kiv::Integers;

constexpr int exitWell = 0;
constexpr int exitDifference = 1;
constexpr int exitUsage = 2;

int runCommand( const Agent::RunOptions & options, const Agent::OutputOptions & output ) {
  const Agent::RunInput input = Agent::readInput( options );
  const Agent::RunReport report = Agent::run( input );
  fmt::print( "{}", output.json ? jsonReport( report ) : textReport( report, output.detail ) );
  if ( output.json ) {
    for ( const std::string & difference : report.differences )
      fmt::print( stderr, "{}\n", difference );
  }
  return report.allWell() ? exitWell : exitDifference;
}

void addInspectOptions( CLI::App & app, Agent::InspectOptions & inspect ) {
  app.add_option( "PATH", inspect.path,
                  "What to show, e.g. groupManager/entryManager[ipAclTcamGroup]/exhausted; without "
                  "it the whole tree" );
  app.add_option( "--set", inspect.sets,
                  "Writes an attribute before anything is shown; repeatable" )
      ->type_name( "PATH=VALUE" )
      ->take_all()
      ->allow_extra_args( false );
}

int inspectCommand( const Agent::RunOptions & options, const Agent::InspectOptions & inspect ) {
  const Agent::RunInput input = Agent::readInput( options );
  std::string shown;
  Agent::withProgrammedSwitch( input, [ & ]( Agent::SwitchSession & session ) {
    shown = Agent::inspect( "groupManager", &session.groupManager(), inspect );
  } );
  fmt::print( "{}", shown );
  return exitWell;
}

U32 ingressRows( const SoftAsic::ChipProfile & chip ) {
  U32 rows = 0;
  for ( const SoftAsic::StageProfile & stage : chip.stages ) {
    for ( const SoftAsic::SliceProfile & slices : stage.slices )
      rows += stage.kind == SoftAsic::StageKind::ifp ? slices.count * slices.depth : 0;
  }
  return rows;
}

int platformsCommand() {
  Agent::TextTable table( { "platform", ">pipes", ">copies", ">ports", ">ingress rows a copy",
                            ">IPv4 ACL entries", "description" } );
  for ( const std::string & name : Platform::builtInPlatforms() ) {
    const Platform::PlatformData data = Platform::loadPlatform( name );
    U32 aclEntries = 0;
    for ( const Platform::ReservationData & user : data.reservations )
      aclEntries += user.assignment == Morvane::ipAclTcamGroup ? user.size : 0;
    table.add( { name, std::to_string( data.chip.pipes ), data.chip.secondCopy ? "2" : "1",
                 std::to_string( data.chip.ports() ), Agent::countText( ingressRows( data.chip ) ),
                 Agent::countText( aclEntries ), data.description } );
  }
  fmt::print( "{}", table.text() );
  return exitWell;
}

int fail( std::string message ) {
  std::replace( message.begin(), message.end(), '\n', ' ' );
  fmt::print( stderr, "{}\n", message );
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
  Agent::addReportOptions( *run, runOptions );
  Agent::InspectOptions inspectOptions;
  CLI::App * inspect = app.add_subcommand(
      "inspect", "Program access lists and show, or set, the library's state by name" );
  Agent::addRunOptions( *inspect, runOptions, output );
  addInspectOptions( *inspect, inspectOptions );
  CLI::App * platforms = app.add_subcommand( "platforms", "List the built-in platforms" );
  try {
    app.parse( argc, argv );
  } catch ( const CLI::Success & help ) {
    return app.exit( help );
  } catch ( const CLI::ParseError & error ) {
    return fail( fmt::format( "morvane-tcam: {}", error.what() ) );
  }
  if ( inspect->parsed() ) {
    inspectOptions.json = output.json;
    return inspectCommand( runOptions, inspectOptions );
  }
  return platforms->parsed() ? platformsCommand() : runCommand( runOptions, output );
}

}  // namespace

int main( int argc, char ** argv ) {
  // The agent's activity: library code runs under this lock.
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  try {
    return command( argc, argv );
  } catch ( const Platform::InputError & error ) {
    return fail( error.what() );
  } catch ( const Agent::UsageError & error ) {
    return fail( fmt::format( "morvane-tcam: {}", error.what() ) );
  }
}
