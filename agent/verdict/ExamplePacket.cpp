#include "agent/verdict/ExamplePacket.h"

#include "agent/packets/PacketMaker.h"
#include "agent/packets/PacketText.h"

namespace Agent {

namespace {

constexpr U16 etherIpv4 = 0x0800;
constexpr U16 lengthField = 46;  // in place of a type

bool hasL4( U64 protocol ) {
  return protocol == protocolTcp || protocol == protocolUdp || protocol == protocolIcmp ||
         protocol == protocolIcmp6;
}

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
  if ( point.has( Presence::l4Header ) ) {
    packet.sourcePort = static_cast< U16 >( value( FieldId::sourcePorts ) );
    packet.destinationPort = static_cast< U16 >( value( FieldId::destinationPorts ) );
    packet.tcpFlags = static_cast< U8 >( value( FieldId::tcpFlags ) );
    packet.icmpTypeCode = static_cast< U16 >( value( FieldId::icmp ) );
  }
  packet.cut = packet.fragment != FragmentKind::later && !point.has( Presence::l4Header ) &&
               hasL4( packet.protocol );
  return packet;
}

}  // namespace

Frame frameOf( const PacketPoint & point ) {
  return makeFrame( packetFields( point ) );
}

std::string packetText( const PacketPoint & point, Direction direction ) {
  const auto port = [ & ]( FieldId field ) { return std::to_string( point.of( field ).low ); };
  TextPacket packet = { packetFields( point ), port( FieldId::inPorts ), {} };
  if ( direction == Direction::out )
    packet.outPort = port( FieldId::outPorts );
  return packetWords( packet );
}

}  // namespace Agent
