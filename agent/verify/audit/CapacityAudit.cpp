// Capacity: the SDK's record against the chip and the managers' records, and the capacity state
// machine's table against the SDK's record.
//
// The SDK's record has total and free entries of every slice of each stage's first instance, in the
// wide mode of its group. A free slice counts rows; the second slice of a pair counts 0. The stage
// total is the sum over its slices, except that it counts rows where ingress keys take two rows.
#include <algorithm>

#include "agent/verify/audit/UnitAudit.h"

namespace Audit {

namespace {

constexpr S32 ingressStage = 0;

struct SliceUse {
  S32 total = 0;
  S32 used = 0;
};

// The even slice of a pair counts for both.
SliceUse useOf( const SoftAsic::SliceView & slice ) {
  if ( slice.mode == SoftAsic::WideMode::paired && slice.number % 2 != 0 )
    return {};
  return { static_cast< S32 >( slice.rows ), static_cast< S32 >( slice.entries.size() ) };
}

S32 usedOf( const kelmor_tcam_stage_info_t & stage ) {
  S32 used = 0;
  for ( S32 j = 0; j < stage.slice_count; ++j )
    used += stage.slice[ j ].entries_total - stage.slice[ j ].entries_free;
  return used;
}

}  // namespace

void UnitAudit::auditCapacity() {
  const SoftAsic::ChipProfile profile = chip_.profile( unit_ );
  const kelmor_tcam_capacity_info_t info = chip_.capacity( unit_ );
  if ( info.stage_count != static_cast< S32 >( profile.stages.size() ) )
    report( "the capacity record has {} stages of {}", info.stage_count, profile.stages.size() );
  for ( S32 i = 0; i < info.stage_count; ++i )
    for ( const SoftAsic::StageProfile & stage : profile.stages )
      if ( Morvane::tcamStageName( info.stage[ i ].stage ) == SoftAsic::stageName( stage.kind ) )
        auditStage( stage, info.stage[ i ],
                    profile.ingressHalfSize && info.stage[ i ].stage == ingressStage );
  if ( capacity_ != nullptr )
    auditCapacityTable( info );
}

void UnitAudit::auditStage( const SoftAsic::StageProfile & profile,
                            const kelmor_tcam_stage_info_t & record, bool inRows ) {
  const char * const name = SoftAsic::stageName( profile.kind );
  auditSlices( profile, record, inRows );
  U32 counted = 0;
  for ( const auto & [ id, group ] : groups_ ) {
    if ( group.stage != profile.kind || group.pipe != 0 || group.copy != 0 )
      continue;
    if ( const auto counts = manager_.groupCounts( id ) )
      counted += counts->unitAllocated( unit_ );
    if ( const auto left = pending_.entriesLeft.find( id ); left != pending_.entriesLeft.end() )
      counted += left->second;
  }
  if ( usedOf( record ) != static_cast< S32 >( counted ) )
    report( "{} reports {} entries in use, its groups count {}", name, usedOf( record ), counted );
  for ( const SoftAsic::TableView & table : chip_.tables( unit_ ) )
    if ( table.stage == profile.kind && static_cast< S32 >( table.entries ) != usedOf( record ) )
      report( "{} of pipe {} copy {} holds {} entries, {} reported", name, table.pipe, table.copy,
              table.entries, usedOf( record ) );
}

void UnitAudit::auditSlices( const SoftAsic::StageProfile & profile,
                             const kelmor_tcam_stage_info_t & record, bool inRows ) {
  const char * const name = SoftAsic::stageName( profile.kind );
  S32 slices = 0;
  S32 total = 0;
  for ( const SoftAsic::SliceView & view : chip_.slices( unit_ ) ) {
    if ( view.stage != profile.kind || view.pipe != 0 || view.copy != 0 )
      continue;
    const SliceUse use = useOf( view );
    const kelmor_tcam_slice_info_t & slice = record.slice[ view.number ];
    ++slices;
    total += inRows ? static_cast< S32 >( view.depth ) : use.total;
    if ( slice.entries_total != use.total || slice.entries_total - slice.entries_free != use.used )
      report( "slice {} of {} reports {} of {} entries free, it has {} and holds {}", view.number,
              name, slice.entries_free, slice.entries_total, use.total, use.used );
  }
  if ( record.slice_count != slices || record.entries_total != total )
    report( "{} reports {} slices and {} entries, it has {} and {}", name, record.slice_count,
            record.entries_total, slices, total );
}

// Requires a poll after the last change.
void UnitAudit::auditCapacityTable( const kelmor_tcam_capacity_info_t & info ) {
  const bool halfSize = chip_.profile( unit_ ).ingressHalfSize;
  U32 rows = 0;
  for ( auto it = capacity_->rowIterConst(); it; ++it )
    rows += it.key().unit == unit_ ? 1 : 0;
  if ( rows != static_cast< U32 >( info.stage_count ) )
    report( "the capacity table has {} stages of {}", rows, info.stage_count );
  for ( S32 i = 0; i < info.stage_count; ++i ) {
    const kelmor_tcam_stage_info_t & stage = info.stage[ i ];
    const U32 used = static_cast< U32 >( usedOf( stage ) );
    const U32 total = static_cast< U32 >( stage.entries_total ) /
                      ( halfSize && stage.stage == ingressStage ? 2 : 1 );
    const Morvane::TcamCapacityKey key( unit_, stage.stage );
    const Morvane::TcamCapacityRow row = capacity_->row( key );
    const Kiv::String8 name = Morvane::tcamStageName( stage.stage );
    if ( row.used != used || row.maxLimit != total || row.free != total - used ||
         row.highWatermark < used )
      report( "the capacity table has {} with {} used, {} free of {} and at most {}, not {} of {}",
              name.charPtr(), row.used, row.free, row.maxLimit, row.highWatermark, used, total );
    const Morvane::TcamCapacityThreshold limits = capacity_->threshold( key );
    const U32 clear = limits.clear == 0 ? limits.upper : std::min( limits.clear, limits.upper );
    const U64 hundredfold = U64{ used } * 100;
    const bool may = limits.upper != 0 && hundredfold >= U64{ total } * clear;
    const bool must = may && hundredfold >= U64{ total } * limits.upper;
    if ( const bool raised = capacity_->alarm( key ); raised ? !may : must )
      report( "the capacity alarm of {} {} with {} of {} used", name.charPtr(),
              raised ? "is raised" : "is missing", used, total );
  }
}

}  // namespace Audit
