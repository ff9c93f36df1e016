#include "agent/feature/RuleKey.h"

#include <fmt/format.h>

#include <iterator>

#include "agent/acl/MatchFields.h"

namespace Agent {

namespace {

void appendField( std::string & key, const MatchField & field, const AclRule & rule ) {
  const auto out = std::back_inserter( key );
  fmt::format_to( out, "{}", field.name );
  if ( field.isRange() )
    for ( const AnyRange & range : rangesIn( field, rule ) )
      fmt::format_to( out, " {}-{}", range.low, range.high );
  else
    for ( const TernaryBits & bits : matchesIn( field, rule ) )
      fmt::format_to( out, " {:x}.{:x}/{:x}.{:x}", bits.value.high, bits.value.low, bits.mask.high,
                      bits.mask.low );
  key += ';';
}

}  // namespace

std::string ruleKey( const Acl & acl, const AclRule & rule ) {
  std::string key;
  for ( const MatchField & field : matchFields() )
    if ( field.isIn( acl.kind ) && restricts( field, rule ) )
      appendField( key, field, rule );
  const auto out = std::back_inserter( key );
  for ( const UdfMatch & udf : rule.udf )
    fmt::format_to( out, "udf {} {:x}/{:x};", udf.fromL3(), udf.value, udf.mask );
  fmt::format_to( out, "{}{}{}{}{} {}", static_cast< int >( rule.forwarding ), rule.copyToCpu,
                  rule.counters.packets, rule.counters.bytes,
                  static_cast< int >( acl.laterFragments ),
                  rule.mirror ? acl.mirrorPort.value_or( 0 ) : ~0U );
  if ( rule.police )
    fmt::format_to( out, " {}:{}", rule.police->bitsPerSecond, rule.police->burstBytes );
  return key;
}

}  // namespace Agent
