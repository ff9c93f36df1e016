// Stat objects of a unit. See Stats.h for the chip rules.
#include "softasic/Unit.h"

namespace SoftAsic {

int Unit::bcm_field_stat_create( bcm_field_group_t id, int nstat, const bcm_field_stat_t * types,
                                 bcm_field_stat_id_t * stat ) {
  Group * group = groups_.find( id );
  return group == nullptr ? BCM_E_NOT_FOUND : stats_.create( group->table(), nstat, types, stat );
}

int Unit::bcm_field_stat_destroy( bcm_field_stat_id_t stat ) {
  return stats_.destroy( stat );
}

int Unit::bcm_field_entry_stat_attach( bcm_field_entry_t id, bcm_field_stat_id_t stat ) {
  Entry * entry = entries_.find( id );
  return entry == nullptr ? BCM_E_NOT_FOUND : stats_.attach( *entry, entry->group->table(), stat );
}

int Unit::bcm_field_entry_stat_detach( bcm_field_entry_t id, bcm_field_stat_id_t stat ) {
  Entry * entry = entries_.find( id );
  return entry == nullptr ? BCM_E_NOT_FOUND : stats_.detach( *entry, stat );
}

int Unit::bcm_field_stat_get( bcm_field_stat_id_t stat, bcm_field_stat_t type,
                              std::uint64_t * value ) {
  return stats_.get( stat, type, value );
}

int Unit::bcm_field_stat_set( bcm_field_stat_id_t stat, bcm_field_stat_t type,
                              std::uint64_t value ) {
  return stats_.set( stat, type, value );
}

}  // namespace SoftAsic
