// A binding whose chip is a few maps of the SDK's records: what the checks of Run.cmake need.
#include <map>

#include "kelmor_field.h"
#include "shim/SdkPlugin.h"
#include "shim/UnavailableSdk.h"

namespace {

using Kiv::U32;

constexpr int rows = 256;
constexpr int fieldsMax = 3;

template < class T >
int read( const std::map< int, T > & all, int id, T * to ) {
  const auto found = all.find( id );
  if ( found != all.end() )
    *to = found->second;
  return found == all.end() ? BCM_E_PARAM : BCM_E_NONE;
}
template < class T >
int erase( std::map< int, T > & all, int id ) {
  return all.erase( id ) == 0 ? BCM_E_PARAM : BCM_E_NONE;
}

class KelmorChip : public Shim::UnavailableSdk {
 public:
  int bcm_port_config_get( U32, bcm_port_config_t * config ) override {
    *config = { { { 0xFF, 1 } }, { { 0xF, 1 } }, { { 0xF0, 0 } } };
    return BCM_E_NONE;
  }
  int kelmor_bcm_tcam_capacity_info_get( U32, kelmor_tcam_capacity_info_t * info ) override {
    *info = { 1, { { 0, 1, { { static_cast< int >( entries_.size() ), rows } } } } };
    return BCM_E_NONE;
  }

  int bcm_field_group_config_create( U32, bcm_field_group_config_t * config ) override {
    if ( config->timeout == 0 )  // not initialised
      return BCM_E_PARAM;
    return groups_.emplace( config->gid, *config ).second ? BCM_E_NONE : BCM_E_EXISTS;
  }
  int bcm_field_group_destroy( U32, bcm_field_group_t group ) override {
    return erase( groups_, group );
  }
  int bcm_field_group_get( U32, bcm_field_group_t group, bcm_field_qset_t * set ) override {
    bcm_field_group_config_t config;
    const int rc = read( groups_, group, &config );
    if ( rc == BCM_E_NONE )
      *set = config.qset;
    return rc;
  }
  int bcm_field_group_status_get( U32, bcm_field_group_t,
                                  bcm_field_group_status_t * status ) override {
    const auto used = static_cast< int >( entries_.size() );
    *status = { 0, 0x7FFFFFFF, rows - used, rows, used };
    return BCM_E_NONE;
  }
  int bcm_field_entry_create_id( U32, bcm_field_group_t, bcm_field_entry_t entry ) override {
    return entries_.emplace( entry, 0 ).second ? BCM_E_NONE : BCM_E_EXISTS;
  }
  int bcm_field_entry_destroy( U32, bcm_field_entry_t entry ) override {
    return erase( entries_, entry );
  }
  int bcm_field_entry_prio_set( U32, bcm_field_entry_t entry, U32 priority ) override {
    entries_[ entry ] = priority;
    return BCM_E_NONE;
  }
  int bcm_field_entry_prio_get( U32, bcm_field_entry_t entry, U32 * priority ) override {
    return read( entries_, entry, priority );
  }

  int bcm_policer_create( U32, bcm_policer_config_t * config, bcm_policer_t * id ) override {
    if ( config->mode != bcmPolicerModeCommitted )
      return BCM_E_PARAM;
    policers_[ *id = ++last_ ] = *config;
    return BCM_E_NONE;
  }
  int bcm_policer_set( U32, bcm_policer_t id, bcm_policer_config_t * config ) override {
    const int rc = erase( policers_, id );
    return rc == BCM_E_NONE && policers_.emplace( id, *config ).second ? BCM_E_NONE : BCM_E_PARAM;
  }
  int bcm_policer_get( U32, bcm_policer_t id, bcm_policer_config_t * config ) override {
    return read( policers_, id, config );
  }
  int bcm_policer_destroy( U32, bcm_policer_t id ) override { return erase( policers_, id ); }

  int bcm_field_data_qualifier_create( U32, bcm_field_data_qualifier_t * field ) override {
    if ( field->bytes != 4 || fields_.size() == fieldsMax )
      return BCM_E_RESOURCE;
    field->qual_id = static_cast< int16_t >( ++last_ );
    fields_[ field->qual_id ] = *field;
    return BCM_E_NONE;
  }
  int bcm_field_data_qualifier_destroy( U32, int id ) override { return erase( fields_, id ); }

 private:
  std::map< int, bcm_field_group_config_t > groups_;
  std::map< int, U32 > entries_;
  std::map< int, bcm_policer_config_t > policers_;
  std::map< int, bcm_field_data_qualifier_t > fields_;
  int last_ = 0;
};

}  // namespace

MORVANE_SDK_PLUGIN( KelmorChip )
