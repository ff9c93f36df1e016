#include <fmt/core.h>

#include <algorithm>

#include "agent/acl/PoliceRate.h"
#include "agent/command/Run.h"
#include "agent/command/TcamNames.h"
#include "agent/command/UsageError.h"

namespace Agent {

namespace {

// RULE:RATE[:BURST]; list names may contain colons.
struct PoliceText {
  std::string rule;  // [LIST/]NUMBER
  std::string rate;
  std::string burst;  // empty: the default
};

[[noreturn]] void failPolice( const std::string & argument, const std::string & what ) {
  throw UsageError( fmt::format( "--police {}: {}", argument, what ) );
}

PoliceText split( const std::string & argument ) {
  PoliceText text;
  const size_t slash = argument.rfind( '/' );
  const size_t rule = slash == std::string::npos ? 0 : slash + 1;
  const size_t colon = argument.find( ':', rule );
  if ( colon == std::string::npos )
    failPolice( argument, "RULE:RATE or RULE:RATE:BURST is expected" );
  text.rule = argument.substr( 0, colon );
  const size_t second = std::min( argument.find( ':', colon + 1 ), argument.size() );
  text.rate = argument.substr( colon + 1, second - colon - 1 );
  if ( second != argument.size() )
    text.burst = argument.substr( second + 1 );
  if ( second + 1 == argument.size() )
    failPolice( argument, "the burst is missing" );
  return text;
}

PoliceRate readRate( const std::string & argument, const PoliceText & text ) {
  const auto bitsPerSecond = rateFromText( text.rate );
  if ( !bitsPerSecond )
    failPolice( argument, "RATE is bit/s, like 64k or 10M, of whole kbit/s" );
  const auto burst = text.burst.empty() ? std::optional< U64 >( 0 ) : numberFromText( text.burst );
  const auto rate = burst ? policeRate( *bitsPerSecond, *burst ) : std::nullopt;
  if ( !rate || ( !text.burst.empty() && *burst == 0 ) )
    failPolice( argument, "BURST is a number of bytes above 0" );
  return *rate;
}

}  // namespace

void applyPolice( const std::vector< std::string > & police, std::vector< Acl > & acls ) {
  for ( const std::string & argument : police ) {
    const PoliceText text = split( argument );
    const RuleIndex index = namedRule( "--police " + argument, text.rule, acls );
    acls[ index.acl ].rules[ index.rule ].police = readRate( argument, text );
  }
}

}  // namespace Agent
