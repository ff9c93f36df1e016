// Resources shared by entries: range checkers and policers.
#include "agent/verify/audit/UnitAudit.h"

namespace Audit {

void UnitAudit::auditRangeCheckers() {
  for ( auto it = manager_.rangeCheckerIterConst(); it; ++it )
    auditRangeChecker( *it.member() );
  for ( const auto & [ id, checker ] : rangeCheckers_ )
    if ( !pending_.ranges.contains( id ) )
      report( "range checker {} belongs to nobody", id );
}

void UnitAudit::auditRangeChecker( const Morvane::RangeCheckerData & data ) {
  const U32 id = data.unitId( unit_ );
  if ( ( id != 0 ) != ( data.unitRefCount( unit_ ) != 0 ) ||
       ( id != 0 ) != data.unitIdHas( unit_ ) )
    report( "range checker {} has {} users", id, data.unitRefCount( unit_ ) );
  if ( id == 0 )
    return;
  const auto node = rangeCheckers_.extract( id );
  if ( !node ) {
    report( "range checker {} is not on the chip, or is another interval's as well", id );
    return;
  }
  const SoftAsic::RangeView & checker = node.mapped();
  const Morvane::RangeCheckerDesc onChip( checker.low, checker.high, checker.flags );
  if ( !( onChip == data.desc() ) )
    report( "range checker {} is {}, recorded is {}", id, Kiv::valueToStrep( onChip ).charPtr(),
            Kiv::valueToStrep( data.desc() ).charPtr() );
}

// Every copy of an entry has the policer of the first copy, with its own pipe bits.
void UnitAudit::auditPolicer( const EntryManager & owner, const Morvane::PipeCopy & at,
                              const SoftAsic::EntryView & copy,
                              const SoftAsic::EntryView & first ) {
  const U32 expected =
      first.policer == 0 ? 0 : manager_.getPipePolicerId( unit_, at.pipe, first.policer );
  if ( copy.policer != expected )
    report( "entry {:#x} of {} has policer {:#x}, not {:#x}", copy.id, owner.desc().charPtr(),
            copy.policer, expected );
}

namespace {

// Ignores how the id was chosen.
bool sameLimits( bcm_policer_config_t a, bcm_policer_config_t b ) {
  a.flags |= BCM_POLICER_WITH_ID;
  b.flags |= BCM_POLICER_WITH_ID;
  return std::tie( a.flags, a.mode, a.ckbits_sec, a.ckbits_burst, a.pkbits_sec, a.pkbits_burst ) ==
         std::tie( b.flags, b.mode, b.ckbits_sec, b.ckbits_burst, b.pkbits_sec, b.pkbits_burst );
}

}  // namespace

// Every policer exists in all pipes with the same rates.
void UnitAudit::auditPolicers() {
  std::map< U32, SoftAsic::PolicerView > policers;
  for ( SoftAsic::PolicerView & policer : chip_.policers( unit_ ) )
    if ( !pending_.policers.contains( policer.id ) )
      policers.emplace( policer.id, std::move( policer ) );
  for ( const auto & [ id, policer ] : policers ) {
    const U32 base = Morvane::tcamNumberBits.get( id );
    for ( U32 pipe = 0; pipe < manager_.numPipe(); ++pipe ) {
      const auto part = policers.find( manager_.getPipePolicerId( unit_, pipe, base ) );
      if ( part == policers.end() )
        report( "policer {:#x} has no part in pipe {}", id, pipe );
      else if ( !pending_.policersDiffer && !sameLimits( part->second.config, policer.config ) )
        report( "policer {:#x} has other limits than policer {:#x}", part->first, id );
    }
    for ( const U32 entry : policer.entries )
      if ( !ownedEntries_.contains( entry ) && !pending_.entries.contains( entry ) )
        report( "policer {:#x} limits entry {:#x}, which belongs to nobody", id, entry );
  }
}

}  // namespace Audit
