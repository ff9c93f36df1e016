#include "agent/packets/PacketFiles.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "agent/packets/CaptureReader.h"
#include "agent/packets/PacketMaker.h"
#include "agent/packets/TraceReader.h"
#include "agent/read/ForeignFormats.h"
#include "platform/InputError.h"

namespace Agent {

namespace {

// Traces are of digits, but words after them may be in any language.
bool isText( std::string_view bytes ) {
  const bool begins = bytes.empty() || bytes.starts_with( "\xEF\xBB\xBF" ) || bytes[ 0 ] > 0;
  return begins && std::none_of( bytes.begin(), bytes.end(), []( char c ) {
           return static_cast< U8 >( c ) < ' ' &&
                  std::string_view( "\t\n\v\f\r" ).find( c ) == std::string_view::npos;
         } );
}

}  // namespace

PacketFile readPackets( const std::string & file, U64 interval ) {
  const std::string bytes = Platform::readFile( file );
  if ( isCapture( bytes ) || isCompressed( bytes ) )
    return parseCapture( file, bytes );
  if ( !isText( bytes ) )
    throw Platform::InputError( file, 0,
                                "neither a capture (pcap, pcapng) nor a trace, which is text" );
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
