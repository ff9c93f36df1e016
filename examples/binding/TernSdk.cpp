// The binding of the library to the SDK of the chip "Tern": what a port to another SDK looks like.
//
// - The library gives ids to groups and entries, and the chip gives handles: two maps.
// - A result of the chip becomes the code that the library acts on: out of room is BCM_E_RESOURCE,
//   which it survives; nothing else may become that.
// - The library's higher priority matches first, the chip's lower order does.
// - What the chip lacks stays as in UnavailableSdk: policers and data qualifiers.
#include <map>
#include <mutex>

#include "shim/SdkPlugin.h"
#include "shim/UnavailableSdk.h"
#include "tern_sdk.h"

namespace {

using Kiv::U32;

constexpr U32 highestPriority = 0x7FFFFFFF;
constexpr U32 entryNumbers = 1U << 24;

int code( tern_error error ) {
  switch ( error ) {
    case TERN_OK:
      return BCM_E_NONE;
    case TERN_NO_SPACE:
      return BCM_E_RESOURCE;
    case TERN_NO_OBJECT:
      return BCM_E_NOT_FOUND;
    case TERN_IN_USE:
    case TERN_BAD_STATE:
      return BCM_E_BUSY;
    case TERN_BAD_FIELD:
      break;
  }
  return BCM_E_PARAM;
}

constexpr struct {
  U32 qualifier;
  tern_field field;
} fieldsOfQualifiers[] = {
    { bcmFieldQualifyInPorts, TERN_IN_PORTS },  { bcmFieldQualifyOuterVlanId, TERN_VLAN },
    { bcmFieldQualifyIpType, TERN_IP_VERSION }, { bcmFieldQualifySrcIp, TERN_IP_SRC },
    { bcmFieldQualifyDstIp, TERN_IP_DST },      { bcmFieldQualifyIpProtocol, TERN_PROTOCOL },
    { bcmFieldQualifyL4SrcPort, TERN_L4_SRC },  { bcmFieldQualifyL4DstPort, TERN_L4_DST } };

// False if the chip lacks a qualifier of the set.
bool toFields( const bcm_field_qset_t & qset, U32 & fields ) {
  bcm_field_qset_t rest = qset;
  rest.remove( bcmFieldQualifyStageIngress );  // the chip has one stage
  fields = 0;
  for ( const auto & [ qualifier, field ] : fieldsOfQualifiers ) {
    fields |= qset.has( qualifier ) ? 1U << field : 0;
    rest.remove( qualifier );
  }
  return rest == bcm_field_qset_t{};
}

tern_verb toVerb( bcm_field_action_t action ) {
  return static_cast< tern_verb >( action - bcmFieldActionDrop );  // in the same order
}

class TernSdk : public Shim::UnavailableSdk {
 public:
  void sdkLock() override KIV_NO_THREAD_SAFETY_ANALYSIS { mutex_.lock(); }
  void sdkUnlock() override KIV_NO_THREAD_SAFETY_ANALYSIS { mutex_.unlock(); }

  const char * sdkErrorText( int rc ) const override {
    for ( int error = TERN_OK; error <= TERN_BAD_FIELD; ++error )
      if ( code( static_cast< tern_error >( error ) ) == rc )
        return tern_error_text( static_cast< tern_error >( error ) );
    return UnavailableSdk::sdkErrorText( rc );
  }

  // --- Groups: tables of the chip ----------------------------------------------------------
  int bcm_field_group_config_create( U32, bcm_field_group_config_t * config ) override {
    Group group = { 0, config->qset };
    U32 fields = 0;
    if ( groups_.count( config->group ) != 0 )
      return BCM_E_EXISTS;
    if ( !toFields( config->qset, fields ) ||
         ( config->flags & BCM_FIELD_GROUP_CREATE_LARGE ) != 0 )
      return BCM_E_UNAVAIL;
    const tern_error error = tern_table_create( fields, config->priority, &group.table );
    if ( error == TERN_OK )
      groups_[ config->group ] = group;
    return code( error );
  }
  int bcm_field_group_destroy( U32, bcm_field_group_t group ) override {
    const int rc = code( tern_table_destroy( tableOf( group ) ) );
    if ( rc == BCM_E_NONE )
      groups_.erase( group );
    return rc;
  }
  int bcm_field_group_get( U32, bcm_field_group_t group, bcm_field_qset_t * qset ) override {
    if ( groups_.count( group ) == 0 )
      return BCM_E_NOT_FOUND;
    *qset = groups_[ group ].qset;
    return BCM_E_NONE;
  }
  int bcm_field_group_set( U32, bcm_field_group_t group, bcm_field_qset_t qset ) override {
    U32 fields = 0;
    if ( !toFields( qset, fields ) )
      return BCM_E_PARAM;
    const int rc = code( tern_table_fields( tableOf( group ), fields ) );
    if ( rc == BCM_E_NONE )
      groups_[ group ].qset = qset;
    return rc;
  }
  int bcm_field_group_status_get( U32, bcm_field_group_t group,
                                  bcm_field_group_status_s * status ) override {
    status->prio_min = 0;
    status->prio_max = highestPriority - 1;
    return code( tern_table_rows( tableOf( group ), &status->entry_count, &status->entries_total,
                                  &status->entries_free ) );
  }
  int bcm_field_group_compress( U32, bcm_field_group_t ) override { return BCM_E_NONE; }

