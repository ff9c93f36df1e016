/* The field processor of a switch, as the SDK of an invented chip declares it: two pipes of 64
 * ports. Identifiers are int, sets have 64-bit words, and the numbers are this SDK's own. */
#ifndef KELMOR_FIELD_H
#define KELMOR_FIELD_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define BCM_E_NONE 0
#define BCM_E_PARAM ( -3 )
#define BCM_E_EXISTS ( -5 )
#define BCM_E_RESOURCE ( -9 )
#define BCM_E_UNAVAIL ( -12 )

typedef int bcm_field_group_t;
typedef int bcm_field_entry_t;
typedef int bcm_field_presel_t;
typedef int bcm_field_stat_id_t;
typedef int bcm_field_range_t;
typedef int bcm_policer_t;
typedef int bcm_port_t;
typedef uint16_t bcm_vlan_t;
typedef uint8_t bcm_ip6_t[ 16 ];
typedef struct {
  uint8_t b[ 6 ];
} bcm_mac_t;

#define BCM_FIELD_QUALIFY_PRESEL 0x40000000
#define BCM_FIELD_PRESEL_MAX 128
#define BCM_PIPES_MAX 2
#define BCM_PBMP_PORT_MAX 128
#define BCM_FIELD_DATA_QUAL_MAX 256

typedef struct {
  uint64_t words[ BCM_PBMP_PORT_MAX / 64 ];
} bcm_pbmp_t;

typedef enum {
  bcmFieldQualifyStageIngress = 1,
  bcmFieldQualifyStageLookup,
  bcmFieldQualifyStageEgress,
  bcmFieldQualifyInPort,
  bcmFieldQualifyInPorts,
  bcmFieldQualifyInPortsClass,
  bcmFieldQualifyMixedSrcClassId,
  bcmFieldQualifySrcMac,
  bcmFieldQualifyDstMac,
  bcmFieldQualifyEtherType,
  bcmFieldQualifyOuterVlanId,
  bcmFieldQualifyOuterVlanPri,
  bcmFieldQualifySrcIp,
  bcmFieldQualifyDstIp,
  bcmFieldQualifySrcIp6,
  bcmFieldQualifyDstIp6,
  bcmFieldQualifyIpType,
  bcmFieldQualifyIpProtocol,
  bcmFieldQualifyIpFrag,
  bcmFieldQualifyDSCP,
  bcmFieldQualifyTtl,
  bcmFieldQualifyL4SrcPort,
  bcmFieldQualifyL4DstPort,
  bcmFieldQualifyTcpControl,
  bcmFieldQualifyIcmpTypeCode,
  bcmFieldQualifyRangeCheck,
  bcmFieldQualifyCount
} bcm_field_qualify_t;

typedef struct {
  uint64_t w[ 1 ];
  uint64_t data_qualifiers[ 4 ];
} bcm_field_qset_t;

typedef struct {
  uint8_t w[ BCM_FIELD_PRESEL_MAX / 8 ];
} bcm_field_presel_set_t;

typedef enum {
  bcmFieldStageIngress = 4,
  bcmFieldStageLookup,
  bcmFieldStageEgress
} bcm_field_stage_t;
typedef enum { bcmFieldGroupModeDefault, bcmFieldGroupModeCopy } bcm_field_group_mode_t;

#define BCM_FIELD_GROUP_CREATE_WITH_PORT 0x1
#define BCM_FIELD_GROUP_CREATE_LARGE 0x2
#define BCM_FIELD_GROUP_CREATE_WITH_ID 0x4
#define BCM_FIELD_GROUP_CREATE_WITH_MODE 0x8
#define BCM_FIELD_GROUP_CREATE_PER_COPY 0x10
#define BCM_FIELD_GROUP_CREATE_MANAGED_PRIO 0x20

typedef struct {
  bcm_field_group_t gid;
  int16_t priority;
  bcm_field_group_mode_t mode;
  uint8_t timeout; /* seconds; 0 refuses the group */
  uint64_t flags;
  bcm_pbmp_t ports;
  bcm_field_qset_t qset;
  bcm_field_presel_set_t preselset;
  int32_t action_res_id;
} bcm_field_group_config_t;

static inline void bcm_field_group_config_t_init( bcm_field_group_config_t * config ) {
  static const bcm_field_group_config_t initial = { .timeout = 30 };
  *config = initial;
}

typedef struct {
  int prio_min, prio_max;
  int entries_free, entries_total;
  int entry_count;
} bcm_field_group_status_t;

