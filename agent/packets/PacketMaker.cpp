#include "agent/packets/PacketMaker.h"

#include <algorithm>
#include <span>

namespace Agent {

namespace {

constexpr size_t ethernetSize = 14;
constexpr size_t tagSize = 4;
constexpr size_t ipv4Size = 20;
constexpr size_t ipv6Size = 40;
constexpr size_t frameSizeMin = 60;
constexpr size_t fragmentHeaderSize = 8;
constexpr U8 protocolFragment = 44;
constexpr U16 laterOffset = 185;  // of a fragment, in units of 8 bytes

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

void putMac( std::span< U8 > at, U64 mac ) {
  put16( at, 0, static_cast< U32 >( mac >> 32 ) );
  put32( at, 2, static_cast< U32 >( mac ) );
}

U16 etherType( const PacketFields & packet ) {
  switch ( packet.l3 ) {
    case L3Kind::ipv4:
      return 0x0800;
    case L3Kind::ipv6:
      return 0x86DD;
    case L3Kind::other:
      return packet.etherType;
  }
  return 0;
}

void putEthernet( std::span< U8 > header, const PacketFields & packet ) {
  putMac( header, packet.destinationMac );
  putMac( header.subspan( 6 ), packet.sourceMac );
  if ( header.size() > ethernetSize ) {
    put16( header, 12, 0x8100 );
    put16( header, 14, U32{ packet.vlanPriority } << 13 | packet.vlan.value_or( 0 ) );
  }
  if ( packet.innerVlan ) {
    put16( header, 16, 0x8100 );
    put16( header, 18, *packet.innerVlan );
  }
  put16( header, header.size() - 2, etherType( packet ) );
}

void putIpv4( std::span< U8 > header, const PacketFields & packet, size_t l4 ) {
  header[ 0 ] = 0x45;
  header[ 1 ] = packet.trafficClass;
  put16( header, 2, static_cast< U32 >( ipv4Size + l4 ) );
  put16( header, 6,
         packet.fragment == FragmentKind::first   ? 0x2000
         : packet.fragment == FragmentKind::later ? laterOffset
                                                  : 0 );
  header[ 8 ] = packet.hopLimit;
  header[ 9 ] = packet.protocol;
  put32( header, 12, packet.sourceIp );
  put32( header, 16, packet.destinationIp );
  put16( header, 10, checksum( sum16( header ) ) );
}

// With a fragment header, if `header` has room for it.
void putIpv6( std::span< U8 > header, const PacketFields & packet, size_t l4 ) {
  put16( header, 0, 0x6000U | packet.trafficClass << 4 );
  put16( header, 4, static_cast< U32 >( header.size() - ipv6Size + l4 ) );
  header[ 6 ] = packet.protocol;
  if ( header.size() > ipv6Size ) {
    header[ 6 ] = protocolFragment;
    header[ ipv6Size ] = packet.protocol;
    put16( header, ipv6Size + 2,
           packet.fragment == FragmentKind::first ? 1 : U32{ laterOffset } << 3 );
  }
  header[ 7 ] = packet.hopLimit;
  std::copy( packet.source6.begin(), packet.source6.end(), header.begin() + 8 );
  std::copy( packet.destination6.begin(), packet.destination6.end(), header.begin() + 24 );
}

U32 pseudoHeaderSum( const PacketFields & packet, size_t l4 ) {
  const U32 rest = packet.protocol + static_cast< U32 >( l4 );
  if ( packet.l3 == L3Kind::ipv6 )
    return sum16( packet.source6 ) + sum16( packet.destination6 ) + rest;
  return ( packet.sourceIp >> 16 ) + ( packet.sourceIp & 0xFFFF ) + ( packet.destinationIp >> 16 ) +
         ( packet.destinationIp & 0xFFFF ) + rest;
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
  put16( header, 6, sum == 0 ? 0xFFFF : sum );  // 0 means no checksum
}

void putIcmp( std::span< U8 > header, const PacketFields & packet ) {
  put16( header, 0, packet.icmpTypeCode );
  const U32 pseudo = packet.l3 == L3Kind::ipv6 ? pseudoHeaderSum( packet, header.size() ) : 0;
  put16( header, 2, checksum( sum16( header ) + pseudo ) );
}

void putL4( std::span< U8 > header, const PacketFields & packet ) {
  if ( packet.protocol == protocolTcp )
    putTcp( header, packet );
  else if ( packet.protocol == protocolUdp )
    putUdp( header, packet );
  else if ( packet.protocol == protocolIcmp || packet.protocol == protocolIcmp6 )
    putIcmp( header, packet );
}

}  // namespace

Frame makeFrame( const PacketFields & packet ) {
  const size_t tags = packet.innerVlan ? 2 : packet.vlan ? 1 : 0;
  const size_t l2 = ethernetSize + tags * tagSize;
  const bool ip = packet.l3 != L3Kind::other;
  const bool fragment = packet.fragment != FragmentKind::whole;
  const size_t l3 = !ip                         ? 0
                    : packet.l3 == L3Kind::ipv4 ? ipv4Size
                                                : ipv6Size + ( fragment ? fragmentHeaderSize : 0 );
  const size_t l4 = ip && !packet.cut ? l4Size( packet.protocol ) : 0;
  Frame frame( std::max( l2 + l3 + l4, frameSizeMin ) );
  const std::span< U8 > bytes( frame );
  putEthernet( bytes.first( l2 ), packet );
  if ( packet.l3 == L3Kind::ipv4 )
    putIpv4( bytes.subspan( l2, l3 ), packet, l4 );
  else if ( packet.l3 == L3Kind::ipv6 )
    putIpv6( bytes.subspan( l2, l3 ), packet, l4 );
  if ( l4 != 0 )
    putL4( bytes.subspan( l2 + l3, l4 ), packet );
  return frame;
}

}  // namespace Agent
