// Groups, controls, ports, preselectors and the capacity record of a unit.
#include "softasic/Unit.h"

namespace SoftAsic {

namespace {

constexpr U32 preselBit = BCM_FIELD_QUALIFY_PRESEL;

// Stage numbers of the capacity record.
constexpr int capacityStage( StageKind kind ) {
  return kind == StageKind::ifp ? 0 : kind == StageKind::vfp ? 1 : 2;
}

// Counts entries in the slice's wide mode if taken, else rows. The even slice of a pair counts for
// both.
kelmor_tcam_slice_info_t sliceInfo( const Slice & slice ) {
  const U32 total = slice.taken() ? slice.rows() : slice.depth();
  const U32 used = slice.taken() ? slice.used() : 0;
  return { static_cast< int >( total - used ), static_cast< int >( total ) };
}

}  // namespace

Unit::Unit( const ChipProfile & profile )
    : profile_( profile ),
      ports_( profile_ ),
      presels_( profile_.preselectors ),
      ranges_( profile_.rangeCheckers ),
      data_( profile_.dataChunks, profile_.dataFormats ),
      policers_( profile_.sharedByPipes ? 1 : profile_.pipes, profile_.policers ),
      tables_( profile_ ),
      groups_( profile_, ports_, presels_, data_, tables_ ),
      entries_( profile_.sharedByPipes ),
      pipeline_( { profile_, ports_, presels_, ranges_, data_, tables_, stats_, policers_ } ) {}

int Unit::bcm_field_group_config_create( bcm_field_group_config_t * config ) {
  return groups_.create( config );
}

int Unit::bcm_field_group_destroy( bcm_field_group_t group ) {
  return groups_.destroy( group );
}

int Unit::bcm_field_group_get( bcm_field_group_t id, bcm_field_qset_t * qset ) {
  const Group * group = groups_.find( id );
  if ( group == nullptr )
    return BCM_E_NOT_FOUND;
  if ( qset == nullptr )
    return BCM_E_PARAM;
  *qset = group->config().qset;
  return BCM_E_NONE;
}

int Unit::bcm_field_group_set( bcm_field_group_t group, bcm_field_qset_t qset ) {
  return groups_.setQualifiers( group, qset );
}

int Unit::bcm_field_group_status_get( bcm_field_group_t id, bcm_field_group_status_s * status ) {
  const Group * group = groups_.find( id );
  if ( group == nullptr )
    return BCM_E_NOT_FOUND;
  if ( status == nullptr )
    return BCM_E_PARAM;
  status->prio_min = 0;
  // The highest priority is reserved for entries above every rule.
  status->prio_max = static_cast< std::int32_t >( entryPriorityMax - 1 );
  status->entries_total = static_cast< std::int32_t >( group->rows().totalRows() );
  status->entries_free = static_cast< std::int32_t >( group->rows().freeRows() );
  status->entry_count = static_cast< std::int32_t >( group->rows().usedRows() );
  return BCM_E_NONE;
}

int Unit::bcm_field_group_compress( bcm_field_group_t id ) {
  Group * group = groups_.find( id );
  if ( group == nullptr )
    return BCM_E_NOT_FOUND;
  group->rows().compress();
  return BCM_E_NONE;
}

// There is no diagnostic console; use inspection.
int Unit::bcm_field_group_dump( bcm_field_group_t ) {
  return BCM_E_NONE;
}

int Unit::bcm_field_control_set( bcm_field_control_t control, std::uint32_t state ) {
  return controls_.set( control, state );
}

int Unit::bcm_port_control_set( bcm_port_t port, bcm_port_control_t control, int value ) {
  return controls_.setPort( ports_.count(), port, control, value );
}

int Unit::bcm_port_config_get( bcm_port_config_t * config ) {
  if ( config == nullptr )
    return BCM_E_PARAM;
  *config = ports_.config();
  return BCM_E_NONE;
}

int Unit::bcm_field_presel_create( bcm_field_presel_t * presel ) {
  return presels_.create( presel );
}

int Unit::bcm_field_presel_destroy( bcm_field_presel_t presel ) {
  return presels_.destroy( presel );
}

// Both qualify preselectors only; entries take the stage of their group.
int Unit::bcm_field_qualify_Stage( bcm_field_entry_t entry, bcm_field_stage_t data ) {
  if ( ( entry & preselBit ) == 0 )
    return entries_.find( entry ) == nullptr ? BCM_E_NOT_FOUND : BCM_E_PARAM;
  return presels_.qualifyStage( entry & ~preselBit, data );
}

int Unit::bcm_field_qualify_MixedSrcClassId( bcm_field_entry_t entry, bcm_pbmp_t ports,
                                             bcm_field_src_class_t data,
                                             bcm_field_src_class_t mask ) {
  if ( ( entry & preselBit ) == 0 )
    return entries_.find( entry ) == nullptr ? BCM_E_NOT_FOUND : BCM_E_PARAM;
  return presels_.qualifySource( entry & ~preselBit, ports, data.intf_class_port,
                                 mask.intf_class_port );
}

int Unit::kelmor_bcm_tcam_capacity_info_get( kelmor_tcam_capacity_info_t * info ) {
  if ( info == nullptr )
    return BCM_E_PARAM;
  *info = capacityView();
  return BCM_E_NONE;
}

// The slices of each stage's first instance; all instances are alike.
kelmor_tcam_capacity_info_t Unit::capacityView() const {
  kelmor_tcam_capacity_info_t info = {};
  tables_.forEach( [ & ]( const StageTable & table ) {
    if ( table.pipe != 0 || table.copy != 0 )
      return;
    kelmor_tcam_stage_info_t & stage = info.stage[ info.stage_count++ ];
    stage.stage = capacityStage( table.kind );
    for ( const Slice & slice : table.pool.slices() ) {
      stage.slice[ stage.slice_count ] = sliceInfo( slice );
      // The SDK reports the stage total in rows even if every entry takes two.
      const kelmor_tcam_slice_info_t & sliceTotal = stage.slice[ stage.slice_count++ ];
      const bool inRows = profile_.ingressHalfSize && table.kind == StageKind::ifp;
      stage.entries_total +=
          inRows ? static_cast< int >( slice.depth() ) : sliceTotal.entries_total;
    }
  } );
  return info;
}

}  // namespace SoftAsic
