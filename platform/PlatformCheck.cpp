// Checks of a platform, from its data up to its chip.
#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <set>

#include "morvane/PlatformCheck.h"
#include "morvane/TcamIds.h"
#include "platform/ChipFit.h"
#include "platform/PlatformModel.h"

namespace Platform {

namespace {

std::optional< PlatformFault > checkGroups( const PlatformData & data ) {
  for ( U32 i = 0; i < data.groups.size(); ++i )
    if ( data.groups[ i ].qualifiers.empty() )
      return PlatformFault{ fmt::format( "group {} matches nothing", data.groups[ i ].id ), i };
  return std::nullopt;
}

// What start-up would assert. The first fault is reported.
std::optional< PlatformFault > checkTables( const PlatformData & data, PlatformModel & model ) {
  const Morvane::PlatformUnit unit = {
      0,
      data.chipInfo,
      { data.chip.sharedByPipes, data.chip.secondCopy, data.chip.groupByPreselector } };
  const auto faults = Morvane::platformTableFaults( model, { unit } );
  if ( faults.empty() )
    return std::nullopt;
  const Morvane::PlatformTableFault & first = faults.front();
  PlatformFault fault{ first.text() };
  const auto blame = [ & ]( U32 id ) {
    const GroupData * group = data.group( id );
    if ( group != nullptr )
      fault.group = static_cast< U32 >( group - data.groups.data() );
  };
  switch ( first.table ) {
    case Morvane::PlatformTableFault::Table::groups:
      fault.group = first.row;
      break;
    case Morvane::PlatformTableFault::Table::excludes:
      blame( model.groupExcludes( first.row ).group );
      break;
    case Morvane::PlatformTableFault::Table::includes:
      blame( model.groupIncludes( first.row ).group );
      break;
    case Morvane::PlatformTableFault::Table::reservations:
      fault.reservation = first.row;
      break;
    case Morvane::PlatformTableFault::Table::units:
      break;
  }
  return fault;
}

std::optional< PlatformFault > checkVlans( const PlatformData & data ) {
  std::set< U32 > ids;
  std::map< U32, U32 > vlanOfPort;
  for ( U32 i = 0; i < data.vlans.size(); ++i ) {
    const VlanData & vlan = data.vlans[ i ];
    std::string what;
    if ( !ids.insert( vlan.id ).second )
      what = fmt::format( "VLAN {} is there twice", vlan.id );
    for ( const U32 port : vlan.untaggedPorts ) {
      const U32 other = vlanOfPort.try_emplace( port, vlan.id ).first->second;
      if ( port >= data.chip.ports() )
        what = fmt::format( "port {} does not exist", port );
      else if ( other != vlan.id )
        what = fmt::format( "port {} is untagged in VLAN {} already", port, other );
    }
    if ( !what.empty() )
      return PlatformFault{ what, {}, {}, i };
  }
  return std::nullopt;
}

// For unbounded reservations the chip chooses ids from the top of the 24 bits down, at most one per
// row.
std::optional< PlatformFault > checkChosenIds( const PlatformData & data ) {
  U32 rows = 0;
  for ( const SoftAsic::StageProfile & stage : data.chip.stages )
    for ( const SoftAsic::SliceProfile & slices : stage.slices )
      rows += slices.count * slices.depth;
  const std::vector< EntryRange > ranges = entryRanges( data );
  const bool chosen = std::any_of( data.reservations.begin(), data.reservations.end(),
                                   []( const ReservationData & user ) { return user.size == 0; } );
  for ( U32 i = 0; chosen && i < ranges.size(); ++i ) {
    if ( data.reservations[ i ].size != 0 && ranges[ i ].end + rows > Morvane::entryNumberEnd )
      return PlatformFault{
          fmt::format( "entry ids up to {} may meet those that the chip chooses for unbounded "
                       "shares, {} and above",
                       ranges[ i ].end - 1, Morvane::entryNumberEnd - rows ),
          {},
          i };
  }
  return std::nullopt;
}

}  // namespace

std::vector< EntryRange > entryRanges( const PlatformData & data ) {
  std::map< U32, U32 > next;
  std::vector< EntryRange > ranges;
  for ( const ReservationData & user : data.reservations ) {
    U32 & first =
        next.try_emplace( user.group, Morvane::firstBaseEntry( user.group ) ).first->second;
    ranges.push_back( { first, first + user.size } );
    first += user.size;
  }
  return ranges;
}

std::optional< PlatformFault > checkPlatform( const PlatformData & data ) {
  if ( const std::string what = data.chip.validate(); !what.empty() )
    return PlatformFault{ what };
  for ( const U32 port : data.loopbackPorts )
    if ( port >= data.chip.ports() )
      return PlatformFault{ fmt::format( "loopback port {} does not exist", port ) };
  if ( auto fault = checkGroups( data ) )
    return fault;
  if ( auto fault = checkVlans( data ) )
    return fault;
  PlatformModel model( data );
  if ( auto fault = checkTables( data, model ) )
    return fault;
  if ( auto fault = checkChosenIds( data ) )
    return fault;
  return checkChipFit( data, model );
}

}  // namespace Platform
