#include "agent/Replay.h"

#include <fmt/core.h>

#include "agent/PacketMaker.h"

namespace Agent {

namespace {

std::vector< U32 > firstPorts( const SoftAsic::ChipProfile & chip ) {
  std::vector< U32 > ports;
  for ( U32 pipe = 0; pipe < chip.pipes; ++pipe ) {
    const U32 first = pipe * chip.portsPerPipe;
    ports.push_back( first );
    // The upper half of a pipe's ports uses the second copy.
    if ( chip.secondCopy && chip.portsPerPipe > 1 )
      ports.push_back( first + ( chip.portsPerPipe + 1 ) / 2 );
  }
  return ports;
}

std::string addressText( U32 address ) {
  return fmt::format( "{}.{}.{}.{}", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF,
                      address & 0xFF );
}

std::string fateText( const PacketFate & fate ) {
  const char * action = fate.drop ? "drop" : "permit";
  if ( !fate.rule )
    return fmt::format( "{} by default", action );
  return fmt::format( "{} by ACL {} rule {}", action, fate.rule->acl, fate.rule->rule );
}

}  // namespace

PacketFate expectedFate( const Policy & policy, const PacketFields & packet ) {
  const auto rule = firstMatch( policy.acls, packet );
  return { !rule && policy.denyByDefault, rule };
}

Replay::Replay( SwitchSession & session, const AclFeature & feature )
    : session_( session ), feature_( feature ), ports_( firstPorts( session.platform().chip ) ) {}

PacketFate Replay::send( const PacketFields & packet, U32 port ) {
  const std::vector< U8 > frame = makeFrame( packet );
  const SoftAsic::Verdict verdict =
      session_.chip().inject( SwitchSession::unit, port, frame.data(), frame.size() );
  PacketFate fate;
  fate.drop = verdict.drop;
  for ( const SoftAsic::Match & match : verdict.matches ) {
    if ( Morvane::tcamNumberBits.get( match.group ) != feature_.group() )
      continue;
    if ( const auto owner = feature_.ownerOf( match.entry ) )
      fate.rule = owner->rule;
  }
  return fate;
}

std::string fateDifference( const PacketFields & packet, U32 port, const PacketFate & expected,
                            const PacketFate & actual ) {
  return fmt::format(
      "port {}: {}:{} to {}:{} protocol {} flags {:#04x} icmp {:#06x}: expected {}, got {}", port,
      addressText( packet.sourceIp ), packet.sourcePort, addressText( packet.destinationIp ),
      packet.destinationPort, packet.protocol, packet.tcpFlags, packet.icmpTypeCode,
      fateText( expected ), fateText( actual ) );
}

}  // namespace Agent
