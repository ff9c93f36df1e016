// Builds Ethernet frames from header fields.
#pragma once

#include "agent/packets/Packet.h"

namespace Agent {

// An Ethernet II frame without FCS, padded to 60 bytes: up to two VLAN tags; IPv4 without options
// or IPv6, of the extension headers only with that of a fragment; TCP, UDP, ICMP or ICMPv6 header
// (8 bytes of data for other protocols). A later fragment has the same bytes in its place. Lengths
// and checksums are valid. Other L3 protocols have only padding after the type.
Frame makeFrame( const PacketFields & packet );

}  // namespace Agent
