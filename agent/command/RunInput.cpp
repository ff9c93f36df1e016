#include <fmt/core.h>

#include <filesystem>
#include <set>

#include "agent/command/Example.h"
#include "agent/command/Run.h"
#include "agent/command/SdkOption.h"
#include "agent/command/UsageError.h"
#include "agent/feature/AclShares.h"
#include "agent/packets/PacketFiles.h"
#include "agent/packets/PacketMaker.h"
#include "agent/packets/RandomPackets.h"
#include "agent/report/OutputFile.h"
#include "agent/report/Progress.h"
#include "agent/text/Suggestion.h"
#include "platform/InputError.h"
#include "platform/PlatformLoader.h"

namespace Agent {

namespace {

constexpr U32 examplePackets = 10000;
constexpr U64 nanosecondsPerSecond = 1'000'000'000;

// The lists that --bind names, LIST=PORTS, of a file whose lists get NAME- before theirs.
std::vector< std::string > listsToBind( const std::vector< std::string > & binds,
                                        const std::string & before ) {
  std::vector< std::string > lists;
  for ( const std::string & bind : binds ) {
    const std::string list = bind.substr( 0, bind.rfind( '=' ) );
    if ( list.starts_with( before ) )
      lists.push_back( list.substr( before.size() ) );
  }
  return lists;
}

// FILE, named after the file, or NAME=FILE.
AclDocument readArgument( const std::string & argument, const RunOptions & options,
                          ReaderOptions reader ) {
  Progress progress( "reading" );
  reader.progress = [ & ]( U64 done, U64 total ) { progress.at( done, total ); };
  const size_t equals = argument.find( '=' );
  std::error_code ignored;
  if ( equals == std::string::npos || std::filesystem::exists( argument, ignored ) ) {
    reader.wanted = listsToBind( options.binds, "" );
    return readAclFile( { std::filesystem::path( argument ).stem().string(), false }, argument,
                        options.format, reader );
  }
  if ( equals == 0 )
    throw UsageError( fmt::format( "--acl {}: the name is missing", argument ) );
  const std::string name = argument.substr( 0, equals );
  reader.wanted = listsToBind( options.binds, name + "-" );
  return readAclFile( { name, true }, argument.substr( equals + 1 ), options.format, reader );
}

void checkNames( const std::vector< Acl > & acls ) {
  std::set< std::string > names;
  for ( const Acl & acl : acls )
    if ( !names.insert( acl.name ).second )
      throw UsageError( fmt::format( "two access lists are named {}: use NAME=FILE", acl.name ) );
}

void readAcls( const RunOptions & options, RunInput & input ) {
  ReaderRemarks & remarks = input.remarks;
  ReaderOptions reader = options.reader;
  if ( options.boundLists )
    reader.bound = { largestShare( input.platform ), input.platform.name };
  if ( options.boundLists && !options.partial )
    reader.refusalsMax = reader.bound.rules;
  for ( const std::string & argument : options.acls ) {
    AclDocument document = readArgument( argument, options, reader );
    document.refusals.untilStopped( [ & ] { resolvePorts( input.platform, document ); } );
    std::move( document.lists.begin(), document.lists.end(), std::back_inserter( input.acls ) );
    remarks.refused += document.refusals.count();
    for ( std::string & line : document.refusals.lines() )
      remarks.refusals.push_back( std::move( line ) );
    for ( const std::string & note : document.notes )
      remarks.notes.push_back( fmt::format( "{}: {}", document.refusals.file(), note ) );
  }
  if ( remarks.refused != 0 && !options.partial )
    throw RefusedRules( std::move( remarks.refusals ) );
  if ( input.acls.empty() && ( remarks.refused != 0 || !options.reader.mayBeEmpty ) )
    throw RefusedRules( std::move( remarks.refusals ) );
  checkNames( input.acls );
}

std::vector< Frame > exampleFrames() {
  std::vector< Frame > frames;
  for ( const PacketFields & packet : exampleTrace() )
    frames.push_back( makeFrame( packet ) );
  return frames;
}

void checkPlatform( const RunOptions & options, const RunInput & input ) {
  for ( const Acl & acl : input.acls ) {
    const auto fault = listFault( input.platform, input.acls, acl );
    if ( fault && fault->line == 0 )
      throw UsageError( fmt::format( "list {}: {}", acl.name, fault->what ) );
    if ( fault )
      throw Platform::InputError( acl.file, { fault->line, fault->column }, fault->what );
  }
  if ( options.defaultAction != Forwarding::none && shareOf( input.platform, {} ) == nullptr )
    throw UsageError(
        fmt::format( "--default: {} has no share for IPv4 lists", input.platform.name ) );
}

Platform::PlatformData readPlatform( const std::string & name ) {
  std::error_code ignored;
  try {
    return Platform::loadPlatform( name );
  } catch ( const Platform::InputError & error ) {
    if ( std::filesystem::exists( name, ignored ) )
      throw;
    throw Platform::InputError( name, error.place(),
                                error.reason() + suggestion( name, Platform::builtInPlatforms() ) );
  }
}

// Packets of the file, then random ones; the built-in example's by default.
PacketFile readAllPackets( const RunOptions & options, const std::vector< Acl > & acls ) {
  const U64 interval = nanosecondsPerSecond / options.packetsPerSecond;
  PacketFile result;
  U32 random = options.random;
  if ( !options.packets.empty() ) {
    result = readPackets( options.packets, interval );
    if ( result.packets.empty() )
      throw Platform::InputError( options.packets, 0, "there are no packets in this file" );
  } else if ( options.acls.empty() && random == 0 ) {
    appendFrames( result.packets, exampleFrames(), interval );
    random = examplePackets;
  }
  appendFrames( result.packets, randomFrames( acls, options.seed, random ), interval );
  return result;
}

}  // namespace

RunInput readInput( const RunOptions & options ) {
  RunInput input;
  input.platform = readPlatform( options.platform );
  input.portMethod = options.ports;
  input.defaultAction = options.defaultAction;
  input.verify = options.verify;
  input.record = options.record;
  input.map = !options.html.empty();
  if ( !options.sdk.empty() )
    input.sdk = &loadSdkOption( options, input.platform );
  if ( !options.show.empty() )
    input.show = usageRequest( options.show, input.platform );
  for ( const std::string & clear : options.clears )
    input.clears.push_back( clearRequest( clear, input.platform ) );
  input.thresholds = readThresholds( options.thresholds, input.platform );
  if ( options.acls.empty() )
    input.acls = { exampleAcl() };
  else
    readAcls( options, input );
  applyPolice( options.police, input.acls );
  applyBindings( options.binds, input.platform, input.acls );
  input.ports = packetPorts( options, input.platform, input.acls );
  if ( options.supportedLists )
    checkPlatform( options, input );
  if ( input.sdk == nullptr )
    input.packets = readAllPackets( options, input.acls );
  return input;
}

void printRefusals( const ReaderRemarks & remarks ) {
  for ( const std::string & line : remarks.refusals )
    printError( line );
}

U64 rulesIn( const std::vector< Acl > & acls ) {
  U64 rules = 0;
  for ( const Acl & acl : acls )
    rules += acl.size();
  return rules;
}

}  // namespace Agent
