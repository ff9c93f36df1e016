#include "agent/packets/RandomPackets.h"

#include <algorithm>
#include <random>

#include "agent/packets/FrameReader.h"
#include "agent/packets/PacketMaker.h"

namespace Agent {

namespace {

constexpr U32 kinds = 4;

template < class T >
T blend( T value, T mask, T noise ) {
  return static_cast< T >( ( value & mask ) | ( noise & ~mask ) );
}

// Keeps references to the rules of the access lists.
class RandomPackets {
 public:
  RandomPackets( const std::vector< Acl > & acls, U64 seed );

  std::vector< Frame > make( U32 count );

 private:
  enum class Kind { inside, border, oneOff, anywhere };
  struct Target {
    AclKind kind;
    const AclRule * rule;
  };

  U32 below( U32 end );  // 0 <= result < end
  U32 word() { return static_cast< U32 >( engine_() ); }
  const Target & anyTarget() { return targets_[ below( static_cast< U32 >( targets_.size() ) ) ]; }
  Frame makeOne( Kind kind );
  PacketFields anywhere();
  void setKind( PacketFields & packet, AclKind kind );
  PacketFields inside( const Target & target );
  void insideL2( PacketFields & packet, const AclRule & rule );
  Ip6Address insidePrefix( const Prefix6 & prefix );
  PacketFields border( const Target & target );
  Ip6Address prefixBorder( const Prefix6 & prefix );
  void disturb( PacketFields & packet, AclKind kind );
  void disturbL4( PacketFields & packet );
  void disturbIp6( Ip6Address & address );
  void disturbL2( PacketFields & packet );
  U32 onBorder( U32 low, U32 high );
  void place( Frame & frame, const UdfMatch & udf, Kind kind );

