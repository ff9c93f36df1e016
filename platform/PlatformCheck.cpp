// The rules that a platform's tables must keep.
#include <fmt/core.h>

#include <map>
#include <set>

#include "morvane/TcamIds.h"
#include "platform/PlatformModel.h"

namespace Platform {

namespace {

constexpr U32 groupIdEnd = 256;  // some of the library's attributes are keyed by 8 bits

std::optional< PlatformFault > checkGroups( const PlatformData & data ) {
  std::set< U32 > ids;
  for ( U32 i = 0; i < data.groups.size(); ++i ) {
    const GroupData & group = data.groups[ i ];
    if ( group.id >= groupIdEnd )
      return PlatformFault{ fmt::format( "group id {} is not below {}", group.id, groupIdEnd ), i };
    if ( !ids.insert( group.id ).second )
      return PlatformFault{ fmt::format( "group {} is there twice", group.id ), i };
    if ( group.qualifiers.empty() )
      return PlatformFault{ fmt::format( "group {} matches nothing", group.id ), i };
  }
  return std::nullopt;
}

std::string reservationFault( const PlatformData & data, const ReservationData & user ) {
  const GroupData * group = data.group( user.group );
  if ( group == nullptr )
    return fmt::format( "there is no group {}", user.group );
  if ( ( user.size == 0 ) != ( user.strategy == Morvane::tcamAllocateUnbounded ) )
    return user.size == 0 ? "this strategy needs a size" : "an unbounded share has no size";
  if ( user.noStatsPerEntry && !group->noStatsPerEntry )
    return fmt::format( "group {} keeps statistics per entry", user.group );
  return {};
}

std::optional< PlatformFault > checkReservations( const PlatformData & data ) {
  std::set< U32 > users;
  for ( U32 i = 0; i < data.reservations.size(); ++i ) {
    const ReservationData & user = data.reservations[ i ];
    std::string what = reservationFault( data, user );
    if ( what.empty() && !users.insert( user.assignment ).second )
      what = fmt::format( "{} is there twice", enumName( user.assignment ) );
    if ( !what.empty() )
      return PlatformFault{ what, {}, i };
  }
  return std::nullopt;
}

std::optional< PlatformFault > checkRanges( const PlatformData & data ) {
  const std::vector< EntryRange > ranges = entryRanges( data );
  for ( U32 i = 0; i < ranges.size(); ++i ) {
    if ( ranges[ i ].end > Morvane::entryNumberEnd )
      return PlatformFault{ "entry ids beyond 24 bits", {}, i };
    for ( U32 other = 0; other < i; ++other ) {
      if ( ranges[ i ].first < ranges[ other ].end && ranges[ other ].first < ranges[ i ].end )
        return PlatformFault{
            fmt::format( "entry ids {} to {} overlap those of {}", ranges[ i ].first,
                         ranges[ i ].end - 1, data.reservations[ other ].name ),
            {},
            i };
    }
  }
  return std::nullopt;
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
  for ( const U32 port : data.loopbackPorts ) {
    if ( port >= data.chip.ports() )
      return PlatformFault{ fmt::format( "loopback port {} does not exist", port ) };
  }
  if ( auto fault = checkGroups( data ) )
    return fault;
  if ( auto fault = checkReservations( data ) )
    return fault;
  if ( auto fault = checkVlans( data ) )
    return fault;
  return checkRanges( data );
}

}  // namespace Platform
