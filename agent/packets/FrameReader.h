// Parses the header fields of an Ethernet frame for the reference model.
//
// Deliberately independent of the chip's parser. A field is present if its whole header is inside
// the frame and, after an IP header, inside the length given there. Supports up to two VLAN tags,
// IPv4 options and up to eight IPv6 extension headers. Frames of any length and content are safe.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "agent/packets/Packet.h"

namespace Agent {

struct FrameFields {
  std::span< const U8 > frame;  // must outlive the fields
  bool hasMacs = false;
  U64 sourceMac = 0;
  U64 destinationMac = 0;
  std::optional< U16 > vlan;         // id of the outer tag
  std::optional< U8 > vlanPriority;  // of the outer tag
  std::optional< U16 > innerVlan;    // id of the second tag
  // VLAN of the port, on platforms where VLAN rules also match untagged packets (Replay.h).
  std::optional< U16 > portVlan;
  // Ports by which the packet enters and leaves, where they are known (Replay.h).
  std::optional< U32 > inPort;
  std::optional< U32 > outPort;
  std::optional< U16 > etherType;  // after the tags; empty for a length field
  L3Kind l3 = L3Kind::other;       // only with a whole header
  std::optional< size_t > l3At;    // offset of the L3 header
  U32 sourceIp = 0;
  U32 destinationIp = 0;
  Ip6Address source6 = {};
  Ip6Address destination6 = {};
  std::optional< U8 > trafficClass;  // or TOS: DSCP and ECN
  std::optional< U8 > hopLimit;      // or TTL
  // Both only if the end of the IP header and its extensions was found.
  std::optional< U8 > protocol;  // after IPv6 extension headers
  std::optional< FragmentKind > fragment;
  struct Ports {
    U16 source;
    U16 destination;
  };
  std::optional< Ports > ports;  // of TCP or UDP
  std::optional< U8 > tcpFlags;
  std::optional< U16 > icmpTypeCode;  // of ICMP or ICMPv6
};

// The result refers to `frame`.
FrameFields readFrame( std::span< const U8 > frame );

// One line, for messages.
std::string describe( const FrameFields & fields );

}  // namespace Agent