  std::vector< Target > targets_;
  bool onlyIp4_ = true;
  // The standard specifies the sequence of this engine, but not of its distributions.
  std::mt19937_64 engine_;
};

RandomPackets::RandomPackets( const std::vector< Acl > & acls, U64 seed ) : engine_( seed ) {
  for ( const Acl & acl : acls ) {
    onlyIp4_ = onlyIp4_ && acl.kind == AclKind::ipv4;
    for ( const AclRule & rule : acl.rules )
      targets_.push_back( { acl.kind, &rule } );
  }
}

std::vector< Frame > RandomPackets::make( U32 count ) {
  std::vector< Frame > frames;
  frames.reserve( count );
  for ( U32 i = 0; i < count; ++i )
    frames.push_back( makeOne( targets_.empty() ? Kind::anywhere : Kind( i % kinds ) ) );
  return frames;
}

U32 RandomPackets::below( U32 end ) {
  return static_cast< U32 >( engine_() >> 32 ) % end;
}

Frame RandomPackets::makeOne( Kind kind ) {
  if ( kind == Kind::anywhere ) {
    PacketFields packet = anywhere();
    if ( !onlyIp4_ )
      setKind( packet, anyTarget().kind );
    return makeFrame( packet );
  }
  const Target & target = anyTarget();
  PacketFields packet = kind == Kind::border ? border( target ) : inside( target );
  const bool udf = !target.rule->udf.empty();
  if ( kind == Kind::oneOff && ( !udf || below( 2 ) == 0 ) )
    disturb( packet, target.kind );
  Frame frame = makeFrame( packet );
  for ( const UdfMatch & field : target.rule->udf )
    place( frame, field, kind );
  return frame;
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

// A packet that lists of the kind can match, with random addresses.
void RandomPackets::setKind( PacketFields & packet, AclKind kind ) {
  if ( kind == AclKind::ipv4 )
    return;
  packet.l3 = kind == AclKind::ipv6 ? L3Kind::ipv6 : L3Kind( below( 3 ) );
  if ( packet.l3 == L3Kind::ipv6 ) {
    packet.source6 = insidePrefix( {} );
    packet.destination6 = insidePrefix( {} );
    if ( packet.protocol == protocolIcmp )
      packet.protocol = protocolIcmp6;
  }
  if ( kind == AclKind::mac )
    insideL2( packet, {} );
}

PacketFields RandomPackets::inside( const Target & target ) {
  const AclRule & rule = *target.rule;
  PacketFields packet = anywhere();
  const auto within = [ this ]( const PortRange & range ) {
    return static_cast< U16 >( range.low + below( range.high - range.low + 1U ) );
  };
  setKind( packet, target.kind );
  packet.sourceIp = blend( rule.source.address, rule.source.mask(), packet.sourceIp );
  packet.destinationIp =
      blend( rule.destination.address, rule.destination.mask(), packet.destinationIp );
  packet.protocol = blend( rule.protocol.value, rule.protocol.mask, packet.protocol );
  packet.sourcePort = within( rule.sourcePorts );
  packet.destinationPort = within( rule.destinationPorts );
  packet.tcpFlags = blend( rule.tcpFlags.value, rule.tcpFlags.mask, packet.tcpFlags );
  packet.icmpTypeCode =
      blend( rule.icmpTypeCode.value, rule.icmpTypeCode.mask, packet.icmpTypeCode );
  if ( target.kind == AclKind::ipv6 ) {
    packet.source6 = insidePrefix( rule.source6 );
    packet.destination6 = insidePrefix( rule.destination6 );
  }
  if ( target.kind == AclKind::mac )
    insideL2( packet, rule );
  return packet;
}

void RandomPackets::insideL2( PacketFields & packet, const AclRule & rule ) {
  constexpr U64 macMask = 0xFFFFFFFFFFFF;
  const auto mac = [ & ]( const FieldMatch< U64 > & match ) {
    return blend( match.value, match.mask, engine_() & macMask );
  };
  packet.sourceMac = mac( rule.sourceMac );
  packet.destinationMac = mac( rule.destinationMac );
  packet.vlan.reset();
  if ( rule.vlan.mask != 0 || below( 4 ) == 0 )
    packet.vlan = blend< U16 >( rule.vlan.value, rule.vlan.mask, word() & 0xFFF );
  if ( rule.etherType.mask == 0 )
    return;
  packet.etherType = rule.etherType.value;
  packet.l3 = packet.etherType == 0x0800   ? L3Kind::ipv4
              : packet.etherType == 0x86DD ? L3Kind::ipv6
                                           : L3Kind::other;
}

Ip6Address RandomPackets::insidePrefix( const Prefix6 & prefix ) {
  Ip6Address address;
  for ( U32 i = 0; i < address.size(); ++i ) {
    const U32 bits = std::min( 8U, prefix.length - std::min< U32 >( prefix.length, 8 * i ) );
    const auto mask = static_cast< U8 >( 0xFF00U >> bits );
    address[ i ] = blend( prefix.address[ i ], mask, static_cast< U8 >( word() ) );
  }
  return address;
}

// The low or high end or, rarely, the value just below or above the interval.
U32 RandomPackets::onBorder( U32 low, U32 high ) {
  const U32 choice = below( 16 );
  if ( choice == 0 )
    return low - 1;
  if ( choice == 1 )
    return high + 1;
  return choice % 2 == 0 ? low : high;
}

PacketFields RandomPackets::border( const Target & target ) {
  const AclRule & rule = *target.rule;
  PacketFields packet = inside( target );
  const auto ends = [ this ]( const Prefix & prefix ) {
    const U32 low = prefix.address & prefix.mask();
    return onBorder( low, low | ~prefix.mask() );
  };
  packet.sourceIp = ends( rule.source );
  packet.destinationIp = ends( rule.destination );
  packet.sourcePort = static_cast< U16 >( onBorder( rule.sourcePorts.low, rule.sourcePorts.high ) );
  packet.destinationPort =
      static_cast< U16 >( onBorder( rule.destinationPorts.low, rule.destinationPorts.high ) );
  if ( target.kind == AclKind::ipv6 ) {
    packet.source6 = prefixBorder( rule.source6 );
    packet.destination6 = prefixBorder( rule.destination6 );
  }
  return packet;
}

// The first or last address of the prefix or, rarely, of a neighbouring prefix.
Ip6Address RandomPackets::prefixBorder( const Prefix6 & prefix ) {
  Ip6Address address = prefix.address;
  const bool high = below( 2 ) == 0;
  for ( U32 bit = prefix.length; bit < 128; ++bit ) {
    const auto mask = static_cast< U8 >( 0x80U >> bit % 8 );
    U8 & byte = address[ bit / 8 ];
    byte = static_cast< U8 >( high ? byte | mask : byte & ~mask );
  }
  if ( prefix.length != 0 && below( 8 ) == 0 )
    address[ ( prefix.length - 1U ) / 8 ] ^=
        static_cast< U8 >( 0x80U >> ( prefix.length - 1 ) % 8 );
  return address;
}

void RandomPackets::disturb( PacketFields & packet, AclKind kind ) {
  if ( kind == AclKind::mac )
    return disturbL2( packet );
  if ( kind == AclKind::ipv6 && below( 3 ) == 0 )
    return disturbIp6( below( 2 ) == 0 ? packet.source6 : packet.destination6 );
  disturbL4( packet );
}

void RandomPackets::disturbL4( PacketFields & packet ) {
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

void RandomPackets::disturbIp6( Ip6Address & address ) {
  address[ below( 16 ) ] ^= static_cast< U8 >( 1U << below( 8 ) );
}

void RandomPackets::disturbL2( PacketFields & packet ) {
  switch ( below( 4 ) ) {
    case 0:
      packet.sourceMac ^= U64( 1 ) << below( 48 );
      break;
    case 1:
      packet.destinationMac ^= U64( 1 ) << below( 48 );
      break;
    case 2:
      packet.vlan = static_cast< U16 >( packet.vlan.value_or( 1 ) ^ 1U << below( 12 ) );
      break;
    default:
      packet.l3 = L3Kind::other;
      packet.etherType = static_cast< U16 >( word() );
      break;
  }
}

// Writes a rule's user-defined field to the frame, altered or truncated for some kinds.
void RandomPackets::place( Frame & frame, const UdfMatch & udf, Kind kind ) {
  const auto l3At = readFrame( frame ).l3At;
  if ( !l3At )
    return;
  const size_t at = *l3At + udf.fromL3();
  frame.resize( std::max( frame.size(), at + 4 ) );
  const U32 flip = kind == Kind::oneOff && below( 2 ) == 0 ? 1U << below( 32 ) : 0;
  for ( U32 i = 0; i < 4; ++i ) {
    const U32 shift = 24 - 8 * i;
    U8 & byte = frame[ at + i ];
    byte = static_cast< U8 >(
        blend( udf.value >> shift & 0xFF, udf.mask >> shift & 0xFF, U32{ byte } ) ^ flip >> shift );
  }
  if ( kind == Kind::border && below( 4 ) == 0 )
    frame.resize( at + 3 );  // the frame ends within the field
}

}  // namespace

std::vector< Frame > randomFrames( const std::vector< Acl > & acls, U64 seed, U32 count ) {
  return RandomPackets( acls, seed ).make( count );
}

}  // namespace Agent
