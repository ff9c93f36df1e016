// Turns an Ethernet frame into a match key.
//
// What the parser knows: Ethernet II with up to two VLAN tags (types 0x8100 and 0x88a8), IPv4 with
// options, IPv6 with hop-by-hop, routing, destination-options, authentication and fragment headers
// (at most eight), ARP, TCP, UDP, ICMP and ICMPv6.
//
// A field becomes valid only when the whole header that holds it lies inside the frame, and, for L4
// headers, inside the length that the IP header gives. L4 headers exist only in packets that are no
// later fragments. A frame of any length and any content is safe.
#pragma once

#include <cstddef>

#include "softasic/KeyLayout.h"

namespace SoftAsic {

// A type field below it is a length.
constexpr U16 etherTypeMin = 0x0600;

struct ParsedFrame {
  PacketKey key;      // without the ingress port
  size_t length = 0;  // of the frame
  // Offsets in the frame, at most its length; 0 where the frame has no such header.
  size_t l3 = 0;  // behind the Ethernet header and its tags
  size_t l4 = 0;  // behind the IP header and its extensions; not in later fragments
};

ParsedFrame parseFrame( const U8 * frame, size_t length );

// Adds the ingress port to a key.
void setIngressPort( PacketKey & key, U32 port );

// Whether the packet has a VLAN tag; and lets an untagged one pass for tagged, with VLAN 0 and
// priority 0, or takes that back.
bool hasOuterTag( const PacketKey & key );
void setOuterTag( PacketKey & key, bool tagged );

}  // namespace SoftAsic
