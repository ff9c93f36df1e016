#include "agent/packets/RandomPackets.h"

#include <algorithm>
#include <random>

#include "agent/acl/MatchFields.h"
#include "agent/packets/FrameReader.h"
#include "agent/packets/PacketMaker.h"

namespace Agent {

namespace {

constexpr U64 macMask = 0xFFFFFFFFFFFF;

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
  FieldBits bits();
  const Target & anyTarget() { return targets_[ below( static_cast< U32 >( targets_.size() ) ) ]; }
  Frame makeOne( Kind kind );
  PacketFields anywhere();
  void setKind( PacketFields & packet, AclKind kind );
  void setTags( PacketFields & packet );
  PacketFields nearRule( const Target & target, Kind kind );
  void place( PacketFields & packet, FieldId field, const FieldBits & bits );
  FieldBits inside( const MatchField & field, const AclRule & rule );
  FieldBits border( const MatchField & field, const AclRule & rule );
  FragmentKind fragmentOf( Fragments wanted );
  void disturb( PacketFields & packet, const Target & target );
  U32 onBorder( U32 low, U32 high );
  void place( Frame & frame, const UdfMatch & udf, Kind kind );

  const AclRule default_;  // of lists without other rules
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
    if ( acl.rules.empty() )
      targets_.push_back( { acl.kind, &default_ } );
  }
}

std::vector< Frame > RandomPackets::make( U32 count ) {
  std::vector< Frame > frames;
  frames.reserve( count );
  for ( U32 i = 0; i < count; ++i )
    frames.push_back( makeOne( targets_.empty() ? Kind::anywhere : Kind( i % randomKinds ) ) );
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
  PacketFields packet = nearRule( target, kind );
  const bool udf = !target.rule->udf.empty();
  if ( kind == Kind::oneOff && ( !udf || below( 2 ) == 0 ) )
    disturb( packet, target );
  Frame frame = makeFrame( packet );
  for ( const UdfMatch & field : target.rule->udf )
    place( frame, field, kind );
  return frame;
}

FieldBits RandomPackets::bits() {
  const U64 high = engine_();
  return { high, engine_() };
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
  packet.trafficClass = static_cast< U8 >( word() );
  packet.hopLimit = static_cast< U8 >( word() );
  packet.fragment = below( 8 ) == 0 ? FragmentKind( 1 + below( 2 ) ) : FragmentKind::whole;
  setTags( packet );
  return packet;
}

// Untagged in three of four cases.
void RandomPackets::setTags( PacketFields & packet ) {
  if ( below( 4 ) != 0 )
    return;
  packet.vlan = below( 4 ) == 0 ? 0 : word() & 0xFFF;
  packet.vlanPriority = word() & 7;
  if ( below( 2 ) == 0 )
    packet.innerVlan = word() & 0xFFF;
}

// A packet that lists of the kind can match, with random addresses.
void RandomPackets::setKind( PacketFields & packet, AclKind kind ) {
  if ( kind == AclKind::ipv4 )
    return;
  packet.l3 = kind == AclKind::ipv6 ? L3Kind::ipv6 : L3Kind( below( 3 ) );
  if ( packet.l3 == L3Kind::ipv6 ) {
    packet.source6 = addressOf( bits() );
    packet.destination6 = addressOf( bits() );
    if ( packet.protocol == protocolIcmp )
      packet.protocol = protocolIcmp6;
  }
  if ( kind == AclKind::mac ) {
    packet.sourceMac = engine_() & macMask;
    packet.destinationMac = engine_() & macMask;
  }
}

// Inside the rule; of kind `border` with the fields it restricts at or near the ends of its
// values.
PacketFields RandomPackets::nearRule( const Target & target, Kind kind ) {
  const AclRule & rule = *target.rule;
  PacketFields packet = anywhere();
  setKind( packet, target.kind );
  for ( const MatchField & field : matchFields() ) {
    if ( !field.isIn( target.kind ) || !restricts( field, rule ) )
      continue;
    if ( field.id == FieldId::fragments )
      packet.fragment = fragmentOf( rule.fragments );
    else
      place( packet, field.id,
             kind == Kind::border ? border( field, rule ) : inside( field, rule ) );
  }
  return packet;
}

// A value that the rule allows in the field, and anything outside its mask.
FieldBits RandomPackets::inside( const MatchField & field, const AclRule & rule ) {
  if ( field.isRange() ) {
    const auto ranges = rangesIn( field, rule );
    const AnyRange & range = ranges[ below( static_cast< U32 >( ranges.size() ) ) ];
    return { 0, range.low + below( range.high - range.low + 1 ) };
  }
  const auto matches = matchesIn( field, rule );
  const TernaryBits & match = matches[ below( static_cast< U32 >( matches.size() ) ) ];
  const FieldBits noise = bits();
  return { blend( match.value.high, match.mask.high, noise.high ),
           blend( match.value.low, match.mask.low, noise.low ) };
}

