// The command morvane-tcam. Exit status: 0 all is well, 1 an access list does not fit or
// verification found a difference, 2 wrong usage or unreadable input.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "agent/Run.h"
#include "agent/TextTable.h"
#include "kiv/Lock.h"
#include "platform/InputError.h"
#include "platform/PlatformLoader.h"

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
}

void addRunOptions( CLI::App & app, Agent::RunOptions & run, OutputOptions & output ) {
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
         "--default", [ &run ]( const std::string & fate ) { run.denyByDefault = fate == "deny"; },
         "Fate of packets that no rule matches: permit or deny" )
      ->check( CLI::IsMember( { "permit", "deny" } ) );
  addRuleOptions( app, run );
  app.add_option_function< std::string >(
         "--show", [ &output ]( const std::string & form ) { output.detail = form == "detail"; },
         "summary: the ten busiest rules; detail: all of them" )
      ->check( CLI::IsMember( { "summary", "detail" } ) );
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
  OutputOptions output;
  app.require_subcommand( 0, 1 );
  CLI::App * run = app.add_subcommand( "run", "Program access lists and classify packets" );
  addRunOptions( *run, runOptions, output );
  CLI::App * platforms = app.add_subcommand( "platforms", "List the built-in platforms" );
  try {
    app.parse( argc, argv );
  } catch ( const CLI::Success & help ) {
    return app.exit( help );
  } catch ( const CLI::ParseError & error ) {
    return fail( fmt::format( "morvane-tcam: {}", error.what() ) );
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
