// Parses an Ethernet frame into a match key.
//
// Supported: Ethernet II with up to two VLAN tags (TPID 0x8100 and 0x88a8), IPv4 with options, IPv6
// with up to eight extension headers (hop-by-hop, routing, destination options, authentication,
// fragment), ARP, TCP, UDP, ICMP and ICMPv6.
//
// A field is valid only if its whole header is inside the frame and, for L4 headers, inside the
// length in the IP header. Fragments other than the first have no L4 header. Frames of any length
// and content are safe.
#pragma once

#include <cstddef>

#include "softasic/KeyLayout.h"

namespace SoftAsic {

// Lower values of the type field are lengths.
constexpr U16 etherTypeMin = 0x0600;

struct ParsedFrame {
  PacketKey key;      // without the ports
  size_t length = 0;  // of the frame
  // Offsets in the frame, at most its length; 0: no such header.
  size_t l3 = 0;  // after the Ethernet header and its tags
  size_t l4 = 0;  // after the IP header and its extensions; 0 after the first fragment
};

ParsedFrame parseFrame( const U8 * frame, size_t length );

// Each at most once.
void setIngressPort( PacketKey & key, U32 port );
void setEgressPort( PacketKey & key, U32 port );

// setOuterTag marks an untagged packet as priority-tagged (VLAN 0, priority 0), or undoes that.
bool hasOuterTag( const PacketKey & key );
void setOuterTag( PacketKey & key, bool tagged );

}  // namespace SoftAsic