// The first or last value that the rule allows or, rarely, one next to them.
FieldBits RandomPackets::border( const MatchField & field, const AclRule & rule ) {
  if ( field.isRange() ) {
    const auto ranges = rangesIn( field, rule );
    const AnyRange & range = ranges[ below( static_cast< U32 >( ranges.size() ) ) ];
    return { 0, onBorder( range.low, range.high ) };
  }
  const auto matches = matchesIn( field, rule );
  const TernaryBits & match = matches[ below( static_cast< U32 >( matches.size() ) ) ];
  const U64 ends = below( 2 ) == 0 ? 0 : ~U64{ 0 };
  FieldBits value = { blend( match.value.high, match.mask.high, ends ),
                      blend( match.value.low, match.mask.low, ends ) };
  // The neighbouring prefix.
  if ( below( 8 ) == 0 && match.mask.low != 0 )
    value.low ^= match.mask.low & -match.mask.low;
  else if ( below( 8 ) == 0 )
    value.high ^= match.mask.high & -match.mask.high;
  return value;
}

FragmentKind RandomPackets::fragmentOf( Fragments wanted ) {
  switch ( wanted ) {
    case Fragments::none:
      return FragmentKind::whole;
    case Fragments::first:
      return FragmentKind::first;
    case Fragments::later:
      return FragmentKind::later;
    case Fragments::fragment:
      return FragmentKind( 1 + below( 2 ) );
    case Fragments::notLater:
      return FragmentKind( below( 2 ) );
    default:
      return FragmentKind( below( 3 ) );
  }
}

void RandomPackets::place( PacketFields & packet, FieldId field, const FieldBits & bits ) {
  const auto byte = static_cast< U8 >( bits.low );
  const auto half = static_cast< U16 >( bits.low );
  switch ( field ) {
    case FieldId::source:
      packet.sourceIp = static_cast< U32 >( bits.low );
      break;
    case FieldId::destination:
      packet.destinationIp = static_cast< U32 >( bits.low );
      break;
    case FieldId::source6:
      packet.source6 = addressOf( bits );
      break;
    case FieldId::destination6:
      packet.destination6 = addressOf( bits );
      break;
    case FieldId::sourceMac:
      packet.sourceMac = bits.low & macMask;
      break;
    case FieldId::destinationMac:
      packet.destinationMac = bits.low & macMask;
      break;
    case FieldId::etherType:
      packet.etherType = half;
      packet.l3 = half == 0x0800 ? L3Kind::ipv4 : half == 0x86DD ? L3Kind::ipv6 : L3Kind::other;
      break;
    case FieldId::vlan:
      packet.vlan = half & 0xFFF;
      break;
    case FieldId::vlanPriority:
      packet.vlanPriority = byte & 7;
      packet.vlan = packet.vlan.value_or( word() & 0xFFF );
      break;
    case FieldId::innerVlan:
      packet.innerVlan = half & 0xFFF;
      break;
    case FieldId::protocol:
      packet.protocol = byte;
      break;
    case FieldId::dscp:
      packet.trafficClass = static_cast< U8 >( byte << 2 | ( packet.trafficClass & 3 ) );
      break;
    case FieldId::ecn:
      packet.trafficClass = static_cast< U8 >( ( packet.trafficClass & 0xFC ) | ( byte & 3 ) );
      break;
    case FieldId::ttl:
      packet.hopLimit = byte;
      break;
    case FieldId::sourcePorts:
      packet.sourcePort = half;
      break;
    case FieldId::destinationPorts:
      packet.destinationPort = half;
      break;
    case FieldId::tcpFlags:
      packet.tcpFlags = byte;
      break;
    case FieldId::icmp:
      packet.icmpTypeCode = half;
      break;
    case FieldId::fragments:
    case FieldId::inPorts:
    case FieldId::outPorts:
      break;  // not a value of a header; the sender chooses the port
  }
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

// Gives one field, of those that the rule restricts if there are any, another value.
void RandomPackets::disturb( PacketFields & packet, const Target & target ) {
  std::vector< FieldId > fields;
  for ( const MatchField & field : matchFields() )
    if ( field.isIn( target.kind ) && restricts( field, *target.rule ) )
      fields.push_back( field.id );
  if ( fields.empty() )
    return;
  const FieldId field = fields[ below( static_cast< U32 >( fields.size() ) ) ];
  const bool tag =
      field == FieldId::vlan || field == FieldId::vlanPriority || field == FieldId::innerVlan;
  if ( field == FieldId::fragments ) {
    packet.fragment =
        FragmentKind( ( static_cast< U32 >( packet.fragment ) + 1 + below( 2 ) ) % 3 );
  } else if ( tag && below( 3 ) == 0 ) {
    packet.innerVlan.reset();
    if ( field != FieldId::innerVlan )
      packet.vlan.reset();
  } else {
    FieldBits value = inside( matchField( field ), *target.rule );
    const U32 bit = below( matchField( field ).width );
    ( bit < 64 ? value.low : value.high ) ^= U64{ 1 } << bit % 64;
    place( packet, field, value );
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
