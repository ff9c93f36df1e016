// The rules that a platform's tables must keep.
#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <set>

#include "morvane/OvidTwin.h"
#include "morvane/TcamIds.h"
#include "platform/PlatformModel.h"
#include "shim/SdkCall.h"
#include "softasic/SoftAsic.h"

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

// The chip chooses ids from the top of the 24 bits down, at most one per row.
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

// Makes what start-up makes in advance on a chip of the kind; all instances of a stage are alike,
// so that pipe 0's first copy tells for all.
class StartUpTrial {
 public:
  explicit StartUpTrial( const PlatformData & data ) : data_( data ) {
    chip_.addUnit( 0, data.chip );
  }

  std::optional< PlatformFault > run() {
    const Shim::SdkLockGuard guard( chip_ );
    const std::vector< EntryRange > ranges = entryRanges( data_ );
    for ( U32 i = 0; i < ranges.size(); ++i ) {
      const ReservationData & user = data_.reservations[ i ];
      if ( !Morvane::doAllocAtBeginning(
               user.strategy, user.group, data_.attributes.allocAtBeginning,
               data_.attributes.pdpModeEnabled, data_.chip.allocAtBeginning ) )
        continue;
      if ( !hasGroup( *data_.group( user.group ) ) )
        return PlatformFault{
            fmt::format( "start-up makes group {}, which does not fit the chip", user.group ),
            {},
            i };
      if ( !makeRange( user.group, ranges[ i ] ) &&
           user.strategy == Morvane::tcamAllocateAtBeginning )
        return PlatformFault{
            fmt::format( "start-up makes {} entries, which do not fit the chip", user.size ),
            {},
            i };
    }
    return std::nullopt;
  }

 private:
  bool hasGroup( const GroupData & group ) {
    if ( chip_.group( 0, group.id ) )
      return true;
    bcm_field_group_config_t config = {};
    config.flags = BCM_FIELD_GROUP_CREATE_WITH_ID | BCM_FIELD_GROUP_CREATE_LARGE;
    config.group = group.id;
    config.qset = qualifierSet( group );
    if ( chip_.bcm_field_group_config_create( 0, &config ) < 0 ) {
      config.flags &= ~BCM_FIELD_GROUP_CREATE_LARGE;
      if ( chip_.bcm_field_group_config_create( 0, &config ) < 0 )
        return false;
    }
    return !data_.chip.groupByPreselector || hasPreselectors( group.id );
  }

  bcm_field_qset_t qualifierSet( const GroupData & group ) const {
    bcm_field_qset_t qset = {};
    for ( const U32 qualifier : group.qualifiers )
      qset.add( qualifier );
    for ( const U32 qualifier : group.excludes )
      qset.remove( qualifier );
    for ( const U32 qualifier : group.includes )
      qset.add( qualifier );
    if ( data_.chipInfo.extraQualifier != 0 )
      qset.add( data_.chipInfo.extraQualifier );
    Morvane::tcamGroupQsetExcludes( &qset, group.id, data_.chipInfo.excludeTtl,
                                    data_.chipInfo.excludeRangeChecks,
                                    data_.chip.groupByPreselector, data_.chip.secondCopy );
    if ( data_.chip.secondCopy && qset.has( bcmFieldQualifyInPorts ) ) {
      qset.remove( bcmFieldQualifyInPorts );
      qset.add( bcmFieldQualifyInPortsClass );
    }
    if ( keepsTwins( qset ) )
      qset.add( bcmFieldQualifyInPorts );
    return qset;
  }

  // An entry of an ingress group that matches the outer VLAN is there twice.
  bool keepsTwins( const bcm_field_qset_t & qset ) const {
    return data_.chip.sharedByPipes && qset.has( bcmFieldQualifyOuterVlanId ) &&
           !qset.has( bcmFieldQualifyStageLookup ) && !qset.has( bcmFieldQualifyStageEgress );
  }

  // One for every copy of an ingress group.
  bool hasPreselectors( U32 group ) {
    if ( chip_.group( 0, group )->stage != SoftAsic::StageKind::ifp )
      return true;
    for ( U32 copy = 0; copy < data_.chip.pipes * ( data_.chip.secondCopy ? 2 : 1 ); ++copy ) {
      bcm_field_presel_t presel = 0;
      if ( chip_.bcm_field_presel_create( 0, &presel ) < 0 )
        return false;
    }
    return true;
  }

  // A chunk that does not fit leaves nothing.
  bool makeRange( U32 group, const EntryRange & range ) {
    const bool twins = keepsTwins( chip_.group( 0, group )->qset );
    std::vector< U32 > made;
    for ( U32 entry = range.first; entry < range.end; ++entry ) {
      for ( const U32 id : { entry, Morvane::ovidTwinId( entry ) } ) {
        if ( id != entry && !twins )
          continue;
        if ( chip_.bcm_field_entry_create_id( 0, group, id ) >= 0 ) {
          made.push_back( id );
          continue;
        }
        for ( const U32 done : made )
          chip_.bcm_field_entry_destroy( 0, done );
        return false;
      }
    }
    return true;
  }

  const PlatformData & data_;
  SoftAsic::SoftAsic chip_;
};

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
  if ( auto fault = checkReservations( data ) )
    return fault;
  if ( auto fault = checkVlans( data ) )
    return fault;
  if ( auto fault = checkRanges( data ) )
    return fault;
  if ( auto fault = checkChosenIds( data ) )
    return fault;
  return StartUpTrial( data ).run();
}

}  // namespace Platform
