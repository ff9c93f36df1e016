#include "agent/packets/PacketFiles.h"

#include <utility>

#include "agent/packets/CaptureReader.h"
#include "agent/packets/PacketMaker.h"
#include "agent/packets/TraceReader.h"
#include "platform/InputError.h"

namespace Agent {

PacketFile readPackets( const std::string & file, U64 interval ) {
  const std::string bytes = Platform::readFile( file );
  if ( isCapture( bytes ) )
    return parseCapture( file, bytes );
  std::vector< Frame > frames;
  for ( const PacketFields & packet : parseTrace( file, bytes ) )
    frames.push_back( makeFrame( packet ) );
  PacketFile trace;
  appendFrames( trace.packets, std::move( frames ), interval );
  return trace;
}

void appendFrames( std::vector< Packet > & packets, std::vector< Frame > frames, U64 interval ) {
  packets.reserve( packets.size() + frames.size() );
  for ( Frame & frame : frames ) {
    const U64 time = packets.empty() ? 0 : packets.back().time + interval;
    packets.push_back( { std::move( frame ), time } );
  }
}

}  // namespace Agent
