// What an auditor sees of the software ASIC: plain copies of its state.
//
// A view is a value; it does not follow later changes of the chip.
#pragma once

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "shim/SdkTypes.h"
#include "softasic/ChipProfile.h"

namespace SoftAsic {

// One qualifier of a rule. Values are reduced to their masks and to the field's width.
struct QualifierView {
  U32 qualifier = 0;  // bcm_field_qualify_t
  // 64-bit words: one for most fields (right-aligned); two for IPv6 addresses, upper half first;
  // for port bitmaps ports 0-63, 64-127 and so on. For range checks bit n of the mask says that the
  // rule uses the checker with id n+1, and of the value that its answer must be yes. IpType and
  // IpFrag hold their enumerator, with an all-ones mask.
  std::vector< U64 > value;
  std::vector< U64 > mask;
  friend bool operator==( const QualifierView &, const QualifierView & ) = default;
};

struct ActionView {
  bcm_field_action_t action = bcmFieldActionPermit;
  U32 param0 = 0;
  U32 param1 = 0;
  bcm_pbmp_t ports = {};  // of RedirectPbmp, EgressMask and MirrorPbmp; otherwise empty
  friend bool operator==( const ActionView &, const ActionView & ) = default;
};

// A data qualifier of a rule; both as many bytes as the qualifier is long.
struct DataMatchView {
  U32 id = 0;
  std::vector< U8 > value;  // reduced to the mask
  std::vector< U8 > mask;
  friend bool operator==( const DataMatchView &, const DataMatchView & ) = default;
};

// Qualifiers in ascending order of their numbers, actions in the order in which they were added.
struct RuleView {
  std::vector< QualifierView > qualifiers;
  std::vector< DataMatchView > data;  // by id
  std::vector< ActionView > actions;
  friend bool operator==( const RuleView &, const RuleView & ) = default;
};

struct EntryView {
  U32 id = 0;
  U32 group = 0;  // group id with its instance bits
  U32 priority = 0;
  bool installed = false;
  bool enabled = true;
  U32 stat = 0;        // attached statistics object; 0: none
  U32 policer = 0;     // attached policer; 0: none
  RuleView pending;    // as qualified now; what the next install takes
  RuleView effective;  // as installed last; empty while not installed
  U32 slice = 0;       // number of the slice in the stage instance
  U32 row = 0;         // physical row in that slice
  U32 position = 0;    // place among the group's rows in matching order, 0 first
};

struct GroupView {
  U32 id = 0;  // with its instance bits
  StageKind stage = StageKind::ifp;
  U32 pipe = 0;  // of the instance; 0 where the stage has one instance
  U32 copy = 0;
  S32 priority = 0;
  U32 flags = 0;
  bcm_field_qset_t qset = {};
  bcm_pbmp_t ports = {};  // counts only with BCM_FIELD_GROUP_CREATE_WITH_PORT
  bcm_field_presel_set_t preselset = {};
  U32 keyBits = 0;             // sum of the qualifiers' costs
  U32 rowsPerSlice = 0;        // entries that its first slice holds in the group's wide mode
  std::vector< U32 > data;     // ids of its data qualifiers, by id
  std::vector< U32 > slices;   // in matching order; of a pair the even one
  std::vector< U32 > entries;  // entry ids in matching order, first match first
};

struct StatView {
  U32 id = 0;
  StageKind stage = StageKind::ifp;
  U32 pipe = 0;
  U32 copy = 0;
  U32 owner = 0;  // entry that it is attached to; 0: none
  std::vector< std::pair< bcm_field_stat_t, U64 > > values;  // by type
};

struct PreselView {
  U32 id = 0;
  std::optional< bcm_field_stage_t > stage;  // absent: not qualified on a stage
  bool sourceQualified = false;              // the three fields below count
  bcm_pbmp_t ports = {};
  U32 classData = 0;
  U32 classMask = 0;
  U32 users = 0;  // groups that answer to it
};

struct RangeView {
  U32 id = 0;
  U32 flags = 0;
  U32 low = 0;
  U32 high = 0;
  std::vector< U32 > entries;  // by id: those whose rule uses it, as it stands or as installed
};

struct PolicerView {
  U32 id = 0;  // with its pipe bits
  bcm_policer_config_t config = {};
  std::vector< U32 > entries;  // that it is attached to, by id
};

struct DataQualifierView {
  bcm_field_data_qualifier_s record = {};                 // as created, with its id
  std::vector< bcm_field_data_packet_format_s > formats;  // in the order in which they were added
  std::vector< bcm_field_data_ethertype_s > etherTypes;
  U32 groups = 0;  // that match on it, each pipe and copy for itself
};

// Sums of one stage instance.
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
  U64 moves = 0;  // rows moved since the unit was reset: by inserts, priorities and compression
};

// One slice of a stage instance, and what stands in its rows. A row holds one entry: of a
// double-wide slice it is two of the chip's, of a pair the same row of both slices.
struct SliceView {
  StageKind stage = StageKind::ifp;
  U32 pipe = 0;
  U32 copy = 0;
  U32 number = 0;
  U32 depth = 0;    // rows in single mode
  U32 keyBits = 0;  // width of a row in single mode
  bool large = false;
  std::optional< U32 > group = {};    // that owns it, with its instance bits; absent: free
  WideMode mode = WideMode::single;   // in which that group uses it
  U32 rows = 0;                       // in that mode
  std::map< U32, U32 > entries = {};  // entry ids by row; the slices of a pair show the same
};

struct ControlsView {
  std::map< int, U32 > controls;                        // by bcm_field_control_t
  std::map< std::pair< U32, int >, int > portControls;  // by port and bcm_port_control_t
};

}  // namespace SoftAsic
