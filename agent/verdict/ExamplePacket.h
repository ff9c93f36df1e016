// Packets of sets as frames for the chip and as text.
#pragma once

#include <string>

#include "agent/packets/Packet.h"
#include "agent/space/Space.h"

namespace Agent {

Frame frameOf( const PacketPoint & point );

// "port 3: 60 bytes 192.0.2.1 to 198.51.100.1 ...", what the reference model reads in the frame.
std::string packetText( const PacketPoint & point );

}  // namespace Agent
