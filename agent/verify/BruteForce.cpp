#include "agent/verify/BruteForce.h"

#include <algorithm>
#include <optional>

namespace Agent {

namespace {

// Bits of a field from 64 to 127 and from 0 to 63; empty: the packet does not have the field.
using Field = std::optional< FieldBits >;

template < class T >
Field fieldOf( const std::optional< T > & value ) {
  if ( !value )
    return std::nullopt;
  return FieldBits{ 0, *value };
}

FieldBits bitsOf( U64 value ) {
  return { 0, value };
}

FieldBits bitsOf( const Ip6Address & address ) {
  FieldBits bits;
  for ( U32 byte = 0; byte < 16; ++byte ) {
    U64 & half = byte < 8 ? bits.high : bits.low;
    half = half * 256 + address[ byte ];
  }
  return bits;
}

bool bitsMatch( const FieldBits & value, const FieldBits & mask, const Field & field ) {
  if ( mask == FieldBits() )
    return true;
  return field && ( ( value.high ^ field->high ) & mask.high ) == 0 &&
         ( ( value.low ^ field->low ) & mask.low ) == 0;
}

// True if the field matches one of the values and masks that the rule allows in it.
template < class T >
bool matches( const AclRule & rule, FieldId id, const FieldMatch< T > & first,
              const Field & field ) {
  return bitsMatch( bitsOf( first.value ), bitsOf( first.mask ), field ) ||
         std::any_of(
             rule.alternatives.begin(), rule.alternatives.end(),
             [ & ]( const Alternative & other ) {
               return other.field == id && bitsMatch( other.value, other.mask, field );
             } );
}

// The same for an IPv4 address, by which most rules are rejected.
bool addressMatches( const AclRule & rule, FieldId id, const FieldMatch< U32 > & first,
                     U32 address ) {
  return ( ( first.value ^ address ) & first.mask ) == 0 ||
         ( !rule.alternatives.empty() && matches( rule, id, first, bitsOf( address ) ) );
}

// True if the field is in one of the ranges that the rule allows in it. A range from 0 to the
// type's maximum needs no field.
template < class T >
bool inRange( const AclRule & rule, FieldId id, const FieldRange< T > & first,
              const std::optional< U32 > & field ) {
  const auto in = [ & ]( U64 low, U64 high ) {
    return ( low == 0 && high == static_cast< T >( -1 ) ) ||
           ( field && low <= *field && *field <= high );
  };
  return in( first.low, first.high ) ||
         std::any_of( rule.alternatives.begin(), rule.alternatives.end(),
                      [ & ]( const Alternative & other ) {
                        return other.field == id && in( other.value.low, other.mask.low );
                      } );
}

bool fragmentMatches( Fragments wanted, const FrameFields & packet ) {
  switch ( wanted ) {
    case Fragments::any:
      return true;
    case Fragments::none:
      return packet.fragment == FragmentKind::whole;
    case Fragments::first:
      return packet.fragment == FragmentKind::first;
    case Fragments::later:
      return packet.fragment == FragmentKind::later;
    case Fragments::fragment:
      return packet.fragment == FragmentKind::first || packet.fragment == FragmentKind::later;
    case Fragments::notLater:
      return packet.fragment == FragmentKind::whole || packet.fragment == FragmentKind::first;
  }
  return false;
}

bool portsMatch( const AclRule & rule, const FrameFields & packet ) {
  std::optional< U32 > source, destination;
  if ( packet.ports ) {
    source = packet.ports->source;
    destination = packet.ports->destination;
  }
  return inRange( rule, FieldId::sourcePorts, rule.sourcePorts, source ) &&
         inRange( rule, FieldId::destinationPorts, rule.destinationPorts, destination );
}

bool flagsMatch( const AclRule & rule, const FrameFields & packet ) {
  const bool tcp = packet.protocol == protocolTcp;
  return matches( rule, FieldId::tcpFlags, rule.tcpFlags,
                  tcp ? fieldOf( packet.tcpFlags ) : std::nullopt );
}

// Without a protocol, a rule on ICMP types is for the ICMP of its list's IP version.
bool icmpMatches( AclKind kind, const AclRule & rule, const FrameFields & packet ) {
  const bool anyProtocol = matches( rule, FieldId::protocol, rule.protocol, std::nullopt );
  const U8 own = kind == AclKind::ipv6 ? protocolIcmp6 : protocolIcmp;
  const bool present = !anyProtocol || packet.protocol == own;
  return matches( rule, FieldId::icmp, rule.icmpTypeCode,
                  present ? fieldOf( packet.icmpTypeCode ) : std::nullopt );
}

// A packet that no rule on an L4 field matches: one that has none.
constexpr FrameFields noL4;

// A rule on L4 fields that permits later fragments, which have none, by the rest of the rule.
bool passesAsFragment( const Acl & acl, const AclRule & rule, const FrameFields & packet ) {
  if ( acl.laterFragments != LaterFragments::permittedByL3 ||
       rule.forwarding != Forwarding::permit || packet.fragment != FragmentKind::later )
    return false;
  const bool ports = portsMatch( rule, noL4 );
  const bool flags = matches( rule, FieldId::tcpFlags, rule.tcpFlags, std::nullopt );
  const bool icmp = matches( rule, FieldId::icmp, rule.icmpTypeCode, std::nullopt );
  if ( ( ports && flags && icmp ) ||
       !matches( rule, FieldId::protocol, rule.protocol, fieldOf( packet.protocol ) ) )
    return false;
  // Without a protocol, the rule is for those that have its fields.
  if ( !matches( rule, FieldId::protocol, rule.protocol, std::nullopt ) )
    return true;
  if ( !icmp )
    return packet.protocol == ( acl.kind == AclKind::ipv6 ? protocolIcmp6 : protocolIcmp );
  return packet.protocol == protocolTcp || ( flags && packet.protocol == protocolUdp );
}

bool l4Matches( const Acl & acl, const AclRule & rule, const FrameFields & packet ) {
  return ( matches( rule, FieldId::protocol, rule.protocol, fieldOf( packet.protocol ) ) &&
           portsMatch( rule, packet ) && flagsMatch( rule, packet ) &&
           icmpMatches( acl.kind, rule, packet ) ) ||
         passesAsFragment( acl, rule, packet );
}

bool l2Matches( const AclRule & rule, const FrameFields & packet ) {
  const auto mac = [ & ]( U64 address ) {
    return packet.hasMacs ? Field( { 0, address } ) : std::nullopt;
  };
  return matches( rule, FieldId::sourceMac, rule.sourceMac, mac( packet.sourceMac ) ) &&
         matches( rule, FieldId::destinationMac, rule.destinationMac,
                  mac( packet.destinationMac ) ) &&
         matches( rule, FieldId::etherType, rule.etherType, fieldOf( packet.etherType ) ) &&
         ( matches( rule, FieldId::vlan, rule.vlan, fieldOf( packet.vlan ) ) ||
           matches( rule, FieldId::vlan, rule.vlan, fieldOf( packet.portVlan ) ) ) &&
         matches( rule, FieldId::vlanPriority, rule.vlanPriority,
                  fieldOf( packet.vlanPriority ) ) &&
         matches( rule, FieldId::innerVlan, rule.innerVlan, fieldOf( packet.innerVlan ) ) &&
         inRange( rule, FieldId::inPorts, rule.inPorts, packet.inPort ) &&
         inRange( rule, FieldId::outPorts, rule.outPorts, packet.outPort );
}

bool addressesMatch( AclKind kind, const AclRule & rule, const FrameFields & packet ) {
  switch ( kind ) {
    case AclKind::ipv4:
      return addressMatches( rule, FieldId::source, rule.source, packet.sourceIp ) &&
             addressMatches( rule, FieldId::destination, rule.destination, packet.destinationIp );
    case AclKind::ipv6:
      return matches( rule, FieldId::source6, rule.source6, bitsOf( packet.source6 ) ) &&
             matches( rule, FieldId::destination6, rule.destination6,
                      bitsOf( packet.destination6 ) );
    case AclKind::mac:
      return true;
  }
  return false;
}

bool l3Matches( const Acl & acl, const AclRule & rule, const FrameFields & packet ) {
  if ( acl.kind == AclKind::mac )
    return true;
  const U8 tos = packet.trafficClass.value_or( 0 );
  return matches( rule, FieldId::dscp, rule.dscp, bitsOf( tos / 4U ) ) &&
         matches( rule, FieldId::ecn, rule.ecn, bitsOf( tos % 4U ) ) &&
         inRange( rule, FieldId::ttl, rule.ttl, packet.hopLimit ) &&
         fragmentMatches( rule.fragments, packet ) && l4Matches( acl, rule, packet );
}

bool udfMatches( const UdfMatch & udf, const FrameFields & packet ) {
  const size_t at = packet.l3At.value_or( packet.frame.size() ) + udf.fromL3();
  for ( U32 byte = 0; byte < 4; ++byte ) {
    const U32 shift = 24 - 8 * byte;
    if ( at + 4 > packet.frame.size() ||
         ( ( packet.frame[ at + byte ] ^ udf.value >> shift ) & udf.mask >> shift & 0xFF ) != 0 )
      return false;
  }
  return true;
}

// The chip supports user-defined fields of MAC lists only in frames with an EtherType.
bool udfsMatch( AclKind kind, const AclRule & rule, const FrameFields & packet ) {
  if ( kind == AclKind::mac && !rule.udf.empty() && !packet.etherType )
    return false;
  return std::all_of( rule.udf.begin(), rule.udf.end(),
                      [ & ]( const UdfMatch & udf ) { return udfMatches( udf, packet ); } );
}

bool ofKind( AclKind kind, const FrameFields & packet ) {
  switch ( kind ) {
    case AclKind::ipv4:
      return packet.l3 == L3Kind::ipv4;
    case AclKind::ipv6:
      return packet.l3 == L3Kind::ipv6;
    case AclKind::mac:
      return true;
  }
  return false;
}

// What decides in a table: a rule, or the default action of a list or of the table.
struct Decision {
  std::optional< RuleIndex > rule;
  Forwarding otherwise = Forwarding::none;
};

Decision firstMatch( const PolicyTable & table, const FrameFields & packet ) {
  if ( !ofKind( table.kind, packet ) )
    return {};
  const auto & port = table.direction == Direction::in ? packet.inPort : packet.outPort;
  for ( const PolicyTable::List & list : table.lists ) {
    // Beside the ports of its rules, so that a rule whose ports are wrong is found.
    if ( port && !list.acl->isBoundTo( *port ) )
      continue;
    const std::vector< AclRule > & rules = list.acl->rules;
    for ( U32 rule = 0; rule < rules.size(); ++rule )
      if ( ruleMatches( *list.acl, rules[ rule ], packet ) )
        return { RuleIndex{ list.index, rule } };
    if ( list.acl->defaultAction != Forwarding::none )
      return { {}, list.acl->defaultAction };
  }
  return { {}, table.rest };
}

const Acl & listOf( const PolicyTable & table, U32 acl ) {
  return *std::find_if(
              table.lists.begin(), table.lists.end(),
              [ acl ]( const auto & list ) { return list.index == acl; } )
              ->acl;
}

// The tables of a direction, which decide for themselves.
void passTables( const Policy & policy, Direction direction, const FrameFields & packet,
                 const Conforms & conforms, PacketFate & fate ) {
  bool exceeded = false;
  Forwarding forwarding = Forwarding::none;
  const auto decide = [ & ]( Forwarding wanted ) {
    if ( forwarding == Forwarding::none )
      forwarding = wanted;
  };
  for ( const PolicyTable & table : policy.tables ) {
    if ( table.direction != direction )
      continue;
    const auto [ match, otherwise ] = firstMatch( table, packet );
    if ( !match ) {
      decide( otherwise );
      continue;
    }
    fate.rules.push_back( *match );
    const Acl & acl = listOf( table, match->acl );
    const AclRule & rule = acl.rules[ match->rule ];
    if ( rule.police && !conforms( *match, *rule.police ) ) {
      exceeded = true;
      continue;
    }
    decide( rule.forwarding );
    fate.copyToCpu = fate.copyToCpu || rule.copyToCpu;
    if ( rule.mirror )
      fate.mirrorPorts.insert( *acl.mirrorPort );
  }
  fate.drop = exceeded || forwarding == Forwarding::drop;
}

}  // namespace

bool ruleMatches( const Acl & acl, const AclRule & rule, const FrameFields & packet ) {
  // Addresses first: they reject most rules.
  return ofKind( acl.kind, packet ) && addressesMatch( acl.kind, rule, packet ) &&
         l2Matches( rule, packet ) && l3Matches( acl, rule, packet ) &&
         udfsMatch( acl.kind, rule, packet );
}

PacketFate expectedFate( const Policy & policy, const FrameFields & entering,
                         const FrameFields & leaving, const Conforms & conforms ) {
  PacketFate fate;
  passTables( policy, Direction::in, entering, conforms, fate );
  if ( !fate.drop )
    passTables( policy, Direction::out, leaving, conforms, fate );
  return fate;
}

PacketFate expectedFate( const Policy & policy, const FrameFields & packet,
                         const Conforms & conforms ) {
  return expectedFate( policy, packet, packet, conforms );
}

}  // namespace Agent
