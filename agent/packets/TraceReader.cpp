#include "agent/packets/TraceReader.h"

#include "agent/read/LineReader.h"

namespace Agent {

namespace {

constexpr U8 tcpAck = 0x10;
constexpr U16 icmpEchoRequest = 8 << 8;

PacketFields readPacket( const std::string & file, const TextLine & line ) {
  const LineReader reader( file, line );
  if ( line.words.size() < 5 )
    reader.fail( "a packet has two addresses, two ports and a protocol: columns are missing" );
  PacketFields packet;
  packet.sourceIp = reader.decimal( line.words[ 0 ], 0xFFFFFFFF, "source address" );
  packet.destinationIp = reader.decimal( line.words[ 1 ], 0xFFFFFFFF, "destination address" );
  packet.sourcePort =
      static_cast< U16 >( reader.decimal( line.words[ 2 ], 0xFFFF, "source port" ) );
  packet.destinationPort =
      static_cast< U16 >( reader.decimal( line.words[ 3 ], 0xFFFF, "destination port" ) );
  packet.protocol = static_cast< U8 >( reader.decimal( line.words[ 4 ], 0xFF, "protocol" ) );
  if ( packet.protocol == protocolTcp )
    packet.tcpFlags = tcpAck;
  if ( packet.protocol == protocolIcmp )
    packet.icmpTypeCode = icmpEchoRequest;
  return packet;
}

}  // namespace

std::vector< PacketFields > parseTrace( const std::string & file, const std::string & text ) {
  std::vector< PacketFields > packets;
  for ( WordLines lines( text ); lines.next(); )
    packets.push_back( readPacket( file, lines.line() ) );
  return packets;
}

}  // namespace Agent
