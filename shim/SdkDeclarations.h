// Records, identifiers and result codes of the switch SDK's field-processor interface, where no
// header of the SDK is named (shim/SdkTypes.h).
//
// Plain structures with public fields; a value-initialised record ("= {}") is the SDK's initialised
// record unless its comment says otherwise. Records that cross the shim have fixed sizes on 32-bit
// and 64-bit builds; the checks follow each of them.
#pragma once

#include <cstdint>
#include <tuple>

#include "kiv/ValueType.h"
#include "shim/SdkQualifiers.h"

// --- Result codes ------------------------------------------------------------------------------

enum bcm_error_t : int {
  BCM_E_NONE = 0,
  BCM_E_INTERNAL = -1,
  BCM_E_MEMORY = -2,
  BCM_E_UNIT = -3,
  BCM_E_PARAM = -4,
  BCM_E_EMPTY = -5,
  BCM_E_FULL = -6,
  BCM_E_NOT_FOUND = -7,
  BCM_E_EXISTS = -8,
  BCM_E_TIMEOUT = -9,
  BCM_E_BUSY = -10,
  BCM_E_FAIL = -11,
  BCM_E_DISABLED = -12,
  BCM_E_BADID = -13,
  BCM_E_RESOURCE = -14,
  BCM_E_CONFIG = -15,
  BCM_E_UNAVAIL = -16,
  BCM_E_INIT = -17,
  BCM_E_PORT = -18,
};

// --- Identifiers -------------------------------------------------------------------------------

using bcm_field_group_t = std::uint32_t;   // group number, pipe and copy bits included
using bcm_field_entry_t = std::uint32_t;   // entry number, pipe and copy bits included; 0 is none
using bcm_field_presel_t = std::uint32_t;  // below BCM_FIELD_PRESEL_MAX
using bcm_field_stat_id_t = std::uint32_t;
using bcm_field_range_t = std::uint32_t;
using bcm_policer_t = std::uint32_t;
using bcm_port_t = std::uint32_t;

// Added to a preselector id where an operation takes either an entry or a preselector.
inline constexpr std::uint32_t BCM_FIELD_QUALIFY_PRESEL = 0x40000000U;
inline constexpr std::uint32_t BCM_FIELD_PRESEL_MAX = 128;

// --- Bitmaps -----------------------------------------------------------------------------------

inline constexpr std::uint32_t BCM_PBMP_PORT_MAX = 256;

// Set of ports of one unit.
struct bcm_pbmp_t {
  std::uint32_t pbits[ BCM_PBMP_PORT_MAX / 32 ];

  void add( bcm_port_t port ) { pbits[ port / 32 ] |= 1U << ( port % 32 ); }
  void remove( bcm_port_t port ) { pbits[ port / 32 ] &= ~( 1U << ( port % 32 ) ); }
  bool has( bcm_port_t port ) const {
    return port < BCM_PBMP_PORT_MAX && ( pbits[ port / 32 ] >> ( port % 32 ) & 1U ) != 0;
  }

  static constexpr const char * typeName = "bcm_pbmp_t";
  static constexpr auto fields() {
    return std::make_tuple( Kiv::field( "pbits", &bcm_pbmp_t::pbits ) );
  }
  friend bool operator==( const bcm_pbmp_t &, const bcm_pbmp_t & ) = default;
};
static_assert( sizeof( bcm_pbmp_t ) == 32 );

inline constexpr std::uint32_t BCM_FIELD_DATA_QUAL_MAX = 256;

// Set of qualifiers; what a group can match on.
struct bcm_field_qset_t {
  std::uint32_t w[ ( bcmFieldQualifyCount + 31 ) / 32 ];
  std::uint32_t data_qualifiers[ 8 ];  // set of data qualifier ids, below BCM_FIELD_DATA_QUAL_MAX

