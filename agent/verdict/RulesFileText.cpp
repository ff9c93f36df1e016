#include <fmt/core.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "agent/acl/RuleText.h"
#include "agent/feature/FieldCover.h"
#include "agent/text/JsonText.h"
#include "agent/verdict/Compact.h"

namespace Agent {

namespace {

using RulesJson = nlohmann::ordered_json;

// The values of a field of few bits, where the format has no masks.
std::vector< AnyRange > valuesOf( const MatchField & field, const AclRule & rule ) {
  std::vector< AnyRange > ranges;
  const auto matches = matchesIn( field, rule );
  for ( U32 value = 0; value < 1U << field.width; ++value )
    if ( std::any_of( matches.begin(), matches.end(), [ value ]( const TernaryBits & match ) {
           return ( value & match.mask.low ) == match.value.low;
         } ) )
      ranges.push_back( { value, value } );
  return ranges;
}

// All values in one range would match packets without the field as well.
RulesJson rangesJson( const MatchField & field, const std::vector< AnyRange > & ranges ) {
  std::vector< AnyRange > merged = mergedRanges( ranges );
  const U32 middle = 1U << ( field.width - 1 );
  if ( merged.front().low == 0 && merged.front().high == 2 * middle - 1 )
    merged = { { 0, middle - 1 }, { middle, 2 * middle - 1 } };
  RulesJson json = RulesJson::array();
  for ( const auto & [ low, high ] : merged )
    json.push_back( low == high ? RulesJson( low )
                                : RulesJson( fmt::format( "{}-{}", low, high ) ) );
  return json;
}

RulesJson singleValues( const MatchField & field, const AclRule & rule ) {
  RulesJson json = RulesJson::array();
  for ( const AnyRange & value : valuesOf( field, rule ) )
    json.push_back( value.low );
  return json;
}

RulesJson icmpJson( const MatchField & field, const AclRule & rule ) {
  RulesJson json = RulesJson::array();
  for ( const TernaryBits & match : matchesIn( field, rule ) )
    for ( U64 type = 0; type < 256; ++type ) {
      if ( ( type << 8 & match.mask.low ) != ( match.value.low & 0xFF00 ) )
        continue;
      if ( ( match.mask.low & 0xFF ) == 0 ) {
        json.push_back( { { "type", type } } );
        continue;
      }
      for ( U64 code = 0; code < 256; ++code )
        if ( ( code & match.mask.low ) == ( match.value.low & 0xFF ) )
          json.push_back( { { "type", type }, { "code", code } } );
    }
  return json;
}

// As fieldText has it, one by one.
RulesJson textsJson( const MatchField & field, const AclRule & rule ) {
  RulesJson json = RulesJson::array();
  for ( const TernaryBits & match : matchesIn( field, rule ) ) {
    AclRule one;
    setMatches( one, field.id, std::vector< TernaryBits >{ match } );
    json.push_back( fieldText( field, one ) );
  }
  return json;
}

RulesJson fieldJson( const MatchField & field, const AclRule & rule ) {
  RulesJson flags = RulesJson::array();
  switch ( field.text ) {
    case FieldText::fragments:
      return fragmentsName( rule.fragments );
    case FieldText::ports:
    case FieldText::range:
      return rangesJson( field, rangesIn( field, rule ) );
    case FieldText::number:
      return rangesJson( field, valuesOf( field, rule ) );
    case FieldText::protocol:
    case FieldText::dscp:
      return singleValues( field, rule );
    case FieldText::icmp:
      return icmpJson( field, rule );
    case FieldText::flags:
      for ( const TernaryBits & match : matchesIn( field, rule ) )
        flags.push_back( { { "value", fmt::format( "{:#x}", match.value.low ) },
                           { "mask", fmt::format( "{:#x}", match.mask.low ) } } );
      return flags;
    default:
      return textsJson( field, rule );
  }
}

// The format wants a protocol for these fields; without one, they mean the same.
void addProtocol( AclKind kind, const AclRule & rule, RulesJson & json ) {
  if ( kind == AclKind::mac || restricts( matchField( FieldId::protocol ), rule ) )
    return;
  if ( restricts( matchField( FieldId::icmp ), rule ) )
    json[ "protocol" ] = kind == AclKind::ipv6 ? protocolIcmp6 : protocolIcmp;
  else if ( restricts( matchField( FieldId::tcpFlags ), rule ) )
    json[ "protocol" ] = protocolTcp;
}

RulesJson ruleJson( AclKind kind, const AclRule & rule ) {
  RulesJson json = RulesJson::object();
  if ( !rule.name.empty() )
    json[ "name" ] = rule.name;
  addProtocol( kind, rule, json );
  for ( const MatchField & field : matchFields() ) {
    if ( !field.isIn( kind ) || !restricts( field, rule ) )
      continue;
    RulesJson values = fieldJson( field, rule );
    const bool one = values.is_array() && values.size() == 1;
    json[ field.name ] = one ? RulesJson( values[ 0 ] ) : values;
  }
  json[ "actions" ] = RulesJson::array();
  if ( rule.forwarding != Forwarding::none )
    json[ "actions" ].push_back( forwardingName( rule.forwarding ) );
  if ( rule.copyToCpu )
    json[ "actions" ].push_back( "copyToCpu" );
  if ( rule.mirror )
    json[ "actions" ].push_back( "mirror" );
  if ( rule.police )
    json[ "police" ] = { { "rate", fmt::format( "{}k", rule.police->bitsPerSecond / 1000 ) },
                         { "burst", rule.police->burstBytes } };
  if ( rule.counters.stated && rule.counters.packets )
    json[ "counters" ].push_back( "packets" );
  if ( rule.counters.stated && rule.counters.bytes )
    json[ "counters" ].push_back( "bytes" );
  return json;
}

}  // namespace

std::string rulesFileText( const Acl & acl ) {
  RulesJson json = { { "type", kindName( acl.kind ) }, { "use", useName( acl.use ) } };
  if ( acl.mirrorPort )
    json[ "mirrorPort" ] = *acl.mirrorPort;
  if ( acl.use == AclUse::flow || acl.use == AclUse::flowVxlan )
    json[ "flowProtocol" ] = acl.flowProtocol;
  if ( acl.defaultAction != Forwarding::none && !acl.boundDefault )
    json[ "default" ] = forwardingName( acl.defaultAction );
  if ( acl.laterFragments == LaterFragments::permittedByL3 )
    json[ "laterFragments" ] = "permittedByL3";
  json[ "rules" ] = RulesJson::array();
  for ( const AclRule & rule : acl.rules )
    json[ "rules" ].push_back( ruleJson( acl.kind, rule ) );
  if ( acl.boundDefault )
    json[ "rules" ].push_back( ruleJson( acl.kind, *acl.boundDefault ) );
  return jsonText( json );
}

}  // namespace Agent
