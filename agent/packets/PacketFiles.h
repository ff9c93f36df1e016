// Reads packet files of all supported formats.
#pragma once

#include <string>
#include <vector>

#include "agent/packets/Packet.h"

namespace Agent {

// The packets of a capture, with their time stamps, or of a trace, `interval` nanoseconds apart.
// The magic number selects the format. Throws Platform::InputError for an unreadable or malformed
// file.
PacketFile readPackets( const std::string & file, U64 interval );

// Appends frames, each `interval` nanoseconds after its predecessor.
void appendFrames( std::vector< Packet > & packets, std::vector< Frame > frames, U64 interval );

}  // namespace Agent