  void add( std::uint32_t qual ) { w[ qual / 32 ] |= 1U << ( qual % 32 ); }
  void remove( std::uint32_t qual ) { w[ qual / 32 ] &= ~( 1U << ( qual % 32 ) ); }
  bool has( std::uint32_t qual ) const { return ( w[ qual / 32 ] >> ( qual % 32 ) & 1U ) != 0; }
  void addData( std::uint32_t id ) { data_qualifiers[ id / 32 ] |= 1U << ( id % 32 ); }
  void removeData( std::uint32_t id ) { data_qualifiers[ id / 32 ] &= ~( 1U << ( id % 32 ) ); }
  bool hasData( std::uint32_t id ) const {
    return ( data_qualifiers[ id / 32 ] >> ( id % 32 ) & 1U ) != 0;
  }
  friend bool operator==( const bcm_field_qset_t &, const bcm_field_qset_t & ) = default;
};
static_assert( sizeof( bcm_field_qset_t ) == 128 );

// Preselectors that select a group; empty: the group is always looked up.
struct bcm_field_presel_set_t {
  std::uint32_t w[ BCM_FIELD_PRESEL_MAX / 32 ];

  void add( bcm_field_presel_t id ) { w[ id / 32 ] |= 1U << ( id % 32 ); }
  bool has( bcm_field_presel_t id ) const { return ( w[ id / 32 ] >> ( id % 32 ) & 1U ) != 0; }
  bool empty() const { return ( w[ 0 ] | w[ 1 ] | w[ 2 ] | w[ 3 ] ) == 0; }
};
static_assert( sizeof( bcm_field_presel_set_t ) == 16 );

// --- Groups ------------------------------------------------------------------------------------

enum bcm_field_stage_t : int {
  bcmFieldStageIngress = 0,
  bcmFieldStageLookup = 1,
  bcmFieldStageEgress = 2
};

// Flags of a group configuration: valid fields, and placement.
inline constexpr std::uint32_t BCM_FIELD_GROUP_CREATE_WITH_ID = 1;    // `group` is given
inline constexpr std::uint32_t BCM_FIELD_GROUP_CREATE_WITH_PORT = 2;  // `ports` is given
inline constexpr std::uint32_t BCM_FIELD_GROUP_CREATE_WITH_MODE = 4;  // `mode` is given
inline constexpr std::uint32_t BCM_FIELD_GROUP_CREATE_LARGE = 8;      // start on a large slice
inline constexpr std::uint32_t BCM_FIELD_GROUP_CREATE_PER_COPY = 64;  // live in one copy only
inline constexpr std::uint32_t BCM_FIELD_GROUP_CREATE_MANAGED_PRIO =
    32768;  // caller orders entries

enum bcm_field_group_mode_t : int {
  bcmFieldGroupModeDefault = 0,
  bcmFieldGroupModeAuto = 1,
  bcmFieldGroupModePerCopy = 4,  // one table per copy of a pipe
};

struct bcm_field_group_config_t {
  std::uint32_t flags;
  bcm_field_qset_t qset;
  std::int32_t priority;  // higher wins between groups of a stage
  std::int32_t mode;      // bcm_field_group_mode_t
  bcm_field_group_t group;
  bcm_pbmp_t ports;
  std::int32_t action_res_id;  // -1: resolve actions by group priority
  bcm_field_presel_set_t preselset;
};
static_assert( sizeof( bcm_field_group_config_t ) == 196 );

struct bcm_field_group_status_s {
  std::int32_t prio_min;
  std::int32_t prio_max;       // highest entry priority that the group takes
  std::int32_t entries_total;  // capacity of the group's current slices
  std::int32_t entries_free;   // entries that can still be created, free slices included
  std::int32_t entry_count;    // entries created
};
static_assert( sizeof( bcm_field_group_status_s ) == 20 );

// --- Controls and ports ------------------------------------------------------------------------

enum bcm_field_control_t : int {
  bcmFieldControlRedirectExcludeSrcPort = 1,
  bcmFieldControlRedirectIngressVlanCheck = 2,
  bcmFieldControlRedirectNonUcastTrunkResolve = 3,
  bcmFieldControlPolicerGroupSharingEnable = 4,
};

enum bcm_port_control_t : int { bcmPortControlFilterIngress = 1, bcmPortControlFilterLookup = 2 };

