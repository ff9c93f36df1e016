// Operations that this chip does not have: changing a group's qualifier set, policers, range
// checkers and data qualifiers. All of them answer -16 and change nothing.
#include "softasic/Unit.h"

namespace SoftAsic {

namespace {

constexpr int notOnThisChip = BCM_E_UNAVAIL;

}  // namespace

int Unit::bcm_field_group_set( bcm_field_group_t, bcm_field_qset_t ) {
  return notOnThisChip;
}

int Unit::bcm_policer_create( bcm_policer_config_t *, bcm_policer_t * ) {
  return notOnThisChip;
}
int Unit::bcm_policer_set( bcm_policer_t, bcm_policer_config_t * ) {
  return notOnThisChip;
}
int Unit::bcm_policer_destroy( bcm_policer_t ) {
  return notOnThisChip;
}
int Unit::bcm_field_entry_policer_attach( bcm_field_entry_t, int, bcm_policer_t ) {
  return notOnThisChip;
}
int Unit::bcm_field_entry_policer_detach( bcm_field_entry_t, int ) {
  return notOnThisChip;
}
int Unit::bcm_field_entry_policer_detach_all( bcm_field_entry_t ) {
  return notOnThisChip;
}

int Unit::bcm_field_range_create( bcm_field_range_t *, std::uint32_t, std::uint32_t,
                                  std::uint32_t ) {
  return notOnThisChip;
}
int Unit::bcm_field_range_destroy( bcm_field_range_t ) {
  return notOnThisChip;
}

int Unit::bcm_field_qualify_RangeCheck( bcm_field_entry_t, bcm_field_range_t, int ) {
  return notOnThisChip;
}
int Unit::bcm_field_qualify_data( bcm_field_entry_t, int, const std::uint8_t *,
                                  const std::uint8_t *, std::uint16_t ) {
  return notOnThisChip;
}

int Unit::bcm_field_data_qualifier_create( bcm_field_data_qualifier_s * ) {
  return notOnThisChip;
}
int Unit::bcm_field_data_qualifier_destroy( int ) {
  return notOnThisChip;
}
int Unit::bcm_field_data_qualifier_get( int, bcm_field_data_qualifier_s * ) {
  return notOnThisChip;
}
int Unit::bcm_field_data_qualifier_packet_format_add( int, bcm_field_data_packet_format_s * ) {
  return notOnThisChip;
}
int Unit::bcm_field_data_qualifier_packet_format_delete( int, bcm_field_data_packet_format_s * ) {
  return notOnThisChip;
}
int Unit::bcm_field_data_qualifier_ethertype_add( int, bcm_field_data_ethertype_s * ) {
  return notOnThisChip;
}
int Unit::bcm_field_data_qualifier_ethertype_delete( int, bcm_field_data_ethertype_s * ) {
  return notOnThisChip;
}
int Unit::bcm_field_qset_data_qualifier_add( bcm_field_qset_t *, int ) {
  return notOnThisChip;
}

}  // namespace SoftAsic
