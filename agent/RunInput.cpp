#include <fmt/core.h>

#include <filesystem>
#include <set>

#include "agent/Example.h"
#include "agent/RandomPackets.h"
#include "agent/Run.h"
#include "agent/TraceReader.h"
#include "platform/InputError.h"
#include "platform/PlatformLoader.h"

namespace Agent {

namespace {

constexpr U32 examplePackets = 10000;

// FILE, whose name is the file's own, or NAME=FILE.
Acl readNamedAcl( const std::string & argument, AclFormat format ) {
  const size_t equals = argument.find( '=' );
  std::error_code ignored;
  if ( equals == std::string::npos || std::filesystem::exists( argument, ignored ) )
    return readAcl( std::filesystem::path( argument ).stem().string(), argument, format );
  if ( equals == 0 )
    throw UsageError( fmt::format( "--acl {}: the name is missing", argument ) );
  return readAcl( argument.substr( 0, equals ), argument.substr( equals + 1 ), format );
}

std::vector< Acl > readAcls( const RunOptions & options ) {
  std::vector< Acl > acls;
  std::set< std::string > names;
  for ( const std::string & argument : options.acls ) {
    acls.push_back( readNamedAcl( argument, options.format ) );
    if ( !names.insert( acls.back().name ).second )
      throw UsageError(
          fmt::format( "two access lists are named {}: use NAME=FILE", acls.back().name ) );
  }
  return acls;
}

void append( std::vector< PacketFields > & packets, const std::vector< PacketFields > & more ) {
  packets.insert( packets.end(), more.begin(), more.end() );
}

}  // namespace

RunInput readInput( const RunOptions & options ) {
  RunInput input;
  input.platform = Platform::loadPlatform( options.platform );
  if ( const std::string fault = AclFeature::platformFault( input.platform ); !fault.empty() )
    throw Platform::InputError( options.platform, 0, fault );
  if ( options.ingressPort >= input.platform.chip.ports() )
    throw UsageError( fmt::format( "--ingress-port {}: {} has the ports 0 to {}",
                                   options.ingressPort, input.platform.name,
                                   input.platform.chip.ports() - 1 ) );
  input.ingressPort = options.ingressPort;
  input.denyByDefault = options.denyByDefault;
  input.verify = options.verify;

  input.acls = options.acls.empty() ? std::vector{ exampleAcl() } : readAcls( options );
  U32 random = options.random;
  if ( !options.packets.empty() ) {
    input.packets = parseTrace( options.packets, Platform::readFile( options.packets ) );
  } else if ( options.acls.empty() && random == 0 ) {
    input.packets = exampleTrace();
    random = examplePackets;
  }
  append( input.packets, randomPackets( input.acls, options.seed, random ) );
  return input;
}

}  // namespace Agent
