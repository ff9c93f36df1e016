// Packets in words, as a person types them:
//
//   in 3 tcp 10.0.0.1:1024 > 192.0.2.9:443 flags syn
//   udp [2001:db8::1]:1024 > [2001:db8::2]:domain vlan 7 pcp 5 dscp ef
//   ethertype arp smac 02:00:00:00:00:07
//
//   packet    { word }, in any order, each at most once
//   word      "in" PORT | "out" PORT                of the switch: number or name
//             PROTOCOL                              name or number; "icmp" over IPv6 is ICMPv6
//             ADDRESS[:PORT] ">" ADDRESS[:PORT]     IPv6 in brackets where a port follows; names of
//                                                   services are ports as well
//             "icmp" TYPE[/CODE]                    numbers, or the name of a type
//             "type" TYPE[/CODE] | "code" N         likewise, of protocol ICMP or ICMPv6
//             "flags" FLAG{,FLAG}                   of TCP: names, or the byte (0x12)
//             "fragment" ("first" | "later")
//             "cut"                                 the IP packet ends before its L4 header
//             "dscp" CLASS | "ecn" N | "ttl" N
//             "vlan" N | "pcp" N | "inner" N        id and priority of the tag, id of a second one
//             "smac" MAC | "dmac" MAC
//             "ethertype" TYPE                      name or number, of packets without addresses
//
// What is not given has the value that PacketFields starts with. A field that the packet would not
// have is an error.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "agent/packets/Packet.h"

namespace Agent {

// what(): one line, without the text itself.
class PacketTextError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct TextPacket {
  PacketFields fields;
  std::optional< std::string > inPort;  // numbers or names
  std::optional< std::string > outPort;
};

TextPacket packetFromText( const std::string & text );
// The words that are read as this packet, without those for what a packet has anyway. The packet
// must have no fields that its headers have no place for.
std::string packetWords( const TextPacket & packet );

}  // namespace Agent
