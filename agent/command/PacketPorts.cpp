#include <fmt/core.h>

#include <algorithm>
#include <set>

#include "agent/acl/MatchFields.h"
#include "agent/command/Run.h"
#include "agent/command/UsageError.h"
#include "platform/PortNames.h"

namespace Agent {

namespace {

// The ports that lists and rules of a direction name.
class NamedSets {
 public:
  NamedSets( const std::vector< Acl > & acls, Direction direction );

  // The first port of each set of lists and rules that packets can meet, ascending.
  std::vector< U32 > ports( U32 count ) const;

 private:
  using Ranges = std::vector< AnyRange >;

  bool isBound( U32 port ) const {
    return everywhere_ || std::any_of(
                              lists_.begin(), lists_.end(),
                              [ & ]( const Ranges & list ) { return holds( list, port ); } );
  }
  std::vector< bool > setOf( U32 port ) const;
  static bool holds( const Ranges & ranges, U32 port );

  bool everywhere_ = false;  // a list is bound to all ports
  std::set< Ranges > lists_;
  std::set< Ranges > rules_;
};

NamedSets::NamedSets( const std::vector< Acl > & acls, Direction direction ) {
  const MatchField & field =
      matchField( direction == Direction::in ? FieldId::inPorts : FieldId::outPorts );
  for ( const Acl & acl : acls ) {
    if ( acl.direction != direction )
      continue;
    if ( acl.boundPorts.empty() )
      everywhere_ = true;
    else
      lists_.insert( acl.boundPorts );
    for ( const AclRule & rule : acl.rules )
      if ( restricts( field, rule ) )
        rules_.insert( rangesIn( field, rule ) );
  }
}

bool NamedSets::holds( const Ranges & ranges, U32 port ) {
  return std::any_of(
      ranges.begin(), ranges.end(),
      [ port ]( const AnyRange & range ) { return range.low <= port && port <= range.high; } );
}

std::vector< bool > NamedSets::setOf( U32 port ) const {
  std::vector< bool > set;
  for ( const std::set< Ranges > * each : { &lists_, &rules_ } )
    for ( const Ranges & ranges : *each )
      set.push_back( holds( ranges, port ) );
  return set;
}

std::vector< U32 > NamedSets::ports( U32 count ) const {
  std::vector< U32 > ports;
  std::set< std::vector< bool > > seen;
  for ( U32 port = 0; port < count; ++port )
    if ( isBound( port ) && seen.insert( setOf( port ) ).second )
      ports.push_back( port );
  if ( ports.empty() )
    ports.push_back( 0 );
  return ports;
}

std::vector< U32 > portsFor( const char * option, const std::string & text, Direction direction,
                             const Platform::PlatformData & platform,
                             const std::vector< Acl > & acls ) {
  if ( text.empty() )
    return NamedSets( acls, direction ).ports( platform.chip.ports() );
  const auto ports = Platform::portsOf( platform, text );
  if ( !ports || ports->low != ports->high )
    throw UsageError( fmt::format( "{} {}: {}", option, text, Platform::portsText( platform ) ) );
  return { ports->low };
}

}  // namespace

std::vector< PortPair > packetPorts( const RunOptions & options,
                                     const Platform::PlatformData & platform,
                                     const std::vector< Acl > & acls ) {
  const std::vector< U32 > in =
      portsFor( "--ingress-port", options.ingressPort, Direction::in, platform, acls );
  const std::vector< U32 > out =
      portsFor( "--egress-port", options.egressPort, Direction::out, platform, acls );
  // Each with each, and every port as early as possible.
  std::vector< PortPair > pairs;
  for ( size_t round = 0; round < out.size(); ++round )
    for ( size_t i = 0; i < in.size(); ++i )
      pairs.push_back( { in[ i ], out[ ( i + round ) % out.size() ] } );
  return pairs;
}

}  // namespace Agent
