#include "agent/BruteForce.h"

namespace Agent {

namespace {

bool inPrefix( const Prefix & prefix, U32 address ) {
  return prefix.length == 0 || ( prefix.address ^ address ) >> ( 32 - prefix.length ) == 0;
}

bool inRange( const PortRange & range, const PacketFields & packet, U16 port ) {
  if ( range.low == 0 && range.high == 65535 )
    return true;
  return packet.hasPorts() && range.low <= port && port <= range.high;
}

bool bitsMatch( const AclRule & rule, const PacketFields & packet ) {
  for ( U32 bit = 0; bit < 8; ++bit ) {
    if ( ( rule.tcpFlagsMask >> bit & 1 ) != 0 &&
         ( packet.protocol != protocolTcp ||
           ( rule.tcpFlags >> bit & 1 ) != ( packet.tcpFlags >> bit & 1 ) ) )
      return false;
  }
  for ( U32 bit = 0; bit < 16; ++bit ) {
    if ( ( rule.icmpTypeCodeMask >> bit & 1 ) != 0 &&
         ( packet.protocol != protocolIcmp ||
           ( rule.icmpTypeCode >> bit & 1 ) != ( packet.icmpTypeCode >> bit & 1 ) ) )
      return false;
  }
  return true;
}

}  // namespace

bool ruleMatches( const AclRule & rule, const PacketFields & packet ) {
  return inPrefix( rule.source, packet.sourceIp ) &&
         inPrefix( rule.destination, packet.destinationIp ) &&
         ( rule.anyProtocol || rule.protocol == packet.protocol ) &&
         inRange( rule.sourcePorts, packet, packet.sourcePort ) &&
         inRange( rule.destinationPorts, packet, packet.destinationPort ) &&
         bitsMatch( rule, packet );
}

std::optional< RuleIndex > firstMatch( const std::vector< const Acl * > & acls,
                                       const PacketFields & packet ) {
  for ( U32 acl = 0; acl < acls.size(); ++acl ) {
    if ( acls[ acl ] == nullptr )
      continue;
    const std::vector< AclRule > & rules = acls[ acl ]->rules;
    for ( U32 rule = 0; rule < rules.size(); ++rule ) {
      if ( ruleMatches( rules[ rule ], packet ) )
        return RuleIndex{ acl, rule };
    }
  }
  return std::nullopt;
}

}  // namespace Agent
