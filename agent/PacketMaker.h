// Makes real Ethernet frames out of packet fields.
#pragma once

#include <vector>

#include "agent/Packet.h"

namespace Agent {

// An Ethernet II frame without its frame check sequence: IPv4 without options, the L4 header of
// TCP, UDP or ICMP (8 bytes of data for any other protocol), padded to 60 bytes. Lengths and
// checksums are right.
std::vector< U8 > makeFrame( const PacketFields & packet );

}  // namespace Agent