  // --- Chip --------------------------------------------------------------------------------
  int bcm_field_control_set( U32, bcm_field_control_t, std::uint32_t ) override {
    return BCM_E_NONE;  // the chip always behaves so
  }
  int bcm_port_control_set( U32, bcm_port_t, bcm_port_control_t, int ) override {
    return BCM_E_NONE;
  }
  int bcm_port_config_get( U32, bcm_port_config_t * config ) override {
    *config = {};
    config->all.pbits[ 0 ] = ~0U;
    config->per_pipe_ports[ 0 ] = config->all;
    return BCM_E_NONE;
  }
  int kelmor_bcm_tcam_capacity_info_get( U32, kelmor_tcam_capacity_info_t * info ) override {
    *info = {};
    info->stage_count = 1;
    kelmor_tcam_stage_info_t & stage = info->stage[ 0 ];
    stage.entries_total = TERN_BLOCKS * TERN_ROWS;
    stage.slice_count = TERN_BLOCKS;
    for ( int i = 0; i < TERN_BLOCKS; ++i )
      stage.slice[ i ] = { TERN_ROWS - tern_block_used( i ), TERN_ROWS };
    return BCM_E_NONE;
  }

  // --- Entries: rules of the chip ----------------------------------------------------------
  int bcm_field_entry_create( U32 unit, bcm_field_group_t group,
                              bcm_field_entry_t * entry ) override {
    U32 number = entryNumbers - 1;
    while ( rules_.count( number ) != 0 )
      --number;
    const int rc = bcm_field_entry_create_id( unit, group, number );
    if ( rc == BCM_E_NONE )
      *entry = number;
    return rc;
  }
  int bcm_field_entry_create_id( U32 unit, bcm_field_group_t group,
                                 bcm_field_entry_t entry ) override {
    if ( rules_.count( entry ) != 0 )
      return BCM_E_EXISTS;
    Rule rule;
    const int rc = code( tern_rule_add( tableOf( group ), &rule.handle ) );
    if ( rc != BCM_E_NONE )
      return rc;
    rules_[ entry ] = rule;
    return bcm_field_entry_prio_set( unit, entry, 0 );
  }
  int bcm_field_entry_destroy( U32, bcm_field_entry_t entry ) override {
    const int rc = code( tern_rule_drop( ruleOf( entry ) ) );
    if ( rc == BCM_E_NONE )
      rules_.erase( entry );
    return rc;
  }
  int bcm_field_entry_install( U32, bcm_field_entry_t entry ) override {
    const int rc = code( tern_rule_write( ruleOf( entry ) ) );
    if ( rc == BCM_E_NONE )
      rules_[ entry ].written = true;
    return rc;
  }
  int bcm_field_entry_reinstall( U32 unit, bcm_field_entry_t entry ) override {
    const auto rule = rules_.find( entry );
    return rule != rules_.end() && rule->second.written ? bcm_field_entry_install( unit, entry )
                                                        : BCM_E_NOT_FOUND;
  }
  int bcm_field_entry_remove( U32, bcm_field_entry_t entry ) override {
    const int rc = code( tern_rule_erase( ruleOf( entry ) ) );
    if ( rc == BCM_E_NONE )
      rules_[ entry ].written = false;
    return rc;
  }
  int bcm_field_entry_enable_set( U32, bcm_field_entry_t entry, int enable ) override {
    return code( tern_rule_pause( ruleOf( entry ), enable == 0 ) );
  }
  int bcm_field_entry_prio_set( U32, bcm_field_entry_t entry, std::uint32_t priority ) override {
    return priority > highestPriority
               ? BCM_E_PARAM
               : code( tern_rule_order( ruleOf( entry ), highestPriority - priority ) );
  }
  int bcm_field_entry_prio_get( U32, bcm_field_entry_t entry, std::uint32_t * priority ) override {
    U32 order = 0;
    const int rc = code( tern_rule_order_get( ruleOf( entry ), &order ) );
    *priority = highestPriority - order;
    return rc;
  }
  int bcm_field_entry_dump( U32, bcm_field_entry_t ) override { return BCM_E_NONE; }
  int kelmor_field_entry_copy_id( U32, bcm_field_entry_t from, bcm_field_entry_t to ) override {
    return code( tern_rule_clone( ruleOf( from ), ruleOf( to ) ) );
  }

