#include "agent/verdict/WhatIf.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "agent/text/Suggestion.h"
#include "agent/text/TextTable.h"

namespace Agent {

namespace {

using SoftAsic::ChipProfile;
using SoftAsic::StageKind;

constexpr U32 repeatMax = 1000;

U32 slicesOf( const ChipProfile & chip, StageKind kind ) {
  U32 count = 0;
  for ( const SoftAsic::StageProfile & stage : chip.stages )
    for ( const SoftAsic::SliceProfile & slices : stage.slices )
      count += stage.kind == kind ? slices.count : 0;
  return count;
}

// Slices are added to the last kind, and taken from the last ones.
void setSlices( ChipProfile & chip, StageKind kind, U32 count ) {
  const auto stage =
      std::find_if( chip.stages.begin(), chip.stages.end(),
                    [ kind ]( const auto & candidate ) { return candidate.kind == kind; } );
  if ( stage == chip.stages.end() )
    return;
  U32 has = slicesOf( chip, kind );
  if ( count > has )
    stage->slices.back().count += count - has;
  for ( ; has > count; --has )
    if ( --stage->slices.back().count == 0 )
      stage->slices.pop_back();
}

struct Quantity {
  const char * name;
  U32 ( *get )( const ChipProfile & chip );
  void ( *set )( ChipProfile & chip, U32 count );
};

template < U32 ChipProfile::*member >
constexpr Quantity quantity( const char * name ) {
  return { name, []( const ChipProfile & chip ) { return chip.*member; },
           []( ChipProfile & chip, U32 count ) { chip.*member = count; } };
}

template < StageKind kind >
constexpr Quantity sliceQuantity( const char * name ) {
  return { name, []( const ChipProfile & chip ) { return slicesOf( chip, kind ); },
           []( ChipProfile & chip, U32 count ) { setSlices( chip, kind, count ); } };
}

// Every pipe has as many ports as the others.
constexpr Quantity portQuantity = { "ports",
                                    []( const ChipProfile & chip ) { return chip.ports(); },
                                    []( ChipProfile & chip, U32 count ) {
                                      chip.portsPerPipe = ( count + chip.pipes - 1 ) / chip.pipes;
                                    } };

constexpr Quantity quantities[] = {
    portQuantity,
    quantity< &ChipProfile::rangeCheckers >( "range-checkers" ),
    sliceQuantity< StageKind::ifp >( "slices" ),
    sliceQuantity< StageKind::efp >( "egress-slices" ),
    quantity< &ChipProfile::policers >( "policers" ),
    quantity< &ChipProfile::statistics >( "statistics" ),
    quantity< &ChipProfile::dataChunks >( "udf-chunks" ),
    quantity< &ChipProfile::dataFormats >( "udf-formats" ),
    quantity< &ChipProfile::preselectors >( "preselectors" ),
};

std::optional< U32 > numberOf( std::string_view text ) {
  U32 number = 0;
  const auto [ end, error ] = std::from_chars( text.data(), text.data() + text.size(), number );
  if ( text.empty() || error != std::errc() || end != text.data() + text.size() )
    return std::nullopt;
  return number;
}

// The count that N, +N or -N makes of `has`.
std::optional< U32 > changed( U32 has, const std::string & text ) {
  const bool relative = text.starts_with( '+' ) || text.starts_with( '-' );
  const auto number = numberOf( std::string_view( text ).substr( relative ? 1 : 0 ) );
  if ( !number || !relative )
    return number;
  if ( text.front() == '-' )
    return *number <= has ? std::optional( has - *number ) : std::nullopt;
  return *number <= ~0U - has ? std::optional( has + *number ) : std::nullopt;
}

// A chip without checkers has no qualifier for them.
void dropRangeChecks( Platform::PlatformData & platform ) {
  for ( Platform::GroupData & group : platform.groups ) {
    std::erase( group.qualifiers, bcmFieldQualifyRangeCheck );
    std::erase( group.includes, bcmFieldQualifyRangeCheck );
  }
}

// Replaces the count where the description has it, and adds it otherwise.
void describeChange( const char * name, U32 had, U32 has, std::string & description ) {
  const std::string before = fmt::format( "{} {}", had, name );
  const std::string now = fmt::format( "{} {}", has, name );
  size_t at = description.find( before );
  while ( at != description.npos && at != 0 && description[ at - 1 ] != ' ' )
    at = description.find( before, at + 1 );
  if ( at != description.npos )
    description.replace( at, before.size(), now );
  else
    description += ( description.empty() ? "" : ", " ) + now;
}

std::optional< std::string > changeChip( const Quantity & quantity, const std::string & text,
                                         Platform::PlatformData & platform ) {
  const U32 has = quantity.get( platform.chip );
  const auto count = changed( has, text );
  if ( !count )
    return fmt::format( "N, +N or -N is expected after {}=, of which {} has {}", quantity.name,
                        platform.name, has );
  if ( *count == 0 && quantity.name == std::string_view( "ports" ) )
    return fmt::format( "{} without ports is no switch", platform.name );
  quantity.set( platform.chip, *count );
  if ( quantity.get( platform.chip ) < *count )
    return fmt::format( "{} has no {}", platform.name, quantity.name );
  describeChange( quantity.name, has, quantity.get( platform.chip ), platform.description );
  if ( platform.chip.rangeCheckers == 0 )
    dropRangeChecks( platform );
  if ( platform.portNames.size() > platform.chip.ports() )
    platform.portNames.resize( platform.chip.ports() );
  if ( const auto fault = checkPlatform( platform ) )
    return fmt::format( "{} cannot be changed so: {}", platform.name, fault->what );
  return std::nullopt;
}

std::optional< std::string > repeatList( const std::string & text, std::vector< Acl > & acls ) {
  const size_t star = text.rfind( '*' );
  const auto times = star == std::string::npos
                         ? std::nullopt
                         : numberOf( std::string_view( text ).substr( star + 1 ) );
  if ( !times || *times == 0 || *times > repeatMax )
    return fmt::format( "list:NAME*N is expected, with N from 1 to {}", repeatMax );
  const std::string name = text.substr( 0, star );
  std::vector< std::string > names;
  for ( Acl & acl : acls ) {
    names.push_back( acl.name );
    if ( acl.name != name )
      continue;
    const std::vector< AclRule > once = acl.rules;
    acl.rules.reserve( once.size() * *times );
    for ( U32 i = 1; i < *times; ++i )
      acl.rules.insert( acl.rules.end(), once.begin(), once.end() );
    return std::nullopt;
  }
  return fmt::format( "there is no list {}, but {}{}", name, namesText( names ),
                      suggestion( name, names ) );
}

std::vector< std::string > quantityNames() {
  std::vector< std::string > names;
  for ( const Quantity & quantity : quantities )
    names.push_back( quantity.name );
  return names;
}

}  // namespace

std::string whatIfNames() {
  return fmt::format( "{}", fmt::join( quantityNames(), ", " ) );
}

std::optional< std::string > applyWhatIf( const std::string & change,
                                          Platform::PlatformData & platform,
                                          std::vector< Acl > & acls ) {
  constexpr std::string_view list = "list:";
  if ( change.starts_with( list ) )
    return repeatList( change.substr( list.size() ), acls );
  const size_t equals = change.find( '=' );
  for ( const Quantity & quantity : quantities )
    if ( equals != std::string::npos && change.substr( 0, equals ) == quantity.name )
      return changeChip( quantity, change.substr( equals + 1 ), platform );
  return fmt::format( "one of {}=N, +N or -N, or list:NAME*N is expected{}", whatIfNames(),
                      suggestion( change.substr( 0, equals ), quantityNames() ) );
}

}  // namespace Agent
