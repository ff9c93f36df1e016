#include "agent/AclCompiler.h"

namespace Agent {

std::vector< EntryMatch > compileRule( const AclRule & rule ) {
  EntryMatch match;
  match.sourceIp = { rule.source.address & rule.source.mask(), rule.source.mask() };
  match.destinationIp = { rule.destination.address & rule.destination.mask(),
                          rule.destination.mask() };
  if ( !rule.anyProtocol )
    match.protocol = { rule.protocol, 0xFF };
  match.tcpFlags = { rule.tcpFlags, rule.tcpFlagsMask };
  match.icmpTypeCode = { rule.icmpTypeCode, rule.icmpTypeCodeMask };

  std::vector< EntryMatch > entries;
  const std::vector< PortMatch > destinations = expandPorts( rule.destinationPorts );
  for ( const PortMatch & source : expandPorts( rule.sourcePorts ) ) {
    for ( const PortMatch & destination : destinations ) {
      match.sourcePort = source;
      match.destinationPort = destination;
      entries.push_back( match );
    }
  }
  return entries;
}

CompiledAcl compileAcl( const Acl & acl ) {
  CompiledAcl compiled;
  compiled.reserve( acl.rules.size() );
  for ( const AclRule & rule : acl.rules )
    compiled.push_back( compileRule( rule ) );
  return compiled;
}

}  // namespace Agent
