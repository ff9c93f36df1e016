#include "agent/shell/RuleInWords.h"

#include <fmt/core.h>

#include "agent/acl/MatchFields.h"
#include "agent/command/Run.h"
#include "agent/read/MatchSets.h"
#include "agent/read/RouterCliRule.h"
#include "agent/read/RulesFileReader.h"
#include "agent/shell/ShellError.h"
#include "platform/InputError.h"

namespace Agent {

namespace {

AclRule routerRule( const Acl & list, const std::string & text ) {
  if ( list.kind == AclKind::mac || list.use != AclUse::filter )
    throw ShellError( fmt::format(
        "rules of the list {} have the form of a rules file: {{ \"etherType\": \"arp\", "
        "\"actions\": [ \"drop\" ] }}",
        list.name ) );
  WordReader words( list.file, 1, text );
  return readCliRule( words, list.kind == AclKind::ipv6 ? CliList::ipv6 : CliList::extended ).rule;
}

// Ports by name become numbers.
AclRule fileRule( const Platform::PlatformData & platform, const Acl & list,
                  const std::string & text ) {
  const Platform::JsonNode node = Platform::parseJson( list.file, text );
  std::vector< NamedPorts > ports;
  AclRule rule = readFileRule( list, node, ports );
  for ( const NamedPorts & each : ports )
    resolvePorts( platform, list.file, each, rule );
  return rule;
}

void bindRule( const Acl & list, AclRule & rule ) {
  if ( list.boundPorts.empty() )
    return;
  AclRule bound;
  setRanges( bound, list.direction == Direction::in ? FieldId::inPorts : FieldId::outPorts,
             list.boundPorts );
  if ( restrictTo( rule, bound ) != Meet::some )
    throw ShellError( fmt::format( "the list {} is not bound to the rule's ports", list.name ) );
}

}  // namespace

AclRule ruleInWords( const Platform::PlatformData & platform, const Acl & list,
                     const std::string & text ) {
  AclRule rule;
  try {
    rule = text.starts_with( '{' ) ? fileRule( platform, list, text ) : routerRule( list, text );
  } catch ( const Platform::InputError & error ) {
    throw ShellError( fmt::format( "rule, column {}: {}", error.place().column, error.reason() ) );
  }
  bindRule( list, rule );
  rule.line = rule.column = 0;  // it is in no file
  return rule;
}

}  // namespace Agent
