// Reads pcap and pcapng captures with libpcap.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/packets/Packet.h"

namespace Agent {

// Checks the magic number. True also for compressed captures and formats of other programs, which
// parseCapture refuses.
bool isCapture( std::string_view bytes );

// The packets of a capture; `bytes` is the whole file. Times are relative to the first packet; a
// time stamp before its predecessor's is replaced by it. Packets that were truncated by the capture
// stay truncated.
//
// Packets of raw IP, Linux cooked and BSD loopback captures get an Ethernet header. It has the
// EtherType that the link type or the header of the capture gives; without one (an IP version other
// than 4 and 6, IEEE 802.2) it has the length of the packet, as in IEEE 802.3.
//
// Throws Platform::InputError for other link types, and for a file that libpcap cannot read:
// damaged, truncated, or with interfaces of several link types or snapshot lengths. The message
// says what to do with the file.
PacketFile parseCapture( const std::string & file, const std::string & bytes );

}  // namespace Agent
