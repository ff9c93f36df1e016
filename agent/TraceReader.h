// Reads packet traces in ClassBench form: one packet a line, `sip dip sport dport proto ...`, all
// decimal; further columns are not looked at.
//
// The form has no TCP flags and no ICMP type: TCP packets get the flags of an established
// connection (ACK), ICMP packets are echo requests.
#pragma once

#include <string>
#include <vector>

#include "agent/Packet.h"

namespace Agent {

// Throws Platform::InputError for a line that is not of this form.
std::vector< PacketFields > parseTrace( const std::string & file, const std::string & text );

}  // namespace Agent
