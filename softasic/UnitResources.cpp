// Range checkers, policers and data qualifiers of a unit. See RangeCheckers.h, Policers.h and
// DataQualifiers.h for the chip rules.
#include "softasic/Unit.h"

namespace SoftAsic {

int Unit::bcm_field_range_create( bcm_field_range_t * range, std::uint32_t flags, std::uint32_t low,
                                  std::uint32_t high ) {
  return ranges_.create( range, flags, low, high );
}

int Unit::bcm_field_range_destroy( bcm_field_range_t range ) {
  return ranges_.destroy( range );
}

int Unit::bcm_policer_create( bcm_policer_config_t * config, bcm_policer_t * policer ) {
  return policers_.create( config, policer, now_ );
}

int Unit::bcm_policer_set( bcm_policer_t policer, bcm_policer_config_t * config ) {
  return policers_.set( policer, config, now_ );
}

int Unit::bcm_policer_get( bcm_policer_t policer, bcm_policer_config_t * config ) {
  return policers_.get( policer, config );
}

int Unit::bcm_policer_destroy( bcm_policer_t policer ) {
  return policers_.destroy( policer );
}

int Unit::bcm_field_entry_policer_attach( bcm_field_entry_t id, int level, bcm_policer_t policer ) {
  Entry * entry = entries_.find( id );
  return entry == nullptr ? BCM_E_NOT_FOUND
                          : policers_.attach( *entry, entry->group->table().pipe, level, policer );
}

int Unit::bcm_field_entry_policer_detach( bcm_field_entry_t id, int level ) {
  Entry * entry = entries_.find( id );
  return entry == nullptr ? BCM_E_NOT_FOUND : policers_.detach( *entry, level );
}

int Unit::bcm_field_entry_policer_detach_all( bcm_field_entry_t id ) {
  Entry * entry = entries_.find( id );
  return entry == nullptr ? BCM_E_NOT_FOUND : policers_.detachAll( *entry );
}

int Unit::bcm_field_data_qualifier_create( bcm_field_data_qualifier_s * qual ) {
  return data_.create( qual );
}

int Unit::bcm_field_data_qualifier_destroy( int qual_id ) {
  return data_.destroy( qual_id );
}

int Unit::bcm_field_data_qualifier_get( int qual_id, bcm_field_data_qualifier_s * qual ) {
  return data_.get( qual_id, qual );
}

int Unit::bcm_field_data_qualifier_packet_format_add( int qual_id,
                                                      bcm_field_data_packet_format_s * format ) {
  return data_.addFormat( qual_id, format );
}

int Unit::bcm_field_data_qualifier_packet_format_delete( int qual_id,
                                                         bcm_field_data_packet_format_s * format ) {
  return data_.deleteFormat( qual_id, format );
}

int Unit::bcm_field_data_qualifier_ethertype_add( int qual_id,
                                                  bcm_field_data_ethertype_s * ethertype ) {
  return data_.addEtherType( qual_id, ethertype );
}

int Unit::bcm_field_data_qualifier_ethertype_delete( int qual_id,
                                                     bcm_field_data_ethertype_s * ethertype ) {
  return data_.deleteEtherType( qual_id, ethertype );
}

int Unit::bcm_field_qset_data_qualifier_add( bcm_field_qset_t * qset, int qual_id ) {
  return data_.addTo( qset, qual_id );
}

}  // namespace SoftAsic
