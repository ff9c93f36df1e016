// Packets: as header fields, and as frames for the chip.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/acl/AclRule.h"

namespace Agent {

enum class L3Kind : U8 { other, ipv4, ipv6 };
enum class FragmentKind : U8 { whole, first, later };

// Header fields of a packet to build. `l3` selects the addresses.
struct PacketFields {
  U32 sourceIp = 0;
  U32 destinationIp = 0;
  U8 protocol = 0;
  U16 sourcePort = 0;       // of TCP and UDP
  U16 destinationPort = 0;  // of TCP and UDP
  U8 tcpFlags = 0;          // of TCP
  U16 icmpTypeCode = 0;     // of ICMP and ICMPv6: type in the high byte, code in the low one
  L3Kind l3 = L3Kind::ipv4;
  Ip6Address source6 = {};
  Ip6Address destination6 = {};
  U64 sourceMac = 0x020000000002;
  U64 destinationMac = 0x020000000001;
  std::optional< U16 > vlan = {};       // id of a VLAN tag
  U8 vlanPriority = 0;                  // of the VLAN tag
  std::optional< U16 > innerVlan = {};  // id of a second VLAN tag after the first
  U8 trafficClass = 0;                  // or TOS: DSCP and ECN
  U8 hopLimit = 64;                     // or TTL
  FragmentKind fragment = FragmentKind::whole;
  U16 etherType = 0x88B5;  // unless IPv4 or IPv6
  bool cut = false;        // the IP packet ends before its L4 header

  bool hasPorts() const { return protocol == protocolTcp || protocol == protocolUdp; }
  friend bool operator==( const PacketFields &, const PacketFields & ) = default;
};

using Frame = std::vector< U8 >;  // Ethernet, without the frame check sequence

struct Packet {
  Frame frame;
  U64 time = 0;  // ns of the chip's virtual clock; never decreases
};

// Packets of a capture without Ethernet headers. They got headers with the addresses of a default
// PacketFields.
struct MadeUpHeaders {
  std::string file;
  std::string linkType;  // libpcap's name
  U64 packets = 0;
};

struct PacketFile {
  std::vector< Packet > packets;
  std::optional< MadeUpHeaders > madeUp;  // empty: the capture has Ethernet headers, or is a trace
};

}  // namespace Agent