inline constexpr std::uint32_t BCM_PIPES_MAX = 4;

struct bcm_port_config_t {
  bcm_pbmp_t all;
  bcm_pbmp_t per_pipe_ports[ BCM_PIPES_MAX ];

  const bcm_pbmp_t & per_pipe( std::uint32_t pipe ) const { return per_pipe_ports[ pipe ]; }
};
static_assert( sizeof( bcm_port_config_t ) == 160 );

// Source class of a port, as a preselector matches it.
struct bcm_field_src_class_t {
  std::uint32_t intf_class_port;  // class of the ingress port: the number of its pipe
};

// --- Qualifier values --------------------------------------------------------------------------

struct bcm_mac_t {
  std::uint8_t b[ 6 ];
  friend bool operator==( const bcm_mac_t &, const bcm_mac_t & ) = default;
};

struct bcm_ip6_t {
  std::uint8_t b[ 16 ];
  friend bool operator==( const bcm_ip6_t &, const bcm_ip6_t & ) = default;
};

using bcm_vlan_t = std::uint16_t;

enum bcm_field_IpType_t : int {
  bcmFieldIpTypeAny = 0,    // no restriction
  bcmFieldIpTypeNonIp = 1,  // neither IPv4 nor IPv6
  bcmFieldIpTypeIpv4Any = 2,
  bcmFieldIpTypeIpv6 = 3,
  bcmFieldIpTypeIp = 4,  // IPv4 or IPv6
  bcmFieldIpTypeArp = 5,
};

enum bcm_field_IpFrag_t : int {
  bcmFieldIpFragNon = 0,         // not a fragment
  bcmFieldIpFragFirst = 1,       // first fragment
  bcmFieldIpFragNonOrFirst = 2,  // carries the L4 header
  bcmFieldIpFragNotFirst = 3,    // later fragment
  bcmFieldIpFragAny = 4,         // any fragment, first or later
};

enum bcm_field_action_t : int {
  bcmFieldActionDrop = 1,          // drop
  bcmFieldActionPermit = 2,        // forward; cancels a drop of a group of lower priority
  bcmFieldActionCopyToCpu = 3,     // forward and send a copy to the processor
  bcmFieldActionRedirectPbmp = 4,  // send to a set of ports (bcm_field_action_ports_add)
  bcmFieldActionEgressMask = 5,    // do not send to a set of ports (bcm_field_action_ports_add)
  bcmFieldActionMirrorPbmp = 6,    // copy to a set of ports as well (bcm_field_action_ports_add)
};

// --- Statistics --------------------------------------------------------------------------------

enum bcm_field_stat_t : int {
  bcmFieldStatPackets = 0,
  bcmFieldStatBytes = 1,
  bcmFieldStatGreenPackets = 2,
  bcmFieldStatGreenBytes = 3,
  bcmFieldStatYellowPackets = 4,
  bcmFieldStatYellowBytes = 5,
  bcmFieldStatRedPackets = 6,
  bcmFieldStatRedBytes = 7,
};
inline constexpr int BCM_FIELD_STAT_TYPES = 8;

// --- Policers ----------------------------------------------------------------------------------

inline constexpr std::uint32_t BCM_POLICER_WITH_ID = 1;      // the id is given
inline constexpr std::uint32_t BCM_POLICER_COLOR_BLIND = 2;  // ignores earlier marks

enum bcm_policer_mode_t : int {
  bcmPolicerModeCommitted = 0,  // one bucket: green within the committed rate, else red
  bcmPolicerModeSrTcm = 1,      // one rate, three colours: yellow within the excess burst
  bcmPolicerModeTrTcm = 2,      // two rates, three colours: yellow within the peak rate
};

// A kilobit is 1,000 bits.
struct bcm_policer_config_t {
  std::uint32_t flags;
  std::int32_t mode;           // bcm_policer_mode_t
  std::uint32_t ckbits_sec;    // committed rate
  std::uint32_t ckbits_burst;  // committed burst
  std::uint32_t pkbits_sec;    // peak rate; two-rate mode only
  std::uint32_t pkbits_burst;  // peak burst, or the excess burst of the single-rate mode
};
static_assert( sizeof( bcm_policer_config_t ) == 24 );

