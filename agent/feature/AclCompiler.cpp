#include "agent/feature/AclCompiler.h"

namespace Agent {

namespace {

std::vector< EntryPorts > portsOf( const PortRange & range, U32 checker ) {
  if ( checker != 0 )
    return { { {}, checker } };
  std::vector< EntryPorts > ports;
  for ( const PortMatch & prefix : expandPorts( range ) )
    ports.push_back( { prefix, 0 } );
  return ports;
}

}  // namespace

bool wantsChecker( const PortRange & range ) {
  return expandPorts( range ).size() > 1;
}

std::vector< EntryMatch > compileRule( AclKind kind, const AclRule & rule,
                                       const RangeCheckers & checkers ) {
  EntryMatch match;
  match.kind = kind;
  match.sourceIp = { rule.source.address & rule.source.mask(), rule.source.mask() };
  match.destinationIp = { rule.destination.address & rule.destination.mask(),
                          rule.destination.mask() };
  match.source6 = rule.source6;
  match.destination6 = rule.destination6;
  match.sourceMac = rule.sourceMac;
  match.destinationMac = rule.destinationMac;
  match.etherType = rule.etherType;
  match.vlan = rule.vlan;
  match.protocol = rule.protocol;
  match.tcpFlags = rule.tcpFlags;
  match.icmpTypeCode = rule.icmpTypeCode;

  std::vector< EntryMatch > entries;
  const std::vector< EntryPorts > destinations =
      portsOf( rule.destinationPorts, checkers.destination );
  for ( const EntryPorts & source : portsOf( rule.sourcePorts, checkers.source ) ) {
    for ( const EntryPorts & destination : destinations ) {
      match.sourcePorts = source;
      match.destinationPorts = destination;
      entries.push_back( match );
    }
  }
  return entries;
}

U32 entriesOf( const AclRule & rule, const RangeCheckers & checkers ) {
  return static_cast< U32 >( portsOf( rule.sourcePorts, checkers.source ).size() *
                             portsOf( rule.destinationPorts, checkers.destination ).size() );
}

}  // namespace Agent
