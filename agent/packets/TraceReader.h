// Reads packet traces in ClassBench format: one packet per line, `sip dip sport dport proto ...`,
// decimal; further columns are ignored.
//
// The format has no TCP flags or ICMP types: TCP packets get ACK, as in an established connection;
// ICMP packets become echo requests.
#pragma once

#include <string>
#include <vector>

#include "agent/packets/Packet.h"

namespace Agent {

// Throws Platform::InputError for a malformed line.
std::vector< PacketFields > parseTrace( const std::string & file, const std::string & text );

}  // namespace Agent
