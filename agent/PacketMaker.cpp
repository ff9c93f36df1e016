#include "agent/PacketMaker.h"

#include <algorithm>
#include <array>
#include <span>

namespace Agent {

namespace {

constexpr size_t ethernetSize = 14;
constexpr size_t ipv4Size = 20;
constexpr size_t frameSizeMin = 60;
constexpr size_t l4Offset = ethernetSize + ipv4Size;

void put16( std::span< U8 > at, size_t offset, U32 value ) {
  at[ offset ] = static_cast< U8 >( value >> 8 );
  at[ offset + 1 ] = static_cast< U8 >( value );
}

void put32( std::span< U8 > at, size_t offset, U32 value ) {
  put16( at, offset, value >> 16 );
  put16( at, offset + 2, value & 0xFFFF );
}

U32 sum16( std::span< const U8 > bytes ) {
  U32 sum = 0;
  for ( size_t i = 0; i + 1 < bytes.size(); i += 2 )
    sum += static_cast< U32 >( bytes[ i ] << 8 | bytes[ i + 1 ] );
  return sum;
}

U16 checksum( U32 sum ) {
  while ( sum > 0xFFFF )
    sum = ( sum & 0xFFFF ) + ( sum >> 16 );
  return static_cast< U16 >( ~sum );
}

size_t l4Size( U8 protocol ) {
  return protocol == protocolTcp ? 20 : 8;
}

void putEthernet( std::span< U8 > frame ) {
  constexpr std::array< U8, ethernetSize > header = { 0x02, 0, 0, 0, 0, 1,    0x02,
                                                      0,    0, 0, 0, 2, 0x08, 0x00 };
  std::copy( header.begin(), header.end(), frame.begin() );
}

void putIpv4( std::span< U8 > header, const PacketFields & packet, size_t l4 ) {
  header[ 0 ] = 0x45;
  put16( header, 2, static_cast< U32 >( ipv4Size + l4 ) );
  header[ 8 ] = 64;
  header[ 9 ] = packet.protocol;
  put32( header, 12, packet.sourceIp );
  put32( header, 16, packet.destinationIp );
  put16( header, 10, checksum( sum16( header ) ) );
}

U32 pseudoHeaderSum( const PacketFields & packet, size_t l4 ) {
  return ( packet.sourceIp >> 16 ) + ( packet.sourceIp & 0xFFFF ) + ( packet.destinationIp >> 16 ) +
         ( packet.destinationIp & 0xFFFF ) + packet.protocol + static_cast< U32 >( l4 );
}

void putTcp( std::span< U8 > header, const PacketFields & packet ) {
  put16( header, 0, packet.sourcePort );
  put16( header, 2, packet.destinationPort );
  header[ 12 ] = 5 << 4;
  header[ 13 ] = packet.tcpFlags;
  put16( header, 14, 0xFFFF );
  put16( header, 16, checksum( sum16( header ) + pseudoHeaderSum( packet, header.size() ) ) );
}

void putUdp( std::span< U8 > header, const PacketFields & packet ) {
  put16( header, 0, packet.sourcePort );
  put16( header, 2, packet.destinationPort );
  put16( header, 4, static_cast< U32 >( header.size() ) );
  const U16 sum = checksum( sum16( header ) + pseudoHeaderSum( packet, header.size() ) );
  put16( header, 6, sum == 0 ? 0xFFFF : sum );  // 0 would mean that there is no checksum
}

void putIcmp( std::span< U8 > header, const PacketFields & packet ) {
  put16( header, 0, packet.icmpTypeCode );
  put16( header, 2, checksum( sum16( header ) ) );
}

}  // namespace

std::vector< U8 > makeFrame( const PacketFields & packet ) {
  const size_t l4 = l4Size( packet.protocol );
  std::vector< U8 > frame( std::max( l4Offset + l4, frameSizeMin ) );
  const std::span< U8 > bytes( frame );
  putEthernet( bytes );
  putIpv4( bytes.subspan( ethernetSize, ipv4Size ), packet, l4 );
  const std::span< U8 > header = bytes.subspan( l4Offset, l4 );
  if ( packet.protocol == protocolTcp )
    putTcp( header, packet );
  else if ( packet.protocol == protocolUdp )
    putUdp( header, packet );
  else if ( packet.protocol == protocolIcmp )
    putIcmp( header, packet );
  return frame;
}

}  // namespace Agent
