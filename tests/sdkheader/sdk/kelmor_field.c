#include "kelmor_field.h"

#include <stdio.h>

static unsigned long long first( bcm_pbmp_t ports ) {
  return ports.words[ 0 ];
}

/* The first group is refused once, as if it did not fit. */
int bcm_field_group_config_create( int unit, bcm_field_group_config_t * config ) {
  static int created;
  printf(
      "group %x on unit %d: priority %d mode %d timeout %d flags %llx ports %llx qualifiers %llx "
      "preselectors %x resolution %d\n",
      config->gid, unit, config->priority, config->mode, config->timeout,
      ( unsigned long long )config->flags, first( config->ports ),
      ( unsigned long long )config->qset.w[ 0 ], config->preselset.w[ 0 ], config->action_res_id );
  return created++ ? BCM_E_NONE : BCM_E_RESOURCE;
}

int bcm_field_group_set( int unit, bcm_field_group_t group, bcm_field_qset_t qset ) {
  printf( "group %x on unit %d: data qualifiers %llx\n", group, unit,
          ( unsigned long long )qset.data_qualifiers[ 0 ] );
  return BCM_E_NONE;
}

int bcm_field_data_qualifier_create( int unit, bcm_field_data_qualifier_t * qualifier ) {
  qualifier->qual_id = 17;
  printf( "field on unit %d: %d bytes at %d of base %d\n", unit, qualifier->bytes, qualifier->skip,
          qualifier->offset_base );
  return BCM_E_NONE;
}

int bcm_field_data_qualifier_packet_format_add( int unit, int id,
                                                bcm_field_data_packet_format_t * format ) {
  printf( "field %d on unit %d: l2 %x ip %x tunnel %x tag %x\n", id, unit, format->l2,
          format->outer_ip, format->tunnel, format->vlan_tag );
  return BCM_E_NONE;
}

int bcm_field_qualify_MixedSrcClassId( int unit, bcm_field_entry_t entry, bcm_pbmp_t ports,
                                       bcm_field_src_class_t data, bcm_field_src_class_t mask ) {
  printf( "preselector %x on unit %d: ports %llx class %d/%d\n", entry, unit, first( ports ),
          data.intf_class_port, mask.intf_class_port );
  return BCM_E_NONE;
}

int bcm_field_qualify_InPorts( int unit, bcm_field_entry_t entry, bcm_pbmp_t data,
                               bcm_pbmp_t mask ) {
  printf( "entry %x on unit %d: from %llx/%llx\n", entry, unit, first( data ), first( mask ) );
  return BCM_E_NONE;
}

int bcm_field_qualify_DstIp6( int unit, bcm_field_entry_t entry, bcm_ip6_t data, bcm_ip6_t mask ) {
  printf( "entry %x on unit %d: to %02x%02x/%02x%02x\n", entry, unit, data[ 0 ], data[ 1 ],
          mask[ 0 ], mask[ 1 ] );
  return BCM_E_NONE;
}

int bcm_field_action_ports_add( int unit, bcm_field_entry_t entry, bcm_field_action_t action,
                                bcm_pbmp_t ports ) {
  printf( "entry %x on unit %d: action %d to %llx\n", entry, unit, action, first( ports ) );
  return BCM_E_NONE;
}

int bcm_policer_create( int unit, bcm_policer_config_t * config, bcm_policer_t * policer ) {
  if ( !( config->pol_flags & BCM_POLICER_WITH_ID ) )
    *policer = 5;
  printf( "policer %x on unit %d: %u kbit/s flags %x\n", *policer, unit, config->rate,
          config->pol_flags );
  return BCM_E_NONE;
}

int bcm_field_entry_install( int unit, bcm_field_entry_t entry ) {
  printf( "entry %x on unit %d: installed\n", entry, unit );
  return BCM_E_NONE;
}
