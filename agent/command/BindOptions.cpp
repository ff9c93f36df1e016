#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "agent/acl/MatchFields.h"
#include "agent/acl/PoliceRate.h"
#include "agent/command/Run.h"
#include "agent/command/UsageError.h"
#include "agent/read/MatchSets.h"
#include "agent/text/Suggestion.h"
#include "platform/InputError.h"
#include "platform/PortNames.h"

namespace Agent {

namespace {

using Ports = std::vector< AnyRange >;

constexpr const char * allPorts = "all";

[[noreturn]] void failBind( const std::string & argument, const std::string & what ) {
  throw UsageError( fmt::format( "--bind {}: {}", argument, what ) );
}

// LIST=PORTS[:in|out]; list names may contain "=".
std::pair< std::string, Binding > readBind( const std::string & argument ) {
  const size_t equals = argument.rfind( '=' );
  if ( equals == std::string::npos || equals == 0 || equals + 1 == argument.size() )
    failBind( argument, "LIST=PORTS, LIST=PORTS:in or LIST=PORTS:out is expected" );
  std::string ports = argument.substr( equals + 1 );
  Binding binding;
  if ( const size_t colon = ports.rfind( ':' ); colon != std::string::npos ) {
    const std::string direction = ports.substr( colon + 1 );
    if ( direction != "in" && direction != "out" )
      failBind( argument, fmt::format( "the direction is in or out, not {}", direction ) );
    binding.egress = direction == "out";
    ports.resize( colon );
  }
  binding.ports = Platform::portList( ports );
  const auto has = [ & ]( const char * port ) {
    return std::find( binding.ports.begin(), binding.ports.end(), port ) != binding.ports.end();
  };
  if ( has( "" ) )
    failBind( argument, "a port is missing" );
  if ( has( allPorts ) && binding.ports.size() != 1 )
    failBind( argument, "\"all\" stands alone" );
  return { argument.substr( 0, equals ), std::move( binding ) };
}

// What a binding of a list says that cannot be done.
class Fault {
 public:
  Fault( const Acl & acl, const Binding & binding ) : acl_( acl ), binding_( binding ) {}

  [[noreturn]] void fail( const std::string & what ) const {
    const std::string text = fmt::format( "{}: {}", acl_.name, what );
    if ( binding_.line == 0 )
      throw UsageError( "--bind " + text );
    throw Platform::InputError( acl_.file, { binding_.line, binding_.column }, text );
  }

 private:
  const Acl & acl_;
  const Binding & binding_;
};

AnyRange portsOf( const std::string & text, const Platform::PlatformData & platform,
                  const Fault & fault ) {
  const auto ports = Platform::portsOf( platform, text );
  if ( !ports )
    fault.fail( Platform::noPorts( platform, text ) +
                ". --bind LIST=PORTS says which ones are meant, --bind LIST=all that all are" );
  return { ports->low, ports->high };
}

// Ascending and disjoint.
Ports merged( const Ports & ports, const Platform::PlatformData & platform ) {
  const U32 last = platform.chip.ports() - 1;
  return complement( complement( ports, last ), last );
}

// Empty: the list is not bound in the direction. No ports: all.
std::optional< Ports > boundPorts( const Acl & acl, Direction direction,
                                   const Platform::PlatformData & platform ) {
  if ( acl.bindings.empty() )
    return direction == Direction::in ? std::optional( Ports() ) : std::nullopt;
  std::optional< Ports > bound;
  bool all = false;
  for ( const Binding & binding : acl.bindings ) {
    if ( binding.egress != ( direction == Direction::out ) )
      continue;
    if ( !bound )
      bound.emplace();
    all = all || binding.ports.empty();
    for ( const std::string & port : binding.ports ) {
      all = all || port == allPorts;
      if ( port != allPorts )
        bound->push_back( portsOf( port, platform, Fault( acl, binding ) ) );
    }
  }
  if ( bound )
    bound = all ? Ports() : merged( *bound, platform );
  return bound;
}

void bind( Acl & acl, Direction direction, const Ports & ports ) {
  acl.direction = direction;
  if ( ports.empty() )
    return;
  const FieldId field = direction == Direction::in ? FieldId::inPorts : FieldId::outPorts;
  AclRule bound;
  setRanges( bound, field, ports );
  for ( AclRule & rule : acl.rules )
    if ( restrictTo( rule, bound ) != Meet::some )
      throw Platform::InputError(
          acl.file, { rule.line, rule.column },
          fmt::format( "{}, {}: the list is not bound to the rule's ports", acl.name, rule.name ) );
  if ( acl.defaultAction != Forwarding::none ) {
    AclRule rest = acl.rule( static_cast< U32 >( acl.rules.size() ) );
    setRanges( rest, field, ports );
    acl.boundDefault = std::move( rest );
  }
  acl.boundPorts = ports;
}

// Lists, and those whose parts are lists.
std::set< std::string > namesOf( const std::vector< Acl > & acls ) {
  std::set< std::string > names;
  for ( const Acl & acl : acls ) {
    names.insert( acl.name );
    if ( !acl.whole.empty() )
      names.insert( acl.whole );
  }
  return names;
}

}  // namespace

void applyBindings( const std::vector< std::string > & binds,
                    const Platform::PlatformData & platform, std::vector< Acl > & acls ) {
  const std::set< std::string > names = namesOf( acls );
  std::map< std::string, std::vector< Binding > > given;
  for ( const std::string & argument : binds ) {
    auto [ list, binding ] = readBind( argument );
    if ( !names.contains( list ) )
      failBind( argument,
                fmt::format( "there is no list {}; there are {}{}", list, fmt::join( names, ", " ),
                             suggestion( list, { names.begin(), names.end() } ) ) );
    given[ list ].push_back( std::move( binding ) );
  }
  std::vector< Acl > bound;
  for ( Acl & acl : acls ) {
    auto found = given.find( acl.name );
    if ( found == given.end() && !acl.whole.empty() )
      found = given.find( acl.whole );
    if ( found != given.end() )
      acl.bindings = found->second;
    const auto in = boundPorts( acl, Direction::in, platform );
    const auto out = boundPorts( acl, Direction::out, platform );
    if ( in )
      bind( bound.emplace_back( out ? acl : std::move( acl ) ), Direction::in, *in );
    if ( out ) {
      bind( bound.emplace_back( std::move( acl ) ), Direction::out, *out );
      bound.back().name += in ? ", out" : "";
    }
  }
  acls = std::move( bound );
}

}  // namespace Agent
