// Reads pcap and pcapng captures with libpcap.
#pragma once

#include <string>

#include "agent/packets/Packet.h"

namespace Agent {

// The packets of a capture; `bytes` is the whole file. Times are relative to the first packet; a
// time stamp before its predecessor's is replaced by it. Packets that were truncated by the capture
// stay truncated.
//
// Packets of raw IP, Linux cooked and BSD loopback captures get an Ethernet header. It has the
// EtherType that the link type or the header of the capture gives; without one (an IP version other
// than 4 and 6, IEEE 802.2) it has the length of the packet, as in IEEE 802.3.
//
// Throws Platform::InputError for other link types, and for a file that libpcap cannot read:
// damaged, truncated, compressed, or with interfaces of several link types or snapshot lengths. The
// message says what to do with the file, or after how many packets it is truncated.
PacketFile parseCapture( const std::string & file, const std::string & bytes );

}  // namespace Agent
