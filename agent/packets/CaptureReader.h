// Reads pcap and pcapng captures with libpcap.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/packets/Packet.h"

namespace Agent {

// Checks the magic number.
bool isCapture( std::string_view bytes );

// The packets of a capture; `bytes` is the whole file. Times are relative to the first packet; a
// time stamp before its predecessor's is replaced by it. Packets that were truncated by the capture
// stay truncated. Throws Platform::InputError unless the link type is Ethernet, and for a damaged
// or truncated file.
std::vector< Packet > parseCapture( const std::string & file, const std::string & bytes );

}  // namespace Agent