typedef enum {
  bcmFieldControlPolicerGroupSharingEnable,
  bcmFieldControlRedirectExcludeSrcPort,
  bcmFieldControlRedirectIngressVlanCheck,
  bcmFieldControlRedirectNonUcastTrunkResolve
} bcm_field_control_t;
typedef enum { bcmPortControlFilterLookup, bcmPortControlFilterIngress } bcm_port_control_t;

typedef struct {
  bcm_pbmp_t all;
  bcm_pbmp_t pipe0, pipe1;
} bcm_port_config_t;

typedef struct {
  uint8_t intf_class_port;
} bcm_field_src_class_t;

typedef enum { bcmFieldIpTypeAny, bcmFieldIpTypeIpv4Any, bcmFieldIpTypeIpv6 } bcm_field_IpType_t;
typedef enum { bcmFieldIpFragAny, bcmFieldIpFragNon } bcm_field_IpFrag_t;
typedef enum {
  bcmFieldActionDrop = 7,
  bcmFieldActionRedirectPbmp,
  bcmFieldActionMirrorPbmp,
  bcmFieldActionPermit,
  bcmFieldActionCopyToCpu
} bcm_field_action_t;

typedef enum {
  bcmFieldStatPackets = 1,
  bcmFieldStatBytes,
  bcmFieldStatRedPackets,
  bcmFieldStatRedBytes,
  bcmFieldStatYellowPackets,
  bcmFieldStatYellowBytes,
  bcmFieldStatGreenPackets,
  bcmFieldStatGreenBytes
} bcm_field_stat_t;
#define BCM_FIELD_STAT_TYPES 9

#define BCM_POLICER_WITH_ID 0x100
typedef enum { bcmPolicerModeTrTcm, bcmPolicerModeCommitted } bcm_policer_mode_t;
typedef struct {
  bcm_policer_mode_t mode;
  uint32_t ckbits_burst, rate;
  uint16_t pol_flags;
} bcm_policer_config_t;

#define BCM_FIELD_RANGE_OUTERVLAN 1
#define BCM_FIELD_RANGE_DSTPORT 2
#define BCM_FIELD_RANGE_SRCPORT 4

typedef enum { bcmFieldDataOffsetBaseOuterL3Header = 3 } bcm_field_data_offset_base_t;
typedef struct {
  uint8_t bytes, skip;
  bcm_field_data_offset_base_t offset_base;
  int16_t qual_id;
} bcm_field_data_qualifier_t;

#define BCM_FIELD_DATA_FORMAT_ANY 0xFFFF
#define BCM_FIELD_DATA_FORMAT_L2_ETH_II 5
#define BCM_FIELD_DATA_FORMAT_IP4 6
typedef struct {
  uint16_t outer_ip, tunnel, l2, vlan_tag;
} bcm_field_data_packet_format_t;
typedef struct {
  uint16_t ethertype, l2, vlan_tag;
} bcm_field_data_ethertype_t;

#define KELMOR_TCAM_STAGES_MAX 2
#define KELMOR_TCAM_SLICES_MAX 3
typedef struct {
  int used, size;
} kelmor_tcam_slice_info_t;
typedef struct {
  int stage, slice_count;
  kelmor_tcam_slice_info_t slice[ KELMOR_TCAM_SLICES_MAX ];
} kelmor_tcam_stage_info_t;
typedef struct {
  int stage_count;
  kelmor_tcam_stage_info_t stage[ KELMOR_TCAM_STAGES_MAX ];
} kelmor_tcam_capacity_info_t;

/* Each prints its arguments. */
int bcm_field_group_config_create( int unit, bcm_field_group_config_t * config );
int bcm_field_group_set( int unit, bcm_field_group_t group, bcm_field_qset_t qset );
int bcm_field_data_qualifier_create( int unit, bcm_field_data_qualifier_t * qualifier );
int bcm_field_data_qualifier_packet_format_add( int unit, int id,
                                                bcm_field_data_packet_format_t * format );
int bcm_field_qualify_MixedSrcClassId( int unit, bcm_field_entry_t entry, bcm_pbmp_t ports,
                                       bcm_field_src_class_t data, bcm_field_src_class_t mask );
int bcm_field_qualify_InPorts( int unit, bcm_field_entry_t entry, bcm_pbmp_t data,
                               bcm_pbmp_t mask );
int bcm_field_qualify_DstIp6( int unit, bcm_field_entry_t entry, bcm_ip6_t data, bcm_ip6_t mask );
int bcm_field_action_ports_add( int unit, bcm_field_entry_t entry, bcm_field_action_t action,
                                bcm_pbmp_t ports );
int bcm_policer_create( int unit, bcm_policer_config_t * config, bcm_policer_t * policer );
int bcm_field_entry_install( int unit, bcm_field_entry_t entry );

#ifdef __cplusplus
}
#endif

#endif
