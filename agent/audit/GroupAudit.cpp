// Groups, their users and their preselectors.
#include <algorithm>

#include "agent/audit/UnitAudit.h"

namespace Audit {

void UnitAudit::auditGroups() {
  for ( auto it = manager_.groupCountsIterConst(); it; ++it )
    auditCounts( it.key().pipeGroupId, *it.member() );
  for ( const auto & [ id, group ] : groups_ )
    if ( !manager_.groupCountsHas( id ) )
      report( "group {:#x} belongs to nobody", id );
}

void UnitAudit::auditCounts( U32 pipeGroup, const Morvane::GroupCounts & counts ) {
  const auto group = groups_.find( pipeGroup );
  const bool exists = group != groups_.end();
  const S32 users = counts.unitRefCount( unit_ );
  if ( exists != ( users > 0 ) )
    report( "group {:#x} has {} users and is {}on the chip", pipeGroup, users,
            exists ? "" : "not " );
  const U32 entries = exists ? static_cast< U32 >( group->second.entries.size() ) : 0;
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
  // A mirroring group that exists takes no further references.
  if ( manager_.groupMirroringAclValid( static_cast< U8 >( groupId ) ) )
    return std::min< S64 >( held->second, 1 );
  // Both pipes of the outer-VLAN workaround share one hardware group.
  return manager_.ovidWar( groupId ) ? 2 * held->second : held->second;
}

// Start-up sizes the counter records of a group by other qualifiers than its creation does.
bool UnitAudit::isCopy( U32 pipeGroup ) const {
  for ( const Morvane::PipeCopy at :
        manager_.pipeCopies( unit_, Morvane::tcamNumberBits.get( pipeGroup ) ) )
    if ( at.pipeGroup == pipeGroup )
      return true;
  return false;
}

void UnitAudit::auditPreselectors() {
  std::map< U32, U32 > recorded;  // group by preselector
  for ( auto it = manager_.groupIdToPreselIdIterConst(); it; ++it ) {
    // Without the mark, the record of a group that is gone is of the time before a
    // re-initialisation.
    if ( it.key().unit == unit_ &&
         ( groups_.contains( it.key().groupId ) || manager_.preselectorLeft( it.key() ) ) )
      recorded.emplace( it.value(), it.key().groupId );
  }
  for ( const SoftAsic::PreselView & presel : chip_.preselectors( unit_ ) )
    if ( !recorded.contains( presel.id ) )
      report( "preselector {} belongs to nobody", presel.id );
    else if ( presel.users != ( groups_.contains( recorded[ presel.id ] ) ? 1 : 0 ) )
      report( "preselector {} has {} groups", presel.id, presel.users );
  for ( const auto & [ id, group ] : groups_ )
    auditPreselectorOf( group );
}

void UnitAudit::auditPreselectorOf( const SoftAsic::GroupView & group ) {
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
