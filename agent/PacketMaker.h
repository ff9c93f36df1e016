// Makes real Ethernet frames out of packet fields.
#pragma once

#include "agent/Packet.h"

namespace Agent {

// An Ethernet II frame without its frame check sequence, padded to 60 bytes: the VLAN tag if there
// is one; IPv4 without options or IPv6 without extensions; the L4 header of TCP, UDP, ICMP or
// ICMPv6 (8 bytes of data for any other protocol). Lengths and checksums are right. A packet that
// is neither IPv4 nor IPv6 is padding behind its type.
Frame makeFrame( const PacketFields & packet );

}  // namespace Agent