  // --- Qualifiers and actions --------------------------------------------------------------
  int bcm_field_qualify_clear( U32, bcm_field_entry_t entry ) override {
    return code( tern_rule_match_all( ruleOf( entry ) ) );
  }
  int bcm_field_qualify_InPorts( U32, bcm_field_entry_t entry, bcm_pbmp_t data,
                                 bcm_pbmp_t mask ) override {
    return match( entry, TERN_IN_PORTS, data.pbits[ 0 ], mask.pbits[ 0 ] );
  }
  int bcm_field_qualify_InPorts_get( U32, bcm_field_entry_t entry, bcm_pbmp_t * data,
                                     bcm_pbmp_t * mask ) override {
    *data = *mask = {};
    return code( tern_rule_match_get( ruleOf( entry ), TERN_IN_PORTS, data->pbits, mask->pbits ) );
  }
  int bcm_field_qualify_OuterVlanId( U32, bcm_field_entry_t entry, bcm_vlan_t data,
                                     bcm_vlan_t mask ) override {
    return match( entry, TERN_VLAN, data, mask );
  }
  int bcm_field_qualify_OuterVlanId_get( U32, bcm_field_entry_t entry, bcm_vlan_t * data,
                                         bcm_vlan_t * mask ) override {
    U32 words[ 2 ] = {};
    const int rc =
        code( tern_rule_match_get( ruleOf( entry ), TERN_VLAN, &words[ 0 ], &words[ 1 ] ) );
    *data = static_cast< bcm_vlan_t >( words[ 0 ] );
    *mask = static_cast< bcm_vlan_t >( words[ 1 ] );
    return rc;
  }
  int bcm_field_qualify_IpType( U32, bcm_field_entry_t entry, bcm_field_IpType_t type ) override {
    switch ( type ) {
      case bcmFieldIpTypeAny:
        return match( entry, TERN_IP_VERSION, 0, 0 );
      case bcmFieldIpTypeNonIp:
        return match( entry, TERN_IP_VERSION, 0, 0xF );
      case bcmFieldIpTypeIpv4Any:
        return match( entry, TERN_IP_VERSION, 4, 0xF );
      case bcmFieldIpTypeIpv6:
        return match( entry, TERN_IP_VERSION, 6, 0xF );
      case bcmFieldIpTypeIp:
        return match( entry, TERN_IP_VERSION, 4, 0x4 );  // the bit of both
      default:
        return BCM_E_UNAVAIL;
    }
  }
  int bcm_field_qualify_SrcIp( U32, bcm_field_entry_t entry, U32 data, U32 mask ) override {
    return match( entry, TERN_IP_SRC, data, mask );
  }
  int bcm_field_qualify_DstIp( U32, bcm_field_entry_t entry, U32 data, U32 mask ) override {
    return match( entry, TERN_IP_DST, data, mask );
  }
  int bcm_field_qualify_IpProtocol( U32, bcm_field_entry_t entry, std::uint8_t data,
                                    std::uint8_t mask ) override {
    return match( entry, TERN_PROTOCOL, data, mask );
  }
  int bcm_field_qualify_L4SrcPort( U32, bcm_field_entry_t entry, std::uint16_t data,
                                   std::uint16_t mask ) override {
    return match( entry, TERN_L4_SRC, data, mask );
  }
  int bcm_field_qualify_L4DstPort( U32, bcm_field_entry_t entry, std::uint16_t data,
                                   std::uint16_t mask ) override {
    return match( entry, TERN_L4_DST, data, mask );
  }
  int bcm_field_action_add( U32, bcm_field_entry_t entry, bcm_field_action_t action, U32,
                            U32 ) override {
    return code( tern_rule_do( ruleOf( entry ), toVerb( action ), 0 ) );
  }
  int bcm_field_action_ports_add( U32, bcm_field_entry_t entry, bcm_field_action_t action,
                                  bcm_pbmp_t ports ) override {
    return code( tern_rule_do( ruleOf( entry ), toVerb( action ), ports.pbits[ 0 ] ) );
  }
  int bcm_field_action_remove( U32, bcm_field_entry_t entry, bcm_field_action_t action ) override {
    return code( tern_rule_undo( ruleOf( entry ), toVerb( action ) ) );
  }
  int bcm_field_action_remove_all( U32, bcm_field_entry_t entry ) override {
    if ( rules_.count( entry ) == 0 )
      return BCM_E_NOT_FOUND;
    for ( int verb = TERN_DROP; verb < TERN_VERBS; ++verb )
      ( void )tern_rule_undo( ruleOf( entry ), static_cast< tern_verb >( verb ) );
    return BCM_E_NONE;
  }

