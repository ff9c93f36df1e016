#include <fmt/core.h>

#include <algorithm>
#include <map>

#include "agent/acl/MatchFields.h"
#include "agent/acl/PoliceRate.h"
#include "agent/command/Run.h"
#include "agent/command/UsageError.h"
#include "agent/read/MatchSets.h"
#include "platform/InputError.h"

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
    failBind( argument, "LIST=PORTS or LIST=PORTS:in is expected" );
  std::string ports = argument.substr( equals + 1 );
  Binding binding;
  if ( const size_t colon = ports.rfind( ':' ); colon != std::string::npos ) {
    const std::string direction = ports.substr( colon + 1 );
    if ( direction != "in" && direction != "out" )
      failBind( argument, fmt::format( "the direction is in or out, not {}", direction ) );
    binding.egress = direction == "out";
    ports.resize( colon );
  }
  for ( size_t at = 0; at <= ports.size(); ) {
    const size_t comma = std::min( ports.find( ',', at ), ports.size() );
    binding.ports.push_back( ports.substr( at, comma - at ) );
    at = comma + 1;
  }
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

// A port, or LOW-HIGH.
AnyRange portsOf( const std::string & text, const Platform::PlatformData & platform,
                  const Fault & fault ) {
  const U32 ports = platform.chip.ports();
  const size_t dash = std::min( text.find( '-' ), text.size() );
  const auto low = numberFromText( text.substr( 0, dash ) );
  const auto high = dash == text.size() ? low : numberFromText( text.substr( dash + 1 ) );
  if ( !low || !high || *low > *high || *high >= ports )
    fault.fail( fmt::format(
        "there is no port {}: {} has the ports 0 to {}. --bind LIST=PORTS says which ones "
        "are meant, --bind LIST=all that all are",
        text, platform.name, ports - 1 ) );
  return { static_cast< U32 >( *low ), static_cast< U32 >( *high ) };
}

// Empty: all.
Ports boundPorts( const Acl & acl, const Platform::PlatformData & platform ) {
  Ports bound;
  bool all = acl.bindings.empty();
  for ( const Binding & binding : acl.bindings ) {
    const Fault fault( acl, binding );
    if ( binding.egress )
      fault.fail(
          "the list is bound to packets that leave, and the agent programs no egress lists. --bind "
          "LIST=PORTS:in programs it for packets that enter" );
    all = all || binding.ports.empty();
    for ( const std::string & port : binding.ports ) {
      all = all || port == allPorts;
      if ( port != allPorts )
        bound.push_back( portsOf( port, platform, fault ) );
    }
  }
  return all ? Ports() : bound;
}

void bind( Acl & acl, const Ports & ports ) {
  AclRule entering;
  setRanges( entering, FieldId::inPorts, ports );
  for ( AclRule & rule : acl.rules )
    if ( restrictTo( rule, entering ) != Meet::some )
      throw Platform::InputError(
          acl.file, { rule.line, rule.column },
          fmt::format( "{}, {}: the list is not bound to the rule's ports", acl.name, rule.name ) );
  if ( acl.defaultAction != Forwarding::none ) {
    AclRule rest = acl.rule( static_cast< U32 >( acl.rules.size() ) );
    setRanges( rest, FieldId::inPorts, ports );
    acl.boundDefault = std::move( rest );
  }
  acl.boundPorts = ports;
}

}  // namespace

void applyBindings( const std::vector< std::string > & binds,
                    const Platform::PlatformData & platform, std::vector< Acl > & acls ) {
  std::map< std::string, std::vector< Binding > > given;
  for ( const std::string & argument : binds ) {
    auto [ list, binding ] = readBind( argument );
    if ( std::none_of( acls.begin(), acls.end(),
                       [ & ]( const Acl & acl ) { return acl.name == list; } ) )
      failBind( argument, fmt::format( "there is no list {}", list ) );
    given[ list ].push_back( std::move( binding ) );
  }
  for ( Acl & acl : acls ) {
    if ( const auto found = given.find( acl.name ); found != given.end() )
      acl.bindings = found->second;
    if ( const Ports ports = boundPorts( acl, platform ); !ports.empty() )
      bind( acl, ports );
  }
}

}  // namespace Agent
