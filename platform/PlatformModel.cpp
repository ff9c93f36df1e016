#include "platform/PlatformModel.h"

#include <algorithm>
#include <utility>

namespace Platform {

const GroupData * PlatformData::group( U32 id ) const {
  const auto found = std::find_if( groups.begin(), groups.end(),
                                   [ & ]( const GroupData & group ) { return group.id == id; } );
  return found == groups.end() ? nullptr : &*found;
}

PlatformModel::PlatformModel( PlatformData data ) : data_( std::move( data ) ) {
  lists_.reserve( 3 * data_.groups.size() );
  const auto chipType = static_cast< U16 >( data_.chipType );
  for ( const GroupData & group : data_.groups ) {
    const auto id = static_cast< U16 >( group.id );
    groups_.push_back( { group.id, endedList( group.qualifiers ) } );
    if ( !group.excludes.empty() )
      excludes_.push_back( { id, chipType, endedList( group.excludes ) } );
    if ( !group.includes.empty() )
      includes_.push_back( { id, chipType, endedList( group.includes ) } );
  }
  for ( const ReservationData & user : data_.reservations ) {
    reservations_.push_back( { user.name.c_str(), user.assignment, user.group, user.size,
                               user.managedPriority, user.mirroringAclUdf, user.noStatsPerEntry,
                               user.strategy } );
    map_.push_back( { data_.chipType, user.assignment, user.group } );
  }
}

// The address stays valid: `lists_` has room reserved for all lists.
const U32 * PlatformModel::endedList( const std::vector< U32 > & qualifiers ) {
  std::vector< U32 > & list = lists_.emplace_back( qualifiers );
  list.push_back( bcmFieldQualifyCount );
  return list.data();
}

S32 PlatformModel::chipType( U32 ) const {
  return data_.chipType;
}

U32 PlatformModel::loopbackPort( U32, U32 pipe ) const {
  const std::vector< U32 > & ports = data_.loopbackPorts;
  return ports.empty() ? 0 : ports[ std::min< size_t >( pipe, ports.size() - 1 ) ];
}

bool PlatformModel::noStatsPerEntry( U32 group ) const {
  const GroupData * found = data_.group( group );
  return found != nullptr && found->noStatsPerEntry;
}

bool PlatformModel::requiresMulticastWar( U32 group ) const {
  const GroupData * found = data_.group( group );
  return found != nullptr && found->multicastWar;
}

bool PlatformModel::matchesIPv4( U32 group ) const {
  const GroupData * found = data_.group( group );
  return found != nullptr && found->match == GroupMatch::ipv4;
}

bool PlatformModel::matchesIPv6( U32 group ) const {
  const GroupData * found = data_.group( group );
  return found != nullptr && found->match == GroupMatch::ipv6;
}

}  // namespace Platform
