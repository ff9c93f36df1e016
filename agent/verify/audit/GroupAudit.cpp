// Groups, their users and their preselectors.
#include <algorithm>

#include "agent/verify/audit/UnitAudit.h"

namespace Audit {

void UnitAudit::auditGroups() {
  for ( auto it = manager_.groupCountsIterConst(); it; ++it )
    auditCounts( it.key().pipeGroupId, *it.member() );
  for ( const auto & [ id, group ] : groups_ )
    if ( !manager_.groupCountsHas( id ) && !pending_.groups.contains( id ) )
      report( "group {:#x} belongs to nobody", id );
}

void UnitAudit::auditCounts( U32 pipeGroup, const Morvane::GroupCounts & counts ) {
  const auto group = groups_.find( pipeGroup );
  const bool exists = group != groups_.end() && !pending_.groups.contains( pipeGroup );
  const S32 users = counts.unitRefCount( unit_ );
  if ( exists != ( users > 0 ) )
    report( "group {:#x} has {} users and is {}on the chip", pipeGroup, users,
            exists ? "" : "not " );
  const auto left = pending_.entriesLeft.find( pipeGroup );
  const U32 entries = group == groups_.end()
                          ? 0
                          : static_cast< U32 >( group->second.entries.size() ) -
                                ( left == pending_.entriesLeft.end() ? 0 : left->second );
  if ( counts.unitAllocated( unit_ ) != entries )
    report( "group {:#x} holds {} entries, counted are {}", pipeGroup, entries,
            counts.unitAllocated( unit_ ) );
  const S64 expected = expectedReferences( pipeGroup );
  if ( std::max( users, 0 ) != expected )
    report( "group {:#x} has {} users, its managers hold {}", pipeGroup, users, expected );
}

S64 UnitAudit::expectedReferences( U32 pipeGroup ) const {
  const U32 groupId = Morvane::tcamNumberBits.get( pipeGroup );
  const auto held = references_.find( groupId );
  if ( held == references_.end() || !isCopy( pipeGroup ) )
    return 0;
  // A mirroring group has at most one reference.
  if ( manager_.groupMirroringAclValid( static_cast< U8 >( groupId ) ) )
    return std::min< S64 >( held->second, 1 );
  // With the outer-VLAN workaround both pipes share one hardware group.
  return manager_.ovidWar( groupId ) ? 2 * held->second : held->second;
}

// Start-up can create counter records for copies that the group does not get at creation.
bool UnitAudit::isCopy( U32 pipeGroup ) const {
  for ( const Morvane::PipeCopy at :
        manager_.pipeCopies( unit_, Morvane::tcamNumberBits.get( pipeGroup ) ) )
    if ( at.pipeGroup == pipeGroup )
      return true;
  return false;
}

void UnitAudit::auditPreselectors() {
  std::map< U32, U32 > recorded;  // by preselector id
  for ( auto it = manager_.groupIdToPreselIdIterConst(); it; ++it ) {
    // Records of groups that do not exist date from before a re-initialisation.
    if ( it.key().unit == unit_ && groups_.contains( it.key().groupId ) )
      recorded.emplace( it.value(), it.key().groupId );
  }
  for ( const SoftAsic::PreselView & presel : chip_.preselectors( unit_ ) )
    if ( pending_.preselectors.contains( presel.id ) )
      continue;
    else if ( !recorded.contains( presel.id ) )
      report( "preselector {} belongs to nobody", presel.id );
    else if ( presel.users != ( groups_.contains( recorded[ presel.id ] ) ? 1 : 0 ) )
      report( "preselector {} has {} groups", presel.id, presel.users );
  for ( const auto & [ id, group ] : groups_ )
    auditPreselectorOf( group );
}

void UnitAudit::auditPreselectorOf( const SoftAsic::GroupView & group ) {
  if ( pending_.groups.contains( group.id ) )
    return;
  const bool recorded = manager_.groupIdToPreselIdHas( { unit_, group.id } );
  if ( !recorded && group.preselset.empty() && group.stage == SoftAsic::StageKind::ifp &&
       chip_.kelmor_field_group_by_preselector( unit_ ) )
    report( "group {:#x} is chosen without a preselector", group.id );
  if ( recorded == group.preselset.empty() )
    report( "group {:#x} {} a preselector on the chip", group.id,
            group.preselset.empty() ? "lacks" : "has" );
  if ( recorded && !group.preselset.empty() &&
       !group.preselset.has( manager_.groupIdToPreselId( { unit_, group.id } ) ) )
    report( "group {:#x} has another preselector than the recorded one", group.id );
}

}  // namespace Audit
