#include "agent/RandomPackets.h"

#include <random>

namespace Agent {

namespace {

constexpr U32 kinds = 4;

// Refers to the rules of its access lists.
class RandomPackets {
 public:
  RandomPackets( const std::vector< Acl > & acls, U64 seed );

  std::vector< PacketFields > make( U32 count );

 private:
  enum class Kind { inside, border, oneOff, anywhere };

  U32 below( U32 end );  // 0 <= result < end
  U32 word() { return static_cast< U32 >( engine_() ); }
  PacketFields makeOne( Kind kind );
  PacketFields anywhere();
  PacketFields inside( const AclRule & rule );
  PacketFields border( const AclRule & rule );
  void disturb( PacketFields & packet );
  U32 onBorder( U32 low, U32 high );

  std::vector< const AclRule * > rules_;
  // Its sequence is fixed by the language's standard; the standard's distributions are not.
  std::mt19937_64 engine_;
};

RandomPackets::RandomPackets( const std::vector< Acl > & acls, U64 seed ) : engine_( seed ) {
  for ( const Acl & acl : acls ) {
    for ( const AclRule & rule : acl.rules )
      rules_.push_back( &rule );
  }
}

std::vector< PacketFields > RandomPackets::make( U32 count ) {
  std::vector< PacketFields > packets;
  packets.reserve( count );
  for ( U32 i = 0; i < count; ++i )
    packets.push_back( makeOne( rules_.empty() ? Kind::anywhere : Kind( i % kinds ) ) );
  return packets;
}

U32 RandomPackets::below( U32 end ) {
  return static_cast< U32 >( engine_() >> 32 ) % end;
}

PacketFields RandomPackets::makeOne( Kind kind ) {
  if ( kind == Kind::anywhere )
    return anywhere();
  const AclRule & rule = *rules_[ below( static_cast< U32 >( rules_.size() ) ) ];
  if ( kind == Kind::border )
    return border( rule );
  PacketFields packet = inside( rule );
  if ( kind == Kind::oneOff )
    disturb( packet );
  return packet;
}

PacketFields RandomPackets::anywhere() {
  constexpr U8 protocols[] = { protocolTcp, protocolUdp, protocolIcmp, 47 };
  PacketFields packet;
  packet.sourceIp = word();
  packet.destinationIp = word();
  packet.protocol = protocols[ below( 4 ) ];
  packet.sourcePort = static_cast< U16 >( word() );
  packet.destinationPort = static_cast< U16 >( word() );
  packet.tcpFlags = static_cast< U8 >( word() );
  packet.icmpTypeCode = static_cast< U16 >( word() );
  return packet;
}

PacketFields RandomPackets::inside( const AclRule & rule ) {
  PacketFields packet = anywhere();
  const auto blend = []( U32 value, U32 mask, U32 noise ) {
    return ( value & mask ) | ( noise & ~mask );
  };
  const auto within = [ this ]( const PortRange & range ) {
    return static_cast< U16 >( range.low + below( range.high - range.low + 1U ) );
  };
  packet.sourceIp = blend( rule.source.address, rule.source.mask(), packet.sourceIp );
  packet.destinationIp =
      blend( rule.destination.address, rule.destination.mask(), packet.destinationIp );
  if ( !rule.anyProtocol )
    packet.protocol = rule.protocol;
  packet.sourcePort = within( rule.sourcePorts );
  packet.destinationPort = within( rule.destinationPorts );
  packet.tcpFlags = static_cast< U8 >( blend( rule.tcpFlags, rule.tcpFlagsMask, packet.tcpFlags ) );
  packet.icmpTypeCode =
      static_cast< U16 >( blend( rule.icmpTypeCode, rule.icmpTypeCodeMask, packet.icmpTypeCode ) );
  return packet;
}

// One of: the low end, the high end, and, seldom, the value before or behind the interval.
U32 RandomPackets::onBorder( U32 low, U32 high ) {
  const U32 choice = below( 16 );
  if ( choice == 0 )
    return low - 1;
  if ( choice == 1 )
    return high + 1;
  return choice % 2 == 0 ? low : high;
}

PacketFields RandomPackets::border( const AclRule & rule ) {
  PacketFields packet = inside( rule );
  const auto ends = [ this ]( const Prefix & prefix ) {
    const U32 low = prefix.address & prefix.mask();
    return onBorder( low, low | ~prefix.mask() );
  };
  packet.sourceIp = ends( rule.source );
  packet.destinationIp = ends( rule.destination );
  packet.sourcePort = static_cast< U16 >( onBorder( rule.sourcePorts.low, rule.sourcePorts.high ) );
  packet.destinationPort =
      static_cast< U16 >( onBorder( rule.destinationPorts.low, rule.destinationPorts.high ) );
  return packet;
}

void RandomPackets::disturb( PacketFields & packet ) {
  const PacketFields other = anywhere();
  switch ( below( 7 ) ) {
    case 0:
      packet.sourceIp ^= 1U << below( 32 );
      break;
    case 1:
      packet.destinationIp ^= 1U << below( 32 );
      break;
    case 2:
      packet.protocol = other.protocol;
      break;
    case 3:
      packet.sourcePort = other.sourcePort;
      break;
    case 4:
      packet.destinationPort = other.destinationPort;
      break;
    case 5:
      packet.tcpFlags = static_cast< U8 >( packet.tcpFlags ^ 1U << below( 8 ) );
      break;
    default:
      packet.icmpTypeCode = static_cast< U16 >( packet.icmpTypeCode ^ 1U << below( 16 ) );
      break;
  }
}

}  // namespace

std::vector< PacketFields > randomPackets( const std::vector< Acl > & acls, U64 seed, U32 count ) {
  return RandomPackets( acls, seed ).make( count );
}

}  // namespace Agent
