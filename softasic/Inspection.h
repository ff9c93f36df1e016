// Snapshots of the software ASIC's state, for audits and reports.
#pragma once

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "shim/SdkTypes.h"
#include "softasic/ChipProfile.h"

namespace SoftAsic {

// One qualifier of a rule, with the value masked and limited to the field's width.
struct QualifierView {
  U32 qualifier = 0;  // bcm_field_qualify_t
  // 64-bit words: one, right-aligned, for most fields; two for IPv6 addresses, upper half first;
  // ports 0-63, 64-127 and so on for port bitmaps. For range checks bit n of the mask is set if the
  // rule uses checker n+1, and bit n of the value if the checker must hit. IpType and IpFrag hold
  // their enumerator, with an all-ones mask.
  std::vector< U64 > value;
  std::vector< U64 > mask;
  friend bool operator==( const QualifierView &, const QualifierView & ) = default;
};

struct ActionView {
  bcm_field_action_t action = bcmFieldActionPermit;
  U32 param0 = 0;
  U32 param1 = 0;
  bcm_pbmp_t ports = {};  // RedirectPbmp, EgressMask, MirrorPbmp; else empty
  friend bool operator==( const ActionView &, const ActionView & ) = default;
};

// A data qualifier of a rule; value and mask have the qualifier's length.
struct DataMatchView {
  U32 id = 0;
  std::vector< U8 > value;  // masked
  std::vector< U8 > mask;
  friend bool operator==( const DataMatchView &, const DataMatchView & ) = default;
};

// Qualifiers by number, actions in the order of addition.
struct RuleView {
  std::vector< QualifierView > qualifiers;
  std::vector< DataMatchView > data;  // by id
  std::vector< ActionView > actions;
  friend bool operator==( const RuleView &, const RuleView & ) = default;
};

struct EntryView {
  U32 id = 0;
  U32 group = 0;  // with instance bits
  U32 priority = 0;
  bool installed = false;
  bool enabled = true;
  U32 stat = 0;        // attached stat object; 0: none
  U32 policer = 0;     // attached policer; 0: none
  RuleView pending;    // takes effect with the next install
  RuleView effective;  // installed rule; empty: not installed
  U32 slice = 0;       // slice number in the stage instance
  U32 row = 0;         // physical row in the slice
  U32 position = 0;    // among the group's rows in match order, from 0
};

struct GroupView {
  U32 id = 0;  // with instance bits
  StageKind stage = StageKind::ifp;
  U32 pipe = 0;  // 0 if the stage has one instance
  U32 copy = 0;
  S32 priority = 0;
  U32 flags = 0;
  bcm_field_qset_t qset = {};
  bcm_pbmp_t ports = {};  // valid with BCM_FIELD_GROUP_CREATE_WITH_PORT
  bcm_field_presel_set_t preselset = {};
  U32 keyBits = 0;             // total over the qualifiers
  U32 rowsPerSlice = 0;        // capacity of its first slice in the group's wide mode
  std::vector< U32 > data;     // data qualifier ids, ascending
  std::vector< U32 > slices;   // in match order; of a pair the even one
  std::vector< U32 > entries;  // entry ids in match order
};

struct StatView {
  U32 id = 0;
  StageKind stage = StageKind::ifp;
  U32 pipe = 0;
  U32 copy = 0;
  U32 owner = 0;  // id of the entry it is attached to; 0: none
  std::vector< std::pair< bcm_field_stat_t, U64 > > values;  // by type
};

struct PreselView {
  U32 id = 0;
  std::optional< bcm_field_stage_t > stage;  // empty: not qualified on a stage
  bool sourceQualified = false;              // the next three fields are valid
  bcm_pbmp_t ports = {};
  U32 classData = 0;
  U32 classMask = 0;
  U32 users = 0;  // groups with it in their set
};

struct RangeView {
  U32 id = 0;
  U32 flags = 0;
  U32 low = 0;
  U32 high = 0;
  std::vector< U32 > entries;  // pending or installed rule uses it; ascending
};

struct PolicerView {
  U32 id = 0;  // with pipe bits
  bcm_policer_config_t config = {};
  std::vector< U32 > entries;  // attached to these, ascending
};

struct DataQualifierView {
  bcm_field_data_qualifier_s record = {};                 // as created, with the id
  std::vector< bcm_field_data_packet_format_s > formats;  // in the order of addition
  std::vector< bcm_field_data_ethertype_s > etherTypes;
  U32 groups = 0;  // groups that match on it, counted per pipe and copy
};

// Totals of one stage instance.
struct TableView {
  StageKind stage = StageKind::ifp;
  U32 pipe = 0;
  U32 copy = 0;
  U32 slices = 0;
  U32 freeSlices = 0;
  U32 groups = 0;
  U32 entries = 0;
  U32 statistics = 0;
  U32 freeStatistics = 0;
  U64 moves = 0;  // rows moved since unit reset by insert, priority change and compression
};

// One slice of a stage instance and its rows. A row holds one entry: two physical rows in
// double-wide mode, the same row of both slices in paired mode.
struct SliceView {
  StageKind stage = StageKind::ifp;
  U32 pipe = 0;
  U32 copy = 0;
  U32 number = 0;
  U32 depth = 0;    // rows in single mode
  U32 keyBits = 0;  // width of a row in single mode
  bool large = false;
  std::optional< U32 > group = {};    // owner, with instance bits; empty: free
  WideMode mode = WideMode::single;   // of the owner
  U32 rows = 0;                       // in `mode`
  std::map< U32, U32 > entries = {};  // entry ids by row; same for both slices of a pair

  // Key bits of a row.
  U32 rowBits() const { return mode == WideMode::single ? keyBits : 2 * keyBits; }
};

struct ControlsView {
  std::map< int, U32 > controls;                        // by bcm_field_control_t
  std::map< std::pair< U32, int >, int > portControls;  // by port and bcm_port_control_t
};

}  // namespace SoftAsic
