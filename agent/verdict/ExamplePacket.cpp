#include "agent/verdict/ExamplePacket.h"

#include <fmt/core.h>

#include "agent/packets/FrameReader.h"
#include "agent/packets/PacketMaker.h"

namespace Agent {

namespace {

constexpr U16 etherIpv4 = 0x0800;
constexpr U16 lengthField = 46;  // in place of a type
constexpr size_t ipv4Size = 20;
constexpr size_t ipv6Size = 40;

PacketFields packetFields( const PacketPoint & point ) {
  const auto value = [ & ]( FieldId field ) { return point.of( field ).low; };
  PacketFields packet;
  packet.sourceMac = value( FieldId::sourceMac );
  packet.destinationMac = value( FieldId::destinationMac );
  if ( point.has( Presence::tag ) ) {
    packet.vlan = static_cast< U16 >( value( FieldId::vlan ) );
    packet.vlanPriority = static_cast< U8 >( value( FieldId::vlanPriority ) );
  }
  if ( point.has( Presence::innerTag ) )
    packet.innerVlan = static_cast< U16 >( value( FieldId::innerVlan ) );
  if ( point.kind == AclKind::mac ) {
    packet.etherType = point.has( Presence::etherType )
                           ? static_cast< U16 >( value( FieldId::etherType ) )
                           : lengthField;
    packet.l3 = packet.etherType == etherIpv4 ? L3Kind::ipv4 : L3Kind::other;
    return packet;
  }
  packet.l3 = point.kind == AclKind::ipv4 ? L3Kind::ipv4 : L3Kind::ipv6;
  packet.sourceIp = static_cast< U32 >( value( FieldId::source ) );
  packet.destinationIp = static_cast< U32 >( value( FieldId::destination ) );
  packet.source6 = addressOf( point.of( FieldId::source6 ) );
  packet.destination6 = addressOf( point.of( FieldId::destination6 ) );
  packet.trafficClass = static_cast< U8 >( value( FieldId::dscp ) << 2 | value( FieldId::ecn ) );
  packet.hopLimit = static_cast< U8 >( value( FieldId::ttl ) );
  packet.protocol = static_cast< U8 >( value( FieldId::protocol ) );
  packet.fragment = FragmentKind( value( FieldId::fragments ) );
  packet.sourcePort = static_cast< U16 >( value( FieldId::sourcePorts ) );
  packet.destinationPort = static_cast< U16 >( value( FieldId::destinationPorts ) );
  packet.tcpFlags = static_cast< U8 >( value( FieldId::tcpFlags ) );
  packet.icmpTypeCode = static_cast< U16 >( value( FieldId::icmp ) );
  return packet;
}

// Ends the IP packet before its L4 header.
void cutL4( Frame & frame, bool ipv4, bool fragment ) {
  const size_t ip = *readFrame( frame ).l3At;
  U8 * const header = frame.data() + ip;
  if ( !ipv4 ) {
    header[ 5 ] = fragment ? 8 : 0;
    return;
  }
  // The checksum of a header in which one word has become less.
  const U32 old = static_cast< U32 >( header[ 2 ] << 8 | header[ 3 ] );
  U32 sum = static_cast< U32 >( header[ 10 ] << 8 | header[ 11 ] ) + old - ipv4Size;
  sum = ( sum & 0xFFFF ) + ( sum >> 16 );
  header[ 3 ] = ipv4Size;
  header[ 10 ] = static_cast< U8 >( sum >> 8 );
  header[ 11 ] = static_cast< U8 >( sum );
}

bool hasL4( U64 protocol ) {
  return protocol == protocolTcp || protocol == protocolUdp || protocol == protocolIcmp ||
         protocol == protocolIcmp6;
}

}  // namespace

Frame frameOf( const PacketPoint & point ) {
  Frame frame = makeFrame( packetFields( point ) );
  const bool later =
      point.of( FieldId::fragments ).low == static_cast< U64 >( FragmentPart::later );
  if ( point.kind != AclKind::mac && !later && !point.has( Presence::l4Header ) &&
       hasL4( point.of( FieldId::protocol ).low ) )
    cutL4( frame, point.kind == AclKind::ipv4, point.of( FieldId::fragments ).low != 0 );
  return frame;
}

std::string packetText( const PacketPoint & point ) {
  const Frame frame = frameOf( point );
  return fmt::format( "port {}: {}", point.of( FieldId::inPorts ).low,
                      describe( readFrame( frame ) ) );
}

}  // namespace Agent
