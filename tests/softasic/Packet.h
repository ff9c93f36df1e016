// Builds a frame from packet fields.
//
// The lookup model uses these fields and not the parser's result, so that one checks the other.
#pragma once

#include <array>
#include <initializer_list>
#include <utility>
#include <vector>

#include "kiv/Types.h"

namespace SoftAsicTest {

using namespace Kiv::Integers;
using Frame = std::vector< U8 >;

enum class L3 { none, ipv4, ipv6, arp };
enum class Part { whole, first, later };  // of a fragmented datagram

struct Packet {
  U64 dstMac = 0x020000000001;
  U64 srcMac = 0x020000000002;
  std::vector< U16 > tags;  // TCI, outer first
  L3 l3 = L3::ipv4;
  U32 srcIp = 0x0a000001;
  U32 dstIp = 0x0a000002;
  std::array< U8, 16 > srcIp6 = {};
  std::array< U8, 16 > dstIp6 = {};
  U8 tos = 0;
  U8 ttl = 64;
  Part part = Part::whole;
  U8 protocol = 6;
  U16 srcPort = 1000;
  U16 dstPort = 80;
  U8 tcpFlags = 0x10;
  U16 icmp = 0x0800;
  size_t options = 0;            // length of IPv4 options, a multiple of 4
  std::vector< U8 > extensions;  // IPv6 extension headers by number, without the fragment header

  bool isIp() const { return l3 == L3::ipv4 || l3 == L3::ipv6; }
  bool hasL4() const { return isIp() && part != Part::later; }
  bool hasPorts() const { return hasL4() && ( protocol == 6 || protocol == 17 ); }
  bool hasIcmp() const { return hasL4() && ( protocol == 1 || protocol == 58 ); }
};

// Values with their size in bytes, in network order.
inline void append( Frame & frame, std::initializer_list< std::pair< U64, int > > fields ) {
  for ( const auto & [ value, bytes ] : fields )
    for ( int i = bytes - 1; i >= 0; --i )
      frame.push_back( i < 8 ? static_cast< U8 >( value >> ( 8 * i ) ) : U8{ 0 } );
}

inline Frame l4Bytes( const Packet & packet ) {
  if ( packet.part == Part::later )
    return Frame( 24, 0xEE );  // payload, not to be taken for L4 ports
  Frame l4;
  if ( !packet.hasPorts() )
    append( l4, { { packet.icmp, 2 }, { 0, 6 } } );
  else
    append( l4, { { packet.srcPort, 2 }, { packet.dstPort, 2 }, { 0, 4 } } );
  if ( packet.protocol == 6 )
    append( l4, { { 0, 4 }, { 0x50, 1 }, { packet.tcpFlags, 1 }, { 0, 6 } } );
  return l4;
}

inline Frame ipv4Bytes( const Packet & packet, const Frame & l4 ) {
  constexpr U16 fragments[] = { 0x4000, 0x2000, 0x0010 };
  const size_t header = 20 + packet.options;
  Frame ip;
  append( ip, { { 0x40 | header / 4, 1 },
                { packet.tos, 1 },
                { header + l4.size(), 2 },
                { 0, 2 },
                { fragments[ static_cast< size_t >( packet.part ) ], 2 },
                { packet.ttl, 1 },
                { packet.protocol, 1 },
                { 0, 2 },
                { packet.srcIp, 4 },
                { packet.dstIp, 4 } } );
  ip.insert( ip.end(), packet.options, 1 );
  return ip;
}

// Extension headers in order; the fragment header, if any, last.
inline Frame ipv6Bytes( const Packet & packet, const Frame & l4 ) {
  std::vector< U8 > chain = packet.extensions;
  if ( packet.part != Part::whole )
    chain.push_back( 44 );
  chain.push_back( packet.protocol );
  Frame extensions;
  for ( size_t i = 0; i + 1 < chain.size(); ++i ) {
    const U8 next = chain[ i + 1 ];
    if ( chain[ i ] == 44 )
      append( extensions, { { next, 1 }, { packet.part == Part::first ? 1 : 16, 3 }, { 7, 4 } } );
    else  // 51 counts 4-byte words, less two; others 8-byte words, less one
      append( extensions, { { next, 1 }, { 1, 1 }, { 0, chain[ i ] == 51 ? 10 : 14 } } );
  }
  Frame ip;
  append( ip, { { 0x60000000U | U32{ packet.tos } << 20, 4 },
                { extensions.size() + l4.size(), 2 },
                { chain.front(), 1 },
                { packet.ttl, 1 } } );
  ip.insert( ip.end(), packet.srcIp6.begin(), packet.srcIp6.end() );
  ip.insert( ip.end(), packet.dstIp6.begin(), packet.dstIp6.end() );
  ip.insert( ip.end(), extensions.begin(), extensions.end() );
  return ip;
}

inline Frame frameOf( const Packet & packet ) {
  constexpr U16 etherTypes[] = { 0x88b5, 0x0800, 0x86dd, 0x0806 };  // by L3
  Frame frame;
  append( frame, { { packet.dstMac, 6 }, { packet.srcMac, 6 } } );
  for ( size_t i = 0; i < packet.tags.size(); ++i ) {
    const bool service = packet.tags.size() == 2 && i == 0;
    append( frame, { { service ? 0x88a8 : 0x8100, 2 }, { packet.tags[ i ], 2 } } );
  }
  append( frame, { { etherTypes[ static_cast< size_t >( packet.l3 ) ], 2 } } );
  const Frame l4 = packet.isIp() ? l4Bytes( packet ) : Frame( 28, 0 );
  if ( packet.isIp() ) {
    const Frame ip = packet.l3 == L3::ipv4 ? ipv4Bytes( packet, l4 ) : ipv6Bytes( packet, l4 );
    frame.insert( frame.end(), ip.begin(), ip.end() );
  }
  frame.insert( frame.end(), l4.begin(), l4.end() );
  return frame;
}

}  // namespace SoftAsicTest
