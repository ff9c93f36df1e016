// Reads the fields that access lists look at out of an Ethernet frame.
//
// The eyes of the brute-force walk, so that it shares nothing with the chip. A field is present
// when the whole header that holds it lies inside the frame and, behind an IP header, inside the
// length which that gives. Up to two VLAN tags, IPv4 with options, IPv6 with up to eight extension
// headers. A frame of any length and any content is safe.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "agent/Packet.h"

namespace Agent {

struct FrameFields {
  std::span< const U8 > frame;  // must outlive the fields
  bool hasMacs = false;
  U64 sourceMac = 0;
  U64 destinationMac = 0;
  std::optional< U16 > vlan;  // id of the outer tag
  // VLAN of the port, where rules on it are for packets without a VLAN too (Replay.h).
  std::optional< U16 > portVlan;
  std::optional< U16 > etherType;  // behind the tags; absent for a length field
  L3Kind l3 = L3Kind::other;       // by a whole header
  std::optional< size_t > l3At;    // where the L3 header begins
  U32 sourceIp = 0;
  U32 destinationIp = 0;
  Ip6Address source6 = {};
  Ip6Address destination6 = {};
  std::optional< U8 > protocol;  // behind IPv6 extension headers
  struct Ports {
    U16 source;
    U16 destination;
  };
  std::optional< Ports > ports;  // of TCP or UDP
  std::optional< U8 > tcpFlags;
  std::optional< U16 > icmpTypeCode;  // of ICMP or ICMPv6
};

// The fields refer to the frame.
FrameFields readFrame( std::span< const U8 > frame );

// One line about a packet, for messages.
std::string describe( const FrameFields & fields );

}  // namespace Agent
