#include <fmt/core.h>

#include "agent/acl/MatchFields.h"
#include "agent/command/Run.h"
#include "platform/PortNames.h"

namespace Agent {

namespace {

// Throws for the first port that the platform does not have.
std::vector< AnyRange > rangesOf( const Platform::PlatformData & platform, const std::string & file,
                                  const NamedPorts & ports ) {
  std::vector< AnyRange > ranges;
  for ( const std::string & port : Platform::portList( ports.text ) ) {
    const auto span = Platform::portsOf( platform, port );
    if ( !span )
      throw Platform::InputError(
          file, { ports.line, ports.column },
          Platform::noPorts( platform, port ) +
              ". A platform file can name ports, and --bind binds a list that does without" );
    ranges.push_back( { span->low, span->high } );
  }
  return ranges;
}

}  // namespace

void resolvePorts( const Platform::PlatformData & platform, const std::string & file,
                   const NamedPorts & ports, AclRule & rule ) {
  setRanges( rule, ports.field, rangesOf( platform, file, ports ) );
}

void resolvePorts( const Platform::PlatformData & platform, AclDocument & document ) {
  for ( Acl & acl : document.lists ) {
    std::vector< bool > refused( acl.rules.size() );
    for ( const NamedPorts & ports : acl.namedPorts ) {
      AclRule & rule = acl.rules[ ports.rule ];
      if ( !document.refusals.guard( acl.name, rule.name.empty() ? "a rule" : rule.name,
                                     [ & ] { resolvePorts( platform, acl.file, ports, rule ); } ) )
        refused[ ports.rule ] = true;
    }
    acl.namedPorts.clear();
    size_t index = 0;
    std::erase_if( acl.rules, [ & ]( const AclRule & ) { return refused[ index++ ]; } );
  }
}

}  // namespace Agent
