#include "agent/command/ExplainCommand.h"

#include <fmt/core.h>

#include <CLI/CLI.hpp>

#include "agent/acl/PoliceRate.h"
#include "agent/command/Explain.h"
#include "agent/command/TcamNames.h"
#include "agent/command/UsageError.h"
#include "agent/packets/PacketMaker.h"
#include "agent/packets/PacketText.h"
#include "agent/report/OutputFile.h"
#include "agent/session/SwitchSession.h"
#include "platform/PortNames.h"

namespace Agent {

namespace {

// What to explain: a packet of the run, after those before it, or one in words.
struct Wanted : SentPacket {
  std::string name;
  U64 before = 0;  // packets of the run to send first
};

void setPort( const RunInput & input, const char * word, const std::optional< std::string > & text,
              U32 & port ) {
  if ( !text )
    return;
  const auto ports = Platform::portsOf( input.platform, *text );
  if ( !ports || ports->low != ports->high )
    throw UsageError(
        fmt::format( "--packet: {} {}: {}", word, *text, Platform::portsText( input.platform ) ) );
  port = ports->low;
}

Wanted ofRun( const RunInput & input, U64 number ) {
  const std::vector< Packet > & packets = input.packets.packets;
  if ( packets.empty() )
    throw UsageError( "--packet: a number needs packets: --packets FILE or --random N" );
  if ( number == 0 || number > packets.size() )
    throw UsageError( fmt::format( "--packet: the run has the packets 1 to {}", packets.size() ) );
  return { { packets[ number - 1 ], input.portsOfPacket( number - 1 ) },
           fmt::format( "Packet {} of {}", number, packets.size() ),
           number - 1 };
}

Wanted inWords( const RunInput & input, const std::string & text ) {
  return { packetInWords( input, text ), fmt::format( "Packet \"{}\"", text ), 0 };
}

}  // namespace

SentPacket packetInWords( const RunInput & input, const std::string & text ) {
  TextPacket read;
  try {
    read = packetFromText( text );
  } catch ( const PacketTextError & error ) {
    throw UsageError( fmt::format( "--packet: {}", error.what() ) );
  }
  SentPacket sent = { { makeFrame( read.fields ), 0 }, input.ports.front() };
  setPort( input, "in", read.inPort, sent.ports.in );
  setPort( input, "out", read.outPort, sent.ports.out );
  return sent;
}

void addExplainOptions( CLI::App & app, ExplainOptions & explain ) {
  app.add_option( "--packet", explain.packet,
                  "A packet's number, from 1, of --packets or --random, which earlier ones "
                  "precede, or a packet in words: \"in 3 tcp 10.0.0.1:1024 > 192.0.2.9:443 flags "
                  "syn\"" )
      ->type_name( "N|TEXT" )
      ->required();
  app.add_option( "--rule", explain.rule, "Say why this rule, counted from 1, did not win" )
      ->type_name( "[LIST/]RULE" );
  app.add_flag( "--json", explain.json, "Write one JSON object instead of text" );
}

bool explainCommand( const RunOptions & options, const ExplainOptions & explain ) {
  const RunInput input = readInput( options );
  std::optional< RuleIndex > rule;
  if ( !explain.rule.empty() )
    rule = namedRule( "--rule " + explain.rule, explain.rule, input.acls );
  const auto number = numberFromText( explain.packet );
  const Wanted wanted = number ? ofRun( input, *number ) : inWords( input, explain.packet );
  Explanation explanation;
  const RunReport report =
      withProgrammedFeature( input, [ & ]( SwitchSession & session, AclFeature & feature ) {
        Replay replay( session, []( U32 ) { return std::nullopt; } );
        for ( U64 i = 0; i < wanted.before; ++i )
          replay.send( input.packets.packets[ i ], input.portsOfPacket( i ) );
        session.chip().advance( SwitchSession::unit,
                                wanted.packet.time - session.chip().now( SwitchSession::unit ) );
        explanation =
            Explainer( input, session, feature ).explain( wanted.packet, wanted.ports, rule );
      } );
  explanation.packet = wanted.name;
  printRefusals( input.remarks );
  printOutput( explain.json ? withPartial( input.remarks, explanationJson( explanation ) )
                            : partialText( input.remarks ) + explanationText( explanation ) );
  const std::vector< std::string > unfit = unfitLists( report );
  for ( const std::string & line : unfit )
    printError( line );
  return unfit.empty() && input.remarks.refused == 0;
}

}  // namespace Agent