  // --- Statistics: packets and bytes -------------------------------------------------------
  int bcm_field_stat_create( U32, bcm_field_group_t group, int nstat,
                             const bcm_field_stat_t * types, bcm_field_stat_id_t * stat ) override {
    for ( int i = 0; i < nstat; ++i )
      if ( !counted( types[ i ] ) )
        return BCM_E_UNAVAIL;
    return groups_.count( group ) == 0 ? BCM_E_NOT_FOUND : code( tern_counter_new( stat ) );
  }
  int bcm_field_stat_destroy( U32, bcm_field_stat_id_t stat ) override {
    return code( tern_counter_free( stat ) );
  }
  int bcm_field_entry_stat_attach( U32, bcm_field_entry_t entry,
                                   bcm_field_stat_id_t stat ) override {
    const tern_handle rule = ruleOf( entry );
    return rule == 0 ? BCM_E_NOT_FOUND : code( tern_counter_bind( stat, rule ) );
  }
  int bcm_field_entry_stat_detach( U32, bcm_field_entry_t entry,
                                   bcm_field_stat_id_t stat ) override {
    return ruleOf( entry ) == 0 ? BCM_E_NOT_FOUND : code( tern_counter_bind( stat, 0 ) );
  }
  int bcm_field_stat_get( U32, bcm_field_stat_id_t stat, bcm_field_stat_t type,
                          std::uint64_t * value ) override {
    std::uint64_t values[ 2 ] = {};
    const int rc = code( tern_counter_read( stat, &values[ 0 ], &values[ 1 ] ) );
    if ( rc == BCM_E_NONE && counted( type ) )
      *value = values[ type ];
    return rc == BCM_E_NONE && !counted( type ) ? BCM_E_PARAM : rc;
  }
  int bcm_field_stat_set( U32, bcm_field_stat_id_t stat, bcm_field_stat_t type,
                          std::uint64_t value ) override {
    std::uint64_t values[ 2 ] = {};
    const int rc = code( tern_counter_read( stat, &values[ 0 ], &values[ 1 ] ) );
    if ( rc != BCM_E_NONE || !counted( type ) )
      return rc;  // the library clears the counters of all colours
    values[ type ] = value;
    return code( tern_counter_set( stat, values[ 0 ], values[ 1 ] ) );
  }

  // The chip has no range checkers. BCM_E_RESOURCE lets features use prefixes; BCM_E_UNAVAIL would
  // end the process.
  int bcm_field_range_create( U32, bcm_field_range_t *, std::uint32_t, std::uint32_t,
                              std::uint32_t ) override {
    return BCM_E_RESOURCE;
  }

  // Every release of an entry detaches a policer, if there is one: there is none.
  int bcm_field_entry_policer_detach_all( U32, bcm_field_entry_t ) override { return BCM_E_NONE; }

 private:
  struct Group {
    tern_handle table = 0;
    bcm_field_qset_t qset = {};
  };
  struct Rule {
    tern_handle handle = 0;
    bool written = false;
  };

  static bool counted( bcm_field_stat_t type ) {
    return type == bcmFieldStatPackets || type == bcmFieldStatBytes;
  }
  // Handle 0 is none for the chip too.
  tern_handle tableOf( U32 group ) const {
    const auto found = groups_.find( group );
    return found == groups_.end() ? 0 : found->second.table;
  }
  tern_handle ruleOf( U32 entry ) const {
    const auto found = rules_.find( entry );
    return found == rules_.end() ? 0 : found->second.handle;
  }
  int match( U32 entry, tern_field field, U32 data, U32 mask ) const {
    return code( tern_rule_match( ruleOf( entry ), field, data & mask, mask ) );
  }

  std::mutex mutex_;
  std::map< U32, Group > groups_;
  std::map< U32, Rule > rules_;
};

}  // namespace

MORVANE_SDK_PLUGIN( TernSdk )
