#include <fmt/format.h>

#include "agent/acl/PoliceRate.h"
#include "agent/acl/RuleText.h"
#include "agent/command/Explain.h"
#include "agent/command/ExplainCommand.h"
#include "agent/command/Inspect.h"
#include "agent/command/MapCommand.h"
#include "agent/packets/PacketFiles.h"
#include "agent/packets/RandomPackets.h"
#include "agent/report/CostReport.h"
#include "agent/report/FitReport.h"
#include "agent/report/OutputFile.h"
#include "agent/report/Terminal.h"
#include "agent/report/map/SliceMap.h"
#include "agent/shell/OtherProcess.h"
#include "agent/shell/Shell.h"
#include "agent/shell/ShellError.h"
#include "agent/text/TextTable.h"
#include "agent/verdict/WhatIf.h"
#include "agent/verify/audit/Auditor.h"

namespace Agent {

namespace {

constexpr U32 unit = SwitchSession::unit;
constexpr U64 nanosecondsPerSecond = 1'000'000'000;
constexpr U32 randomMax = 10'000'000;  // all are in memory

constexpr const char * views[] = { "summary",  "detail", "raw",         "banks",
                                   "capacity", "entry:", "group-dump:", "entry-dump:" };
constexpr const char * counters[] = { "all", "unit", "user:", "group:", "entry:" };

std::string portsText( const Acl & acl ) {
  const std::string direction = acl.direction == Direction::in ? "in" : "out";
  if ( acl.boundPorts.empty() )
    return direction + " all";
  const MatchField & field =
      matchField( acl.direction == Direction::in ? FieldId::inPorts : FieldId::outPorts );
  AclRule bound;
  setRanges( bound, field.id, acl.boundPorts );
  return direction + " " + fieldText( field, bound );
}

// The library's record of capacity.
std::string capacityReport( SwitchSession & session ) {
  session.capacity().poll();
  CapacityReport report;
  for ( const auto & [ key, row ] : session.capacityTable().rows() )
    report.rows.push_back( { { key.unit, Morvane::tcamStageName( key.stage ).charPtr(), row,
                               session.capacity().threshold( key ) },
                             session.capacity().alarm( key ) } );
  return capacityText( report );
}

std::string fateText( const PacketFate & fate ) {
  std::string text = fate.drop ? "dropped" : "forwarded";
  if ( fate.copyToCpu )
    text += ", copied to the CPU";
  for ( const U32 port : fate.mirrorPorts )
    text += fmt::format( ", mirrored to port {}", port );
  return text + ( fate.rules.empty() ? ": no rule matches" : "" ) + "\n";
}

}  // namespace

std::span< const char * const > shellViews() {
  return views;
}

std::span< const char * const > shellCounters() {
  return counters;
}

// --- Lists -----------------------------------------------------------------------------------

void Shell::lists( ShellWords & words ) {
  words.finish();
  const std::vector< Acl > & acls = live_.input().acls;
  TextTable table( { "ACL", ">rules", ">entries", "type", "use", "ports", "default", "file" } );
  for ( U32 i = 0; i < acls.size(); ++i ) {
    const Acl & acl = acls[ i ];
    size_t entries = 0;
    for ( U32 rule = 0; rule < acl.size(); ++rule )
      entries += live_.feature().find( { i, rule } )->entries.size();
    table.add( { acl.name, countText( acl.rules.size() ), countText( entries ),
                 kindName( acl.kind ), useName( acl.use ), portsText( acl ),
                 forwardingName( acl.defaultAction ), acl.file } );
  }
  printOutput( acls.empty() ? "there are no lists\n"
                            : table.text( Terminal::standardOutput().columns ) );
}

void Shell::listShow( ShellWords & words ) {
  const U32 acl = live_.listNamed( words.next( "a list" ) );
  words.finish();
  const Acl & list = live_.input().acls[ acl ];
  TextTable table( { ">rule", ">line", ">entries", ">packets", ">bytes", "action", "match" } );
  for ( U32 i = 0; i < list.size(); ++i ) {
    const AclRule & rule = list.rule( i );
    const bool isRule = i < list.rules.size();
    const RuleCounters counts = live_.feature().counters( { acl, i } );
    table.add( { isRule ? std::to_string( i + 1 ) : "rest",
                 rule.line == 0 ? "" : std::to_string( rule.line ),
                 countText( live_.feature().find( { acl, i } )->entries.size() ),
                 countText( counts.packets ), countText( counts.bytes ), actionsText( rule ),
                 matchText( list.kind, rule ) } );
  }
  printOutput( table.text( Terminal::standardOutput().columns ) );
}

// --- Packets ---------------------------------------------------------------------------------

void Shell::send( ShellWords & words ) {
  const RunOptions & options = live_.options();
  const U64 interval = nanosecondsPerSecond / options.packetsPerSecond;
  if ( words.take( "--packets" ) ) {
    const std::string file = words.next( "a file" );
    words.finish();
    sendPackets( readPackets( file, interval ).packets );
  } else if ( words.take( "--random" ) ) {
    const U32 count = words.number( "the number of packets", randomMax );
    const U64 seed = words.done() ? options.seed : words.number( "the seed", ~0U );
    words.finish();
    std::vector< Packet > packets;
    appendFrames( packets, randomFrames( live_.input().acls, seed, count ), interval );
    sendPackets( packets );
  } else {
    sendOne( words.rest( "a packet" ) );
  }
}

// A packet for itself: the virtual clock advances as for those of a trace.
void Shell::sendOne( const std::string & text ) {
  SentPacket sent = packetInWords( live_.input(), text );
  sent.packet.time = nanosecondsPerSecond / live_.options().packetsPerSecond;
  Replay replay( live_.session(),
                 [ this ]( U32 entry ) { return live_.feature().ruleOf( entry ); } );
  const PacketFate fate = replay.send( sent.packet, sent.ports );
  std::string report = fateText( fate );
  for ( const RuleIndex & index : fate.rules )
    report += ruleCounts( index );
  printOutput( report );
}

std::string Shell::ruleCounts( const RuleIndex & index ) {
  const Acl & acl = live_.input().acls[ index.acl ];
  const RuleCounters counts = live_.feature().counters( index );
  return fmt::format( "  {} rule {}: {}; packets: {}, bytes: {}\n", acl.name, index.rule + 1,
                      ruleText( acl.kind, acl.rules[ index.rule ] ), countText( counts.packets ),
                      countText( counts.bytes ) );
}

void Shell::sendPackets( const std::vector< Packet > & packets ) {
  Replay replay( live_.session(),
                 [ this ]( U32 entry ) { return live_.feature().ruleOf( entry ); } );
  U64 matched = 0;
  U64 dropped = 0;
  U64 copied = 0;
  U64 mirrored = 0;
  for ( U64 i = 0; i < packets.size(); ++i ) {
    const PacketFate fate = replay.send( packets[ i ], live_.input().portsOfPacket( i ) );
    matched += fate.rules.empty() ? 0 : 1;
    dropped += fate.drop ? 1 : 0;
    copied += fate.copyToCpu ? 1 : 0;
    mirrored += fate.mirrorPorts.empty() ? 0 : 1;
  }
  printOutput( fmt::format(
      "{} packets: {} matched a rule, {} none; {} dropped, {} copied to the CPU, {} mirrored\n",
      countText( packets.size() ), countText( matched ), countText( packets.size() - matched ),
      countText( dropped ), countText( copied ), countText( mirrored ) ) );
}

void Shell::explain( ShellWords & words ) {
  const std::string text = words.rest( "a packet" );
  const SentPacket sent = packetInWords( live_.input(), text );
  Explanation explanation = Explainer( live_.input(), live_.session(), live_.feature() )
                                .explain( sent.packet, sent.ports, {} );
  explanation.packet = fmt::format( "Packet \"{}\"", text );
  printOutput( explanationText( explanation ) );
}

// --- Views -----------------------------------------------------------------------------------

void Shell::show( ShellWords & words ) {
  const Platform::PlatformData & platform = live_.input().platform;
  Morvane::MorvaneTcamGroupManager & manager = live_.session().groupManager();
  const UsageRequest request =
      usageRequest( words.done() ? "summary" : words.next( "a view" ), platform );
  words.finish();
  requireEntry( manager, unit, request );
  printOutput( request.view == UsageView::capacity
                   ? capacityReport( live_.session() )
                   : usageText( manager, platform.name, unit, request ) );
}

void Shell::map( ShellWords & words ) {
  words.finish();
  Map::SliceMap slices =
      Map::sliceMap( live_.session().groupManager(), live_.session().chip(), unit );
  RunReport report;
  report.acls.resize( live_.input().acls.size() );
  nameLists( live_.input(), report, slices );
  slices.title =
      fmt::format( "{}: {}", live_.input().platform.name, live_.input().platform.description );
  printOutput( Map::textMap( slices, { false, Terminal::standardOutput().colours } ) );
}

void Shell::cost( ShellWords & words ) {
  words.finish();
  const RunInput & input = live_.input();
  const RangeChoice choice = rangeChoice( input.portMethod, input.platform, input.acls );
  printOutput(
      costText( input.platform, costOf( input.platform, input.acls, choice ), false, {} ) );
}

void Shell::fit( ShellWords & words ) {
  Platform::PlatformData platform = live_.input().platform;
  std::vector< Acl > acls = live_.input().acls;
  std::vector< std::string > changes;
  while ( auto change = words.nextIfAny() ) {
    if ( const auto fault = applyWhatIf( *change, platform, acls ) )
      throw ShellError( fmt::format( "{}: {}", *change, *fault ) );
    changes.push_back( std::move( *change ) );
  }
  printOutput( inOtherProcess( [ & ] {
    return fitText( { fitLists( platform, acls, live_.input().portMethod ) }, changes, {},
                    Terminal::standardOutput().columns );
  } ) );
}

void Shell::inspect( ShellWords & words ) {
  InspectOptions options;
  options.path = words.nextIfAny().value_or( "" );
  words.finish();
  live_.session().capacity().poll();
  printOutput( Agent::inspect( { { "groupManager", &live_.session().groupManager() },
                                 { "tcamCapacity", &live_.session().capacity() } },
                               options ) );
}

void Shell::countersClear( ShellWords & words ) {
  const ClearRequest request =
      clearRequest( words.done() ? "all" : words.rest( "what" ), live_.input().platform );
  Morvane::MorvaneTcamGroupManager & manager = live_.session().groupManager();
  requireHeld( manager, unit, request );
  clearCounters( manager, unit, request );
  printOutput( fmt::format( "counters cleared: {}\n", request.text ) );
}

void Shell::verify( ShellWords & words ) {
  words.finish();
  const std::vector< std::string > differences =
      Audit::audit( live_.session().groupManager(), live_.session().chip() );
  for ( const std::string & line : differences )
    printOutput( line + "\n" );
  if ( !differences.empty() )
    throw ShellError( fmt::format( "records and chip differ in {} places", differences.size() ) );
  printOutput( "records and chip are the same\n" );
}

}  // namespace Agent
