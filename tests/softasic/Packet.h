// A packet as a test thinks of it, and the frame that it becomes.
//
// The lookup model works on these fields and never on what the parser found, so that the two check
// each other.
#pragma once

#include <array>
#include <vector>

#include "kiv/Types.h"

namespace SoftAsicTest {

using namespace Kiv::Integers;
using Frame = std::vector< U8 >;

enum class L3 { none, ipv4, ipv6, arp };
enum class Part { whole, first, later };  // place among a datagram's fragments

struct Packet {
  U64 dstMac = 0x020000000001;
  U64 srcMac = 0x020000000002;
  std::vector< U16 > tags;  // tag control words, outer first
  L3 l3 = L3::ipv4;
  U16 etherType = 0x88b5;  // of L3::none
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
  size_t options = 0;            // bytes of IPv4 options, a multiple of 4
  std::vector< U8 > extensions;  // IPv6 extension headers by number, without the fragment header

  bool isIp() const { return l3 == L3::ipv4 || l3 == L3::ipv6; }
  bool hasL4() const { return isIp() && part != Part::later; }
  bool hasPorts() const { return hasL4() && ( protocol == 6 || protocol == 17 ); }
  bool hasIcmp() const { return hasL4() && ( protocol == 1 || protocol == 58 ); }
};

inline void append( Frame & frame, U64 value, int bytes ) {
  for ( int i = bytes - 1; i >= 0; --i )
    frame.push_back( i < 8 ? static_cast< U8 >( value >> ( 8 * i ) ) : U8{ 0 } );
}

inline Frame l4Bytes( const Packet & packet ) {
  Frame l4;
  if ( packet.part == Part::later )
    return Frame( 24, 0xEE );  // payload that would pass for ports
  if ( packet.hasPorts() ) {
    append( l4, packet.srcPort, 2 );
    append( l4, packet.dstPort, 2 );
    append( l4, 0, 4 );
    if ( packet.protocol == 6 ) {
      append( l4, 0, 4 );
      append( l4, 0x50, 1 );
      append( l4, packet.tcpFlags, 1 );
      append( l4, 0, 6 );
    }
  } else {
    append( l4, packet.icmp, 2 );
    append( l4, 0, 6 );
  }
  return l4;
}

inline Frame ipv4Bytes( const Packet & packet, const Frame & l4 ) {
  Frame ip;
  const size_t header = 20 + packet.options;
  append( ip, 0x40 | header / 4, 1 );
  append( ip, packet.tos, 1 );
  append( ip, header + l4.size(), 2 );
  append( ip, 0, 2 );
  append( ip,
          packet.part == Part::whole   ? 0x4000
          : packet.part == Part::first ? 0x2000
                                       : 0x0010,
          2 );
  append( ip, packet.ttl, 1 );
  append( ip, packet.protocol, 1 );
  append( ip, 0, 2 );
  append( ip, packet.srcIp, 4 );
  append( ip, packet.dstIp, 4 );
  ip.insert( ip.end(), packet.options, 1 );
  return ip;
}

// Extension headers in order, the fragment header last, where the packet is a fragment.
inline Frame ipv6Bytes( const Packet & packet, const Frame & l4 ) {
  std::vector< U8 > chain = packet.extensions;
  if ( packet.part != Part::whole )
    chain.push_back( 44 );
  chain.push_back( packet.protocol );
  Frame extensions;
  for ( size_t i = 0; i + 1 < chain.size(); ++i ) {
    append( extensions, chain[ i + 1 ], 1 );
    if ( chain[ i ] == 44 ) {
      append( extensions, packet.part == Part::first ? 0x000001 : 0x000010, 3 );
      append( extensions, 7, 4 );
    } else if ( chain[ i ] == 51 ) {  // counted in 4-byte words, less two
      append( extensions, 1, 1 );
      append( extensions, 0, 10 );
    } else {  // counted in 8-byte words, less one
      append( extensions, 1, 1 );
      append( extensions, 0, 14 );
    }
  }
  Frame ip;
  append( ip, 0x60000000U | U32{ packet.tos } << 20, 4 );
  append( ip, extensions.size() + l4.size(), 2 );
  append( ip, chain.front(), 1 );
  append( ip, packet.ttl, 1 );
  ip.insert( ip.end(), packet.srcIp6.begin(), packet.srcIp6.end() );
  ip.insert( ip.end(), packet.dstIp6.begin(), packet.dstIp6.end() );
  ip.insert( ip.end(), extensions.begin(), extensions.end() );
  return ip;
}

inline U16 etherTypeOf( const Packet & packet ) {
  switch ( packet.l3 ) {
    case L3::ipv4:
      return 0x0800;
    case L3::ipv6:
      return 0x86dd;
    case L3::arp:
      return 0x0806;
    case L3::none:
      break;
  }
  return packet.etherType;
}

inline Frame frameOf( const Packet & packet ) {
  Frame frame;
  append( frame, packet.dstMac, 6 );
  append( frame, packet.srcMac, 6 );
  for ( size_t i = 0; i < packet.tags.size(); ++i ) {
    append( frame, packet.tags.size() == 2 && i == 0 ? 0x88a8 : 0x8100, 2 );
    append( frame, packet.tags[ i ], 2 );
  }
  append( frame, etherTypeOf( packet ), 2 );
  if ( !packet.isIp() ) {
    frame.insert( frame.end(), 28, 0 );
    return frame;
  }
  const Frame l4 = l4Bytes( packet );
  const Frame ip = packet.l3 == L3::ipv4 ? ipv4Bytes( packet, l4 ) : ipv6Bytes( packet, l4 );
  frame.insert( frame.end(), ip.begin(), ip.end() );
  frame.insert( frame.end(), l4.begin(), l4.end() );
  return frame;
}

}  // namespace SoftAsicTest