// --- Range checkers ----------------------------------------------------------------------------

// The field that a range checker checks: exactly one.
inline constexpr std::uint32_t BCM_FIELD_RANGE_SRCPORT = 1;    // TCP or UDP source port
inline constexpr std::uint32_t BCM_FIELD_RANGE_DSTPORT = 2;    // TCP or UDP destination port
inline constexpr std::uint32_t BCM_FIELD_RANGE_OUTERVLAN = 4;  // id of the outer VLAN tag
inline constexpr std::uint32_t BCM_FIELD_RANGE_PACKETLEN = 8;  // bytes of the frame

// --- Data qualifiers ---------------------------------------------------------------------------

enum bcm_field_data_offset_base_t : int {
  bcmFieldDataOffsetBasePacketStart = 0,
  bcmFieldDataOffsetBaseOuterL3Header = 1,
  bcmFieldDataOffsetBaseOuterL4Header = 2,
};

struct bcm_field_data_qualifier_s {
  std::uint32_t flags;       // 0
  std::int32_t qual_id;      // written by a successful create
  std::int32_t offset_base;  // bcm_field_data_offset_base_t
  std::uint32_t offset;      // bytes
  std::uint32_t length;      // bytes
};
static_assert( sizeof( bcm_field_data_qualifier_s ) == 20 );

// Values of the header fields below. 0, as in an initialised record, is no condition either.
inline constexpr std::uint16_t BCM_FIELD_DATA_FORMAT_ANY = 0xFFFF;
inline constexpr std::uint16_t BCM_FIELD_DATA_FORMAT_L2_ETH_II = 1;  // l2: a type, no length field
inline constexpr std::uint16_t BCM_FIELD_DATA_FORMAT_IP4 = 2;        // outer_ip
inline constexpr std::uint16_t BCM_FIELD_DATA_FORMAT_IP6 = 3;        // outer_ip

struct bcm_field_data_packet_format_s {
  std::uint32_t relative_offset;  // bytes to add to the qualifier's offset in these packets
  std::uint16_t l2;
  std::uint16_t vlan_tag;
  std::uint16_t outer_ip;
  std::uint16_t inner_ip;
  std::uint16_t tunnel;
  std::uint16_t reserved;
  friend bool operator==( const bcm_field_data_packet_format_s &,
                          const bcm_field_data_packet_format_s & ) = default;
};
static_assert( sizeof( bcm_field_data_packet_format_s ) == 16 );

struct bcm_field_data_ethertype_s {
  std::uint32_t relative_offset;  // bytes to add to the qualifier's offset in these packets
  std::uint16_t ethertype;
  std::uint16_t l2;
  std::uint16_t vlan_tag;
  std::uint16_t reserved;
  friend bool operator==( const bcm_field_data_ethertype_s &,
                          const bcm_field_data_ethertype_s & ) = default;
};
static_assert( sizeof( bcm_field_data_ethertype_s ) == 12 );

// --- Capacity ----------------------------------------------------------------------------------

inline constexpr int KELMOR_TCAM_STAGES_MAX = 6;
inline constexpr int KELMOR_TCAM_SLICES_MAX = 64;

struct kelmor_tcam_slice_info_t {
  std::int32_t entries_free;
  std::int32_t entries_total;
};

struct kelmor_tcam_stage_info_t {
  std::int32_t stage;  // 0 IFP, 1 VFP, 2 EFP, 3 EXT, 4 EXACT, 5 CLASS
  std::int32_t entries_total;
  std::int32_t slice_count;
  kelmor_tcam_slice_info_t slice[ KELMOR_TCAM_SLICES_MAX ];
};
static_assert( sizeof( kelmor_tcam_stage_info_t ) == 524 );

struct kelmor_tcam_capacity_info_t {
  std::int32_t stage_count;
  kelmor_tcam_stage_info_t stage[ KELMOR_TCAM_STAGES_MAX ];
};
static_assert( sizeof( kelmor_tcam_capacity_info_t ) == 4 + 6 * 524 );
