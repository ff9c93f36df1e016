// Packets of sets as frames for the chip and as text.
#pragma once

#include <string>

#include "agent/packets/Packet.h"
#include "agent/space/Space.h"

namespace Agent {

Frame frameOf( const PacketPoint & point );

// In words that packetFromText reads (agent/packets/PacketText.h). The port by which the packet
// leaves is given for lists for packets that leave.
std::string packetText( const PacketPoint & point, Direction direction );

}  // namespace Agent
