#include "agent/AclFiles.h"

#include "agent/CaptureReader.h"
#include "agent/ClassBenchReader.h"
#include "agent/LineReader.h"
#include "agent/PacketMaker.h"
#include "agent/RulesFileReader.h"
#include "agent/TraceReader.h"
#include "platform/InputError.h"

namespace Agent {

Acl readAcl( const std::string & name, const std::string & file, AclFormat format ) {
  const std::string text = Platform::readFile( file );
  const size_t first = text.find_first_not_of( " \t\r\n" );
  const char mark = first == std::string::npos ? '@' : text[ first ];
  if ( format == AclFormat::rules || ( format == AclFormat::detect && mark == '{' ) )
    return parseRulesFile( name, file, text );
  if ( format == AclFormat::detect && mark != '@' ) {
    const TextLine line = splitLines( text ).front();
    throw Platform::InputError( file, line.number, "the format of this file is not known" );
  }
  return parseClassBench( name, file, text );
}

std::vector< Packet > readPackets( const std::string & file, U64 interval ) {
  const std::string bytes = Platform::readFile( file );
  if ( isCapture( bytes ) )
    return parseCapture( file, bytes );
  std::vector< Frame > frames;
  for ( const PacketFields & packet : parseTrace( file, bytes ) )
    frames.push_back( makeFrame( packet ) );
  std::vector< Packet > packets;
  appendFrames( packets, std::move( frames ), interval );
  return packets;
}

void appendFrames( std::vector< Packet > & packets, std::vector< Frame > frames, U64 interval ) {
  packets.reserve( packets.size() + frames.size() );
  for ( Frame & frame : frames ) {
    const U64 time = packets.empty() ? 0 : packets.back().time + interval;
    packets.push_back( { std::move( frame ), time } );
  }
}

}  // namespace Agent
