// What the library relies on in the declarations of the SDK, whichever header has them: checked in
// every source that sees them. Included by shim/SdkTypes.h.
#pragma once

#include <concepts>
#include <initializer_list>
#include <type_traits>

namespace Shim {

// --- Identifiers: kept as 32-bit numbers, with bits of pipe and copy ---

template < class... Ids >
constexpr bool areIds = ( ( std::integral< Ids > && sizeof( Ids ) == sizeof( U32 ) ) && ... );
static_assert( areIds< bcm_field_group_t, bcm_field_entry_t, bcm_field_presel_t,
                       bcm_field_stat_id_t, bcm_field_range_t, bcm_policer_t, bcm_port_t >,
               "an identifier is not an integer of 32 bits" );
static_assert( std::same_as< bcm_vlan_t, U16 >, "VLANs are read into 16 bits" );
static_assert( BCM_FIELD_QUALIFY_PRESEL >= BCM_FIELD_PRESEL_MAX,
               "the mark of a preselector is a bit that no preselector has" );

// --- Results: 0 or more is success ---

static_assert( BCM_E_NONE == 0, "success is 0" );
static_assert( BCM_E_PARAM < 0 && BCM_E_EXISTS < 0 && BCM_E_RESOURCE < 0 && BCM_E_UNAVAIL < 0,
               "failures are negative" );
static_assert( BCM_E_RESOURCE != BCM_E_UNAVAIL && BCM_E_RESOURCE != BCM_E_EXISTS &&
                   BCM_E_RESOURCE != BCM_E_PARAM,
               "codes that are acted on differ" );

// --- Records: copied, and compared bit by bit where they are sets ---

template < class... Records >
constexpr bool areRecords = ( ( std::is_class_v< Records > &&
                                std::is_trivially_copyable_v< Records > )&&... );
static_assert(
    areRecords< bcm_pbmp_t, bcm_field_qset_t, bcm_field_group_config_t, bcm_field_group_status_s,
                bcm_port_config_t, bcm_field_src_class_t, bcm_policer_config_t,
                bcm_field_data_qualifier_s, bcm_field_data_packet_format_s,
                bcm_field_data_ethertype_s, kelmor_tcam_capacity_info_t >,
    "a record is not a structure that can be copied" );

static_assert( BCM_PBMP_PORT_MAX % 32 == 0, "ports are handled in words of 32" );

// --- Numbers ---

static_assert( BCM_PIPES_MAX > 0 && BCM_PIPES_MAX <= 4 &&
                   ( BCM_PIPES_MAX & ( BCM_PIPES_MAX - 1 ) ) == 0,
               "ids have two bits for the pipe, and preselectors match on its number by a mask" );
static_assert( bcmFieldQualifyStageIngress > 0 &&
                   bcmFieldQualifyStageIngress < bcmFieldQualifyCount &&
                   bcmFieldQualifyInPortsClass < bcmFieldQualifyCount,
               "qualifier 0 is none in platform tables, and lists end with the highest number" );
static_assert( bcmFieldActionRedirectPbmp != 0, "action 0 is none" );
static_assert( bcmFieldStatPackets >= 0 && BCM_FIELD_STAT_TYPES <= 32,
               "types of counters are bits of a word" );
static_assert( bcmFieldStatBytes + 1 == bcmFieldStatPackets ||
                   bcmFieldStatPackets + 1 == bcmFieldStatBytes,
               "the two counters that are usually taken are neighbours" );
static_assert( BCM_FIELD_DATA_QUAL_MAX > 255, "ids of data qualifiers are 1 to 255" );
constexpr bool oneBitEach( std::initializer_list< U32 > flags ) {
  U32 all = 0;
  for ( const U32 flag : flags ) {
    if ( flag == 0 || ( flag & ( flag - 1 ) ) != 0 || ( all & flag ) != 0 )
      return false;
    all |= flag;
  }
  return true;
}
static_assert( oneBitEach( { BCM_FIELD_GROUP_CREATE_WITH_ID, BCM_FIELD_GROUP_CREATE_WITH_PORT,
                             BCM_FIELD_GROUP_CREATE_WITH_MODE, BCM_FIELD_GROUP_CREATE_LARGE,
                             BCM_FIELD_GROUP_CREATE_PER_COPY,
                             BCM_FIELD_GROUP_CREATE_MANAGED_PRIO } ),
               "each flag of a group has its own bit" );

}  // namespace Shim
