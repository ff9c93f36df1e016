// The command morvane-tcam. Exit status: 0 all is well, 1 an access list does not fit or
// verification found a difference, 2 wrong usage, unreadable input or an unwritable file.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "agent/Inspect.h"
#include "agent/MapCommand.h"
#include "agent/OutputFile.h"
#include "agent/PlatformList.h"
#include "agent/Run.h"
#include "agent/SwitchSession.h"
#include "kiv/Lock.h"
#include "platform/InputError.h"

namespace {

using namespace Kiv::Integers;

constexpr int exitWell = 0;
constexpr int exitDifference = 1;
constexpr int exitUsage = 2;
constexpr U32 randomMax = 10'000'000;  // all packets are held in memory
constexpr U32 packetRateMax = 1'000'000'000;

// How the report is written.
struct OutputOptions {
  bool json = false;
  bool detail = false;
};

void addRuleOptions( CLI::App & app, Agent::RunOptions & run ) {
  app.add_option_function< std::string >(
         "--ports",
         [ &run ]( const std::string & method ) {
           run.ports = method == "auto"       ? Agent::PortMethod::automatic
                       : method == "checkers" ? Agent::PortMethod::checkers
                                              : Agent::PortMethod::expand;
         },
         "How port ranges are matched: checkers, by range checkers alone; expand, by prefixes; "
         "auto, by range checkers while there are some" )
      ->check( CLI::IsMember( { "checkers", "expand", "auto" } ) );
  app.add_option( "--police", run.police,
                  "Drops what exceeds a rate: RULE is an index from 0, or LIST/INDEX; RATE is "
                  "bit/s, with k, M or G; BURST is bytes; repeatable" )
      ->type_name( "RULE:RATE[:BURST]" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_option_function< std::string >(
         "--default", [ &run ]( const std::string & fate ) { run.denyByDefault = fate == "deny"; },
         "Fate of packets that no rule matches: permit or deny" )
      ->check( CLI::IsMember( { "permit", "deny" } ) );
}

// What is programmed, and on which switch.
void addAclOptions( CLI::App & app, Agent::RunOptions & run ) {
  app.add_option( "--platform", run.platform, "Built-in platform, or a platform file (JSON)" )
      ->capture_default_str();
  app.add_option( "--acl", run.acls,
                  "Access list, FILE or NAME=FILE; repeatable, earlier ones win; without it the "
                  "built-in example" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_option_function< std::string >(
         "--format",
         [ &run ]( const std::string & name ) {
           run.format = name == "auto"    ? Agent::AclFormat::detect
                        : name == "rules" ? Agent::AclFormat::rules
                                          : Agent::AclFormat::classBench;
         },
         "Format of the access lists: ClassBench, or a rules file (JSON)" )
      ->check( CLI::IsMember( { "auto", "classbench", "rules" } ) );
  addRuleOptions( app, run );
}

void addRunOptions( CLI::App & app, Agent::RunOptions & run, OutputOptions & output ) {
  addAclOptions( app, run );
  app.add_option( "--packets", run.packets,
                  "Capture (pcap, pcapng) of Ethernet, whose times are kept, or trace, `sip dip "
                  "sport dport proto ...` in decimal, one packet a line" )
      ->type_name( "FILE" );
  app.add_option( "--random", run.random, "Packets made from the rules" )
      ->type_name( "N" )
      ->check( CLI::Range( 0U, randomMax ) );
  app.add_option( "--seed", run.seed, "Seed of the random packets" )->type_name( "S" );
  app.add_option( "--pps", run.packetsPerSecond,
                  "Rate, on the chip's virtual clock, of the packets that have no time of their "
                  "own: those of traces and the random ones" )
      ->type_name( "N" )
      ->capture_default_str()
      ->check( CLI::Range( 1U, packetRateMax ) );
  app.add_option( "--ingress-port", run.ingressPort, "Port at which packets enter" )
      ->type_name( "N" );
  app.add_option_function< std::string >(
         "--show",
         [ &run, &output ]( const std::string & form ) {
           run.show = form;
           output.detail = form == "detail";
         },
         "The library's report of TCAM use as well: summary; detail, with entries (and all rules "
         "instead of the ten busiest); raw, the slices; banks; capacity; entry:ID" )
      ->type_name( "VIEW" );
  app.add_flag( "--verify", run.verify,
                "Compare every packet with a walk over the rules on every pipe and copy, and audit "
                "the books" );
  app.add_flag( "--json", output.json, "Write one JSON object instead of tables" );
}

int runCommand( const Agent::RunOptions & options, const OutputOptions & output ) {
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
  OutputOptions output;
  app.require_subcommand( 0, 1 );
  CLI::App * run = app.add_subcommand( "run", "Program access lists and classify packets" );
  addRunOptions( *run, runOptions, output );
  Agent::InspectOptions inspectOptions;
  CLI::App * inspect = app.add_subcommand(
      "inspect", "Program access lists and show, or set, the library's state by name" );
  addRunOptions( *inspect, runOptions, output );
  addInspectOptions( *inspect, inspectOptions );
  Agent::MapOptions mapOptions;
  CLI::App * map =
      app.add_subcommand( "map", "Program access lists and draw who has which rows of the TCAM" );
  addAclOptions( *map, runOptions );
  Agent::addMapOptions( *map, mapOptions );
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
  if ( map->parsed() )
    return mapCommand( runOptions, mapOptions ) ? exitWell : exitDifference;
  if ( platforms->parsed() ) {
    fmt::print( "{}", Agent::platformsText() );
    return exitWell;
  }
  return runCommand( runOptions, output );
}

}  // namespace

int main( int argc, char ** argv ) {
  // The agent's activity: library code runs under this lock.
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  try {
    return command( argc, argv );
  } catch ( const Platform::InputError & error ) {
    return fail( error.what() );
  } catch ( const Agent::OutputError & error ) {
    return fail( error.what() );
  } catch ( const Agent::UsageError & error ) {
    return fail( fmt::format( "morvane-tcam: {}", error.what() ) );
  }
}
