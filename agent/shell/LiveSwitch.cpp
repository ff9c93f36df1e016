#include "agent/shell/LiveSwitch.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>

#include "agent/feature/AclShares.h"
#include "agent/shell/ShellError.h"
#include "agent/text/Suggestion.h"
#include "agent/text/TextTable.h"

namespace Agent {

namespace {

std::vector< std::string > namesOf( const std::vector< Acl > & lists ) {
  std::vector< std::string > names;
  names.reserve( lists.size() );
  for ( const Acl & acl : lists )
    names.push_back( acl.name );
  return names;
}

auto placeOf( std::vector< Acl > & lists, size_t index ) {
  return lists.begin() + static_cast< std::ptrdiff_t >( index );
}

auto placeOf( Acl & acl, size_t index ) {
  return acl.rules.begin() + static_cast< std::ptrdiff_t >( index );
}

}  // namespace

LiveSwitch::LiveSwitch( const RunOptions & options )
    : options_( options ),
      input_( readInput( options ) ),
      first_( options.acls.empty() ? Lists() : std::exchange( input_.acls, {} ) ),
      session_( input_.platform, input_.record ),
      feature_( session_.groupManager(), SwitchSession::unit, input_.platform,
                rangeChoice( input_.portMethod, input_.platform, first_ ) ),
      refused_( input_.remarks.refused ) {
  input_.acls.clear();
  printRefusals( input_.remarks );
  feature_.replaceAcls( input_.acls, input_.defaultAction );
}

LiveSwitch::~LiveSwitch() {
  feature_.clear();
}

std::vector< std::string > LiveSwitch::addFirstLists() {
  std::vector< std::string > faults;
  for ( Acl & acl : first_ )
    try {
      apply(
          "", [ & ]( Lists & lists ) { lists.push_back( std::move( acl ) ); } );
    } catch ( const ShellError & error ) {
      faults.emplace_back( error.what() );
    }
  first_.clear();
  return faults;
}

// --- Changes ---------------------------------------------------------------------------------

void LiveSwitch::requireSupported( const Lists & lists ) const {
  std::set< std::string > names;
  for ( const Acl & acl : lists ) {
    if ( !names.insert( acl.name ).second )
      throw ShellError( fmt::format( "there is a list {} already", acl.name ) );
    if ( const auto fault = listFault( input_.platform, lists, acl ) )
      throw ShellError( fmt::format( "list {}: {}", acl.name, fault->what ) );
  }
}

std::string LiveSwitch::apply( const std::string & what, const Edit & edit ) {
  Lists next = input_.acls;
  edit( next );
  requireSupported( next );
  const U64 calls = session_.sdkCallTotal();
  const AclChange done = feature_.replaceAcls( next, input_.defaultAction );
  if ( const auto & shortage = done.shortage ) {
    const bool isRule =
        shortage->acl < next.size() && shortage->rule < next[ shortage->acl ].rules.size();
    throw ShellError( fmt::format(
        "no room: {} ran out at {} {}; nothing is changed", resourceName( shortage->resource ),
        shortage->acl < next.size() ? next[ shortage->acl ].name : "the switch's",
        isRule ? fmt::format( "rule {}", shortage->rule + 1 ) : "default action" ) );
  }
  std::swap( input_.acls, next );
  input_.ports = packetPorts( options_, input_.platform, input_.acls );
  return fmt::format( "{}; entries: {} installed, {} released, {} moved; {} SDK calls\n", what,
                      countText( done.counts.added ), countText( done.counts.removed ),
                      countText( done.counts.moved ),
                      countText( session_.sdkCallTotal() - calls ) );
}

std::string LiveSwitch::change( const std::string & what, const Edit & edit, Edit reverse ) {
  std::string line = apply( what, edit );
  done_.push_back( { what, std::move( reverse ) } );
  return line;
}

std::string LiveSwitch::addLists( const std::vector< std::string > & arguments,
                                  const std::optional< std::string > & before,
                                  const std::string & bind ) {
  const size_t at = before ? listNamed( *before ) : input_.acls.size();
  RunOptions options = options_;
  options.acls = arguments;
  options.binds.clear();
  options.police.clear();
  options.supportedLists = false;  // all lists together, before they are programmed
  if ( !bind.empty() )
    options.binds.push_back( arguments.front().substr( 0, arguments.front().find( '=' ) + 1 ) +
                             bind );
  const RunInput read = readInput( options );
  const size_t count = read.acls.size();
  U64 rules = 0;
  for ( const Acl & acl : read.acls )
    rules += acl.rules.size();
  std::string line = change(
      fmt::format( "{} added, {} rules", fmt::join( namesOf( read.acls ), ", " ),
                   countText( rules ) ),
      [ & ]( Lists & lists ) {
        lists.insert( placeOf( lists, at ), read.acls.begin(), read.acls.end() );
      },
      [ at, count ]( Lists & lists ) {
        lists.erase( placeOf( lists, at ), placeOf( lists, at + count ) );
      } );
  printRefusals( read.remarks );
  refused_ += read.remarks.refused;
  return line;
}

std::string LiveSwitch::removeList( const std::string & name ) {
  const U32 at = listNamed( name );
  return change(
      fmt::format( "{} removed", name ),
      [ at ]( Lists & lists ) { lists.erase( placeOf( lists, at ) ); },
      [ at, acl = input_.acls[ at ] ]( Lists & lists ) {
        lists.insert( placeOf( lists, at ), acl );
      } );
}

std::string LiveSwitch::addRule( U32 acl, U32 index, const AclRule & rule ) {
  return change(
      fmt::format( "{} rule {} added", input_.acls[ acl ].name, index + 1 ),
      [ & ]( Lists & lists ) { lists[ acl ].rules.insert( placeOf( lists[ acl ], index ), rule ); },
      [ acl, index ]( Lists & lists ) {
        lists[ acl ].rules.erase( placeOf( lists[ acl ], index ) );
      } );
}

std::string LiveSwitch::removeRule( U32 acl, U32 index ) {
  return change(
      fmt::format( "{} rule {} removed", input_.acls[ acl ].name, index + 1 ),
      [ & ]( Lists & lists ) { lists[ acl ].rules.erase( placeOf( lists[ acl ], index ) ); },
      [ acl, index, rule = input_.acls[ acl ].rules[ index ] ]( Lists & lists ) {
        lists[ acl ].rules.insert( placeOf( lists[ acl ], index ), rule );
      } );
}

std::string LiveSwitch::undo() {
  if ( done_.empty() )
    throw ShellError( "there is no change to undo" );
  std::string line = apply( fmt::format( "undone: {}", done_.back().what ), done_.back().reverse );
  done_.pop_back();
  return line;
}

U32 LiveSwitch::listNamed( const std::string & name ) const {
  const std::vector< std::string > names = namesOf( input_.acls );
  const auto found = std::find( names.begin(), names.end(), name );
  if ( found == names.end() )
    throw ShellError( fmt::format( "there is no list {}{}", name, suggestion( name, names ) ) );
  return static_cast< U32 >( found - names.begin() );
}

}  // namespace Agent
