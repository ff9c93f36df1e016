#include "agent/read/RulesFileReader.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/acl/PoliceRate.h"
#include "agent/read/Leaf.h"
#include "agent/read/RuleMatchReader.h"
#include "platform/JsonFields.h"

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

constexpr U32 portsMax = 256;

// Looks up an enumerator by name.
template < class T, size_t size >
T readName( JsonFields & fields, const std::string & key, const std::string & absent,
            const std::pair< const char *, T > ( &names )[ size ] ) {
  const std::string name = fields.text( key, absent );
  std::string known;
  for ( const auto & [ candidate, value ] : names ) {
    if ( name == candidate )
      return value;
    known += ( known.empty() ? "" : ", " ) + std::string( candidate );
  }
  fields.fail( fields.place( key ), fmt::format( "\"{}\" must be one of {}", key, known ) );
}

void applyAction( JsonFields & fields, const JsonNode & node, AclRule & rule ) {
  const std::string & name = Platform::jsonText( fields.file(), node, "\"actions\"" );
  if ( name == "permit" || name == "drop" ) {
    if ( rule.forwarding != Forwarding::none )
      fields.fail( node.place(), "a rule can permit or drop only once" );
    rule.forwarding = name == "drop" ? Forwarding::drop : Forwarding::permit;
  } else if ( name == "copyToCpu" ) {
    rule.copyToCpu = true;
  } else if ( name == "mirror" ) {
    rule.mirror = true;
  } else {
    fields.fail(
        node.place(),
        fmt::format( "there is no action \"{}\"; there are permit, drop, copyToCpu, mirror",
                     name ) );
  }
}

void readActions( JsonFields & fields, const Acl & acl, AclRule & rule ) {
  rule.forwarding = Forwarding::none;
  if ( fields.find( "actions" ) == nullptr ) {
    rule.mirror = acl.use == AclUse::mirror;
    rule.forwarding = rule.mirror ? Forwarding::none : Forwarding::permit;
  } else {
    for ( const JsonNode & node : fields.list( "actions" ) )
      applyAction( fields, node, rule );
  }
  if ( rule.mirror && !acl.mirrorPort )
    fields.fail( fields.place( "actions" ),
                 "a rule that mirrors requires the list's \"mirrorPort\"" );
}

void readPolice( JsonFields & fields, AclRule & rule ) {
  const JsonNode * node = fields.find( "police" );
  if ( node == nullptr )
    return;
  JsonFields police( fields.file(), *node, "\"police\"" );
  const auto rate = rateFromText( police.text( "rate" ) );
  if ( !rate )
    police.fail( police.place( "rate" ),
                 "\"rate\" must be bit/s, like \"64k\" or \"10M\", of whole kbit/s" );
  rule.police = policeRate( *rate, police.number( "burst", 1, 0x7FFFFFFF, 0 ) );
  police.finish();
}

void readCounters( JsonFields & fields, AclRule & rule ) {
  if ( fields.find( "counters" ) == nullptr )
    return;
  WantedCounters wanted = { false, false, true };
  const std::vector< JsonNode > & nodes = fields.list( "counters" );
  for ( const JsonNode & node : nodes ) {
    const std::string & name = Platform::jsonText( fields.file(), node, "\"counters\"" );
    if ( name == "packets" )
      wanted.packets = true;
    else if ( name == "bytes" )
      wanted.bytes = true;
    else
      fields.fail( node.place(),
                   fmt::format( "there is no counter \"{}\"; there are packets, bytes", name ) );
  }
  if ( nodes.empty() )
    fields.fail( fields.place( "counters" ), "at least one of packets and bytes is required" );
  rule.counters = wanted;
}

void readUse( JsonFields & fields, Acl & acl ) {
  acl.kind = readName< AclKind >(
      fields, "type", "ipv4",
      { { "ipv4", AclKind::ipv4 }, { "ipv6", AclKind::ipv6 }, { "mac", AclKind::mac } } );
  acl.use = readName< AclUse >( fields, "use", "filter",
                                { { "filter", AclUse::filter },
                                  { "mirror", AclUse::mirror },
                                  { "flow", AclUse::flow },
                                  { "flowVxlan", AclUse::flowVxlan } } );
  const bool serves =
      acl.use == AclUse::filter || acl.kind == AclKind::ipv4 || acl.use == AclUse::mirror;
  if ( !serves )
    fields.fail( fields.place( "use" ), fmt::format( "a list of type {} cannot have the use {}",
                                                     kindName( acl.kind ), useName( acl.use ) ) );
  const bool flow = acl.use == AclUse::flow || acl.use == AclUse::flowVxlan;
  if ( flow )
    acl.flowProtocol =
        static_cast< U8 >( fields.number( "flowProtocol", 0, 0xFF, acl.flowProtocol ) );
}

