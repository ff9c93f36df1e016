// Capacity: the ASIC's record against what the ASIC holds and what the books say, and the capacity
// machine's table against the record.
//
// The record tells, for the first instance of every stage, slice by slice how many entries the
// slice can hold in the mode that it is used in, and how many of these are free. A free slice tells
// its rows; the second slice of a pair tells nothing. The total of a stage is the sum of its
// slices, but where ingress keys take two rows, the rows of the ingress stage.
#include <algorithm>

#include "agent/audit/UnitAudit.h"

namespace Audit {

namespace {

constexpr S32 ingressStage = 0;

struct SliceUse {
  S32 total = 0;
  S32 used = 0;
};

// The even slice of a pair tells for both.
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
    report( "the capacity record tells {} stages of {}", info.stage_count, profile.stages.size() );
  for ( S32 i = 0; i < info.stage_count; ++i )
    for ( const SoftAsic::StageProfile & stage : profile.stages )
      if ( Morvane::tcamStageName( info.stage[ i ].stage ) == SoftAsic::stageName( stage.kind ) )
        auditStage( stage, info.stage[ i ],
                    profile.ingressHalfSize && info.stage[ i ].stage == ingressStage );
  if ( capacity_ != nullptr )
    auditCapacityTable( info );
}

void UnitAudit::auditStage( const SoftAsic::StageProfile & profile,
                            const kelmor_tcam_stage_info_t & told, bool inRows ) {
  const char * const name = SoftAsic::stageName( profile.kind );
  auditSlices( profile, told, inRows );
  U32 counted = 0;
  for ( const auto & [ id, group ] : groups_ ) {
    if ( group.stage != profile.kind || group.pipe != 0 || group.copy != 0 )
      continue;
    if ( const auto counts = manager_.groupCounts( id ) )
      counted += counts->unitAllocated( unit_ );
  }
  if ( usedOf( told ) != static_cast< S32 >( counted ) )
    report( "{} tells {} entries in use, its groups count {}", name, usedOf( told ), counted );
  for ( const SoftAsic::TableView & table : chip_.tables( unit_ ) )
    if ( table.stage == profile.kind && static_cast< S32 >( table.entries ) != usedOf( told ) )
      report( "{} of pipe {} copy {} holds {} entries, told are {}", name, table.pipe, table.copy,
              table.entries, usedOf( told ) );
}

void UnitAudit::auditSlices( const SoftAsic::StageProfile & profile,
                             const kelmor_tcam_stage_info_t & told, bool inRows ) {
  const char * const name = SoftAsic::stageName( profile.kind );
  S32 slices = 0;
  S32 total = 0;
  for ( const SoftAsic::SliceView & view : chip_.slices( unit_ ) ) {
    if ( view.stage != profile.kind || view.pipe != 0 || view.copy != 0 )
      continue;
    const SliceUse use = useOf( view );
    const kelmor_tcam_slice_info_t & slice = told.slice[ view.number ];
    ++slices;
    total += inRows ? static_cast< S32 >( view.depth ) : use.total;
    if ( slice.entries_total != use.total || slice.entries_total - slice.entries_free != use.used )
      report( "slice {} of {} tells {} of {} entries free, it has {} and holds {}", view.number,
              name, slice.entries_free, slice.entries_total, use.total, use.used );
  }
  if ( told.slice_count != slices || told.entries_total != total )
    report( "{} tells {} slices and {} entries, it has {} and {}", name, told.slice_count,
            told.entries_total, slices, total );
}

// The table as the poll just now must have left it.
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
    if ( const bool stands = capacity_->alarm( key ); stands ? !may : must )
      report( "the capacity alarm of {} {} with {} of {} used", name.charPtr(),
              stands ? "stands" : "is missing", used, total );
  }
}

}  // namespace Audit
