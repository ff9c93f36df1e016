// Reads packet captures, pcap and pcapng, through libpcap.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/Packet.h"

namespace Agent {

// Whether a file is a capture, by its magic number.
bool isCapture( std::string_view bytes );

// The packets of a capture, `bytes` being the whole file. Time counts from the first packet; a time
// stamp that lies before the one before it is taken for equal. A packet that was cut off when it
// was captured is as long as what is there. Throws Platform::InputError for a capture of anything
// but Ethernet, and for one that is damaged or ends in the middle of a packet.
std::vector< Packet > parseCapture( const std::string & file, const std::string & bytes );

}  // namespace Agent