void readDefault( JsonFields & fields, Acl & acl ) {
  if ( fields.find( "default" ) == nullptr )
    return;
  acl.defaultAction = readName< Forwarding >(
      fields, "default", "", { { "permit", Forwarding::permit }, { "drop", Forwarding::drop } } );
  acl.defaultOrigin = DefaultOrigin::format;
  if ( acl.use != AclUse::filter )
    fields.fail( fields.place( "default" ), "only lists of the use filter have a default action" );
}

void readLaterFragments( JsonFields & fields, Acl & acl ) {
  acl.laterFragments =
      readName< LaterFragments >( fields, "laterFragments", "unmatched",
                                  { { "unmatched", LaterFragments::unmatched },
                                    { "permittedByL3", LaterFragments::permittedByL3 } } );
}

Platform::JsonRows rulesOf( JsonFields & fields ) {
  return needLeaf( fields, "rules" ).rows();
}

void readMirrorPort( JsonFields & fields, Acl & acl ) {
  if ( fields.find( "mirrorPort" ) == nullptr )
    return;
  acl.mirrorPort = 0;  // its rules are read all the same if this one is refused
  acl.mirrorPort = fields.number( "mirrorPort", 0, portsMax - 1 );
  acl.mirrorPortLine = fields.line( "mirrorPort" );
}

void checkRules( JsonFields & fields ) {
  if ( rulesOf( fields ).empty() )
    fields.fail( fields.place( "rules" ), "there are no rules" );
}

// The rule's name or number.
std::string ruleName( const JsonNode & node, size_t index ) {
  for ( const auto & [ key, value ] : node.members )
    if ( key == "name" && value.kind == JsonNode::Kind::string && !value.string.empty() )
      return value.string;
  return fmt::format( "rule {}", index + 1 );
}

}  // namespace

bool isRulesFile( const AclSource & source ) {
  const auto & members = source.root->members;
  return std::any_of( members.begin(), members.end(),
                      []( const auto & member ) { return member.name == "rules"; } );
}

AclRule readFileRule( const Acl & acl, const JsonNode & node, std::vector< NamedPorts > & ports ) {
  JsonFields fields( acl.file, node, "a rule" );
  AclRule rule;
  rule.line = node.line;
  rule.column = node.column;
  rule.name = fields.text( "name", "" );
  readRuleMatch( fields, acl.kind, acl.use, rule, ports );
  readActions( fields, acl, rule );
  readPolice( fields, rule );
  readCounters( fields, rule );
  fields.finish();
  return rule;
}

void readRulesFile( const AclSource & source, AclDocument & document ) {
  JsonFields fields( source.file, *source.root, "a rules file" );
  Acl acl;
  acl.name = source.name;
  acl.file = source.file;
  const auto reads = [ & ]( auto read ) {
    return document.refusals.guard( acl.name, "", [ & ] { read( fields, acl ); } );
  };
  // What a rule may have depends on the list's type and use.
  if ( !reads( readUse ) || !reads( []( JsonFields & head, Acl & ) { checkRules( head ); } ) )
    return;
  bool read = reads( readDefault );
  read &= reads( readLaterFragments );
  read &= reads( readMirrorPort );
  read &= reads( []( JsonFields & head, Acl & ) { head.finish(); } );
  size_t index = 0;
  for ( Platform::JsonRows rows = rulesOf( fields ); rows.next(); ) {
    const JsonNode & node = rows.row().value;
    document.progress.at( rows.position() );
    document.refusals.guard(
        acl.name, [ & ] { return ruleName( node, index ); },
        [ & ] {
          std::vector< NamedPorts > ports;
          AclRule rule = readFileRule( acl, node, ports );
          document.requireRoom( acl.name, acl.rules.size(), node.place() );
          for ( NamedPorts & each : ports ) {
            each.rule = static_cast< U32 >( acl.rules.size() );
            acl.namedPorts.push_back( std::move( each ) );
          }
          acl.rules.push_back( std::move( rule ) );
        } );
    ++index;
  }
  if ( read )
    document.lists.push_back( std::move( acl ) );
}

}  // namespace Agent
