#include "agent/verify/audit/Auditor.h"

#include "agent/verify/audit/UnitAudit.h"
#include "kiv/Lock.h"

namespace Audit {

UnitAudit::UnitAudit( const Morvane::MorvaneTcamGroupManager & manager,
                      const SoftAsic::SoftAsic & chip, U32 unit,
                      const Morvane::MorvaneTcamCapacitySm * capacity,
                      std::vector< std::string > & differences )
    : manager_( manager ),
      chip_( chip ),
      unit_( unit ),
      capacity_( capacity ),
      differences_( differences ),
      pending_( manager, unit ) {
  for ( SoftAsic::GroupView & group : chip.groups( unit ) )
    groups_.emplace( group.id, std::move( group ) );
  for ( SoftAsic::StatView & stat : chip.statistics( unit ) )
    statistics_.emplace( stat.id, std::move( stat ) );
  for ( SoftAsic::RangeView & checker : chip.ranges( unit ) )
    rangeCheckers_.emplace( checker.id, std::move( checker ) );
}

void UnitAudit::run() {
  for ( auto it = manager_.entryManagerIterConst(); it; ++it )
    auditManager( *it.member() );
  for ( auto it = manager_.unboundedEntryManagerIterConst(); it; ++it )
    auditManager( *it.member() );
  auditTwinMap();
  auditForeignEntries();
  auditForeignStats();
  auditGroups();
  auditPreselectors();
  auditRangeCheckers();
  auditPolicers();
  auditDataQualifiers();
  auditCapacity();
}

namespace {

template < class Iter >
bool isHeld( U32 entry, Iter unit ) {
  for ( ; unit; ++unit )
    if ( unit.member()->entryCreatedHas( entry ) )
      return true;
  return false;
}

// Every recorded owner holds its entry on some unit.
void auditOwners( const Morvane::MorvaneTcamGroupManager & manager,
                  std::vector< std::string > & differences ) {
  for ( auto it = manager.tcamManagerForEntryIterConst(); it; ++it )
    if ( !isHeld( it.key(), it.value()->internalUnitEntryIterConst() ) )
      differences.push_back( fmt::format( "{} is the owner of entry {:#x}, which it does not hold",
                                          it.value()->desc().charPtr(), it.key() ) );
}

// The capacity table has no rows of unknown units.
void auditUnits( const Morvane::MorvaneTcamGroupManager & manager,
                 const Morvane::MorvaneTcamCapacitySm * capacity,
                 std::vector< std::string > & differences ) {
  if ( capacity == nullptr )
    return;
  for ( auto it = capacity->rowIterConst(); it; ++it )
    if ( !manager.modChipInfoHas( static_cast< U16 >( it.key().unit ) ) )
      differences.push_back(
          fmt::format( "the capacity table has a row of unit {}", it.key().unit ) );
}

}  // namespace

std::vector< std::string > audit( const Morvane::MorvaneTcamGroupManager & manager,
                                  const SoftAsic::SoftAsic & chip,
                                  const Morvane::MorvaneTcamCapacitySm * capacity ) {
  std::vector< std::string > differences;
  if ( !Kiv::ActivityUnlockAnchor::lock().held() )
    differences.emplace_back( "the activity lock is not held" );
  if ( chip.sdkLockHeld() )
    differences.emplace_back( "the SDK lock is held" );
  if ( const U64 calls = chip.lockViolations(); calls != 0 )
    differences.push_back( fmt::format( "{} SDK calls were made without the SDK lock", calls ) );
  for ( auto it = manager.modChipInfoIterConst(); it; ++it )
    UnitAudit( manager, chip, it.key(), capacity, differences ).run();
  auditOwners( manager, differences );
  auditUnits( manager, capacity, differences );
  return differences;
}

}  // namespace Audit
