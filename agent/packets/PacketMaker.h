// Builds Ethernet frames from header fields.
#pragma once

#include "agent/packets/Packet.h"

namespace Agent {

// An Ethernet II frame without FCS, padded to 60 bytes: optional VLAN tag; IPv4 without options or
// IPv6 without extension headers; TCP, UDP, ICMP or ICMPv6 header (8 bytes of data for other
// protocols). Lengths and checksums are valid. Other L3 protocols have only padding after the type.
Frame makeFrame( const PacketFields & packet );

}  // namespace Agent
