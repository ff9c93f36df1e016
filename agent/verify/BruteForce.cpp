#include "agent/verify/BruteForce.h"

#include <algorithm>
#include <optional>

namespace Agent {

namespace {

bool inPrefix( const Prefix & prefix, U32 address ) {
  return prefix.length == 0 || ( prefix.address ^ address ) >> ( 32 - prefix.length ) == 0;
}

bool inPrefix( const Prefix6 & prefix, const Ip6Address & address ) {
  for ( U32 bit = 0; bit < prefix.length; ++bit ) {
    const U32 shift = 7 - bit % 8;
    if ( ( prefix.address[ bit / 8 ] >> shift & 1 ) != ( address[ bit / 8 ] >> shift & 1 ) )
      return false;
  }
  return true;
}

bool inRange( const PortRange & range, const FrameFields & packet,
              U16 FrameFields::Ports::*member ) {
  if ( range.low == 0 && range.high == 65535 )
    return true;
  if ( !packet.ports )
    return false;
  const U16 port = ( *packet.ports ).*member;
  return range.low <= port && port <= range.high;
}

// Ternary match of one field.
template < class T >
bool bitsMatch( const FieldMatch< T > & match, const std::optional< T > & field ) {
  for ( U32 bit = 0; bit < 8 * sizeof( T ); ++bit )
    if ( ( match.mask >> bit & 1 ) != 0 &&
         ( !field || ( match.value >> bit & 1 ) != ( *field >> bit & 1 ) ) )
      return false;
  return true;
}

bool l4Matches( const AclRule & rule, const FrameFields & packet ) {
  const bool tcp = packet.protocol == protocolTcp;
  return bitsMatch( rule.protocol, packet.protocol ) &&
         inRange( rule.sourcePorts, packet, &FrameFields::Ports::source ) &&
         inRange( rule.destinationPorts, packet, &FrameFields::Ports::destination ) &&
         bitsMatch( rule.tcpFlags, tcp ? packet.tcpFlags : std::optional< U8 >() ) &&
         bitsMatch( rule.icmpTypeCode, packet.icmpTypeCode );
}

bool l2Matches( const AclRule & rule, const FrameFields & packet ) {
  const auto mac = [ & ]( U64 address ) {
    return packet.hasMacs ? std::optional( address ) : std::nullopt;
  };
  return bitsMatch( rule.sourceMac, mac( packet.sourceMac ) ) &&
         bitsMatch( rule.destinationMac, mac( packet.destinationMac ) ) &&
         bitsMatch( rule.etherType, packet.etherType ) &&
         ( bitsMatch( rule.vlan, packet.vlan ) || bitsMatch( rule.vlan, packet.portVlan ) );
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

// First match in a table.
std::optional< RuleIndex > firstMatch( const PolicyTable & table, const FrameFields & packet ) {
  for ( const PolicyTable::List & list : table.lists ) {
    const std::vector< AclRule > & rules = list.acl->rules;
    for ( U32 rule = 0; rule < rules.size(); ++rule )
      if ( ruleMatches( table.kind, rules[ rule ], packet ) )
        return RuleIndex{ list.index, rule };
  }
  return std::nullopt;
}

const Acl & listOf( const PolicyTable & table, U32 acl ) {
  return *std::find_if(
              table.lists.begin(), table.lists.end(),
              [ acl ]( const auto & list ) { return list.index == acl; } )
              ->acl;
}

}  // namespace

bool ruleMatches( AclKind kind, const AclRule & rule, const FrameFields & packet ) {
  if ( !ofKind( kind, packet ) )
    return false;
  const bool addresses =
      kind == AclKind::ipv4 ? inPrefix( rule.source, packet.sourceIp ) &&
                                  inPrefix( rule.destination, packet.destinationIp )
      : kind == AclKind::ipv6 ? inPrefix( rule.source6, packet.source6 ) &&
                                    inPrefix( rule.destination6, packet.destination6 )
                              : l2Matches( rule, packet );
  return addresses && ( kind == AclKind::mac || l4Matches( rule, packet ) ) &&
         udfsMatch( kind, rule, packet );
}

PacketFate expectedFate( const Policy & policy, const FrameFields & packet,
                         const Conforms & conforms ) {
  PacketFate fate;
  bool exceeded = false;
  Forwarding forwarding = Forwarding::none;
  const auto decide = [ & ]( Forwarding wanted ) {
    if ( forwarding == Forwarding::none )
      forwarding = wanted;
  };
  for ( const PolicyTable & table : policy.tables ) {
    const auto match = firstMatch( table, packet );
    if ( !match ) {
      if ( table.denyRest && ofKind( table.kind, packet ) )
        decide( Forwarding::drop );
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
  return fate;
}

}  // namespace Agent
