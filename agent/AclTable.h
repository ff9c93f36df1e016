// The access lists of one TCAM share.
//
// Lists go one after another into the share, their entries with rising ids in the order of the
// rules, so that earlier rules, and earlier lists, match first.
//
// Invariants: a list is programmed whole or not at all; one that does not fit leaves chip and books
// as they were. Where the library has to rebuild a group, whose entries are gone then, the table
// programs all its lists anew.
//
// Order of calls: addAcl for each list; addDenyRest, if at all, after the last; clear before the
// library is taken down or its SDK re-initialised.
//
// Locks: called with the activity lock held, which the library and the SDK calls give up meanwhile.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/AclCompiler.h"
#include "agent/BruteForce.h"
#include "agent/GroupFields.h"
#include "agent/RuleResources.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"

namespace Agent {

// What an access list ran out of.
enum class AclResource {
  entries,        // the share's entry ids are used up
  slices,         // the group has no room in the TCAM and gets no further slice
  statistics,     // entries could be had, but no counters for them
  rangeCheckers,  // a range must be matched by a checker, and none is left
  policers,       // the chip has no policer left
  udfQualifiers,  // a user-defined field cannot be had, or makes the group too wide
};
const char * resourceName( AclResource resource );

// Where an access list stopped fitting.
struct AclShortage {
  U32 rule = 0;  // index of the first rule that does not fit
  AclResource resource = AclResource::entries;
};

// Counters of a rule, over all its entries, pipes and copies. What the rule does not count is 0.
struct RuleCounters {
  U64 packets = 0;
  U64 bytes = 0;
  // Of a policer.
  U64 conformedPackets = 0;
  U64 conformedBytes = 0;
  U64 droppedPackets = 0;
  U64 droppedBytes = 0;
};

// Which rule an entry implements; absent for the entry that denies the rest.
struct EntryOwner {
  std::optional< RuleIndex > rule;
};

// A rule as it is programmed.
struct ProgrammedRule {
  const Acl * acl = nullptr;
  RuleIndex index;
  RangeCheckers checkers;
  std::optional< U32 > policer;
  U32 firstEntry = 0;  // counted from the table's first
  U32 fields = 0;      // how many of its user-defined fields it holds

  const AclRule & rule() const { return acl->rules[ index.rule ]; }
  U32 entries() const { return entriesOf( rule(), checkers ); }
};

class AclTable {
 public:
  // The platform has the share (shareOf), and serves the lists (listFault). All lists of a table
  // are of one kind and use. `policersLeft` counts the policers that the chip still has, for all
  // tables; the library takes their lack for a fault.
  AclTable( Morvane::MorvaneTcamGroupManager & groupManager, U32 unit,
            const Platform::PlatformData & platform, AclKind kind, AclUse use, PortMethod method,
            U32 & policersLeft );

  // Programs a list behind those that are there; `acl` must outlive the table, `index` identifies
  // it. Absent when it fits; when it does not, `whenFull` is called before it is rolled back.
  // Throws Platform::InputError for a field that the group lacks.
  std::optional< AclShortage > addAcl( const Acl & acl, U32 index,
                                       const std::function< void() > & whenFull );
  // Lists that fitted and were lost when the group was rebuilt, since the last call.
  std::vector< std::pair< U32, AclShortage > > takeLost();
  // Programs one entry that drops every packet of the kind that no list permits.
  std::optional< AclResource > addDenyRest();
  // Starts all policers anew, with full buckets.
  void refillPolicers();
  // Takes everything back: entries, user-defined fields, policers, range checkers.
  void clear();

  AclKind kind() const { return kind_; }
  // Group that the entries are in, without pipe and copy bits.
  U32 group() const { return manager_->group(); }
  // Owner of an entry id, pipe and copy bits or not; absent for an entry that is not this table's.
  std::optional< EntryOwner > ownerOf( U32 entryId ) const;
  // Null for a rule of a list that did not fit.
  const ProgrammedRule * find( const RuleIndex & index ) const;
  RuleCounters counters( const ProgrammedRule & rule );

 private:
  // How one step went: done, no room, or the group was rebuilt and everything is to be done again.
  struct Outcome {
    bool rebuilt = false;
    std::optional< AclResource > shortage = {};
    bool done() const { return !rebuilt && !shortage; }
  };
  using ListShortage = std::pair< U32, AclShortage >;

  std::optional< AclShortage > programAcl( const Acl & acl, U32 index );
  std::optional< AclResource > acquire( ProgrammedRule & rule );
  void giveBack( ProgrammedRule & rule );
  std::optional< ListShortage > programRest();
  Outcome programRule( ProgrammedRule & rule );
  Outcome takeFields( ProgrammedRule & rule );
  std::optional< AclResource > addEntries( ProgrammedRule & rule );
  std::optional< AclResource > addEntry( const Kiv::String8 & desc, const EntryOwner & owner,
                                         const Kiv::Ptr< Morvane::StatTypes > & statTypes,
                                         const std::function< void( U32 ) > & program );
  AclResource shortage();
  void rollBack( U32 index );
  void dropList( U32 index );
  void dropLastRule();
  void forgetEntries();
  void unprogramLastRule();
  void unprogramAll();
  void releaseLastEntry();
  void giveBackIdleGroup();
  bool groupIsLive() const;
  void addColours( U32 entryId, RuleCounters & sum );

  Morvane::MorvaneTcamGroupManager & groupManager_;
  const U32 unit_;
  const AclKind kind_;
  const PortMethod method_;
  const bool matchesRanges_;  // the group can match the result of range checkers
  Kiv::Ptr< Morvane::MorvaneBoundedTcamEntryManager > manager_;
  GroupFields fields_;
  U32 & policersLeft_;
  std::vector< ProgrammedRule > rules_;  // of all lists, in order of precedence
  size_t programmed_ = 0;                // rules at the front of these that have their entries
  bool disturbed_ = false;               // the group was rebuilt or lost since the list began
  std::vector< EntryOwner > owners_;     // by entry id, from the share's first on
  std::vector< std::pair< U32, AclShortage > > lost_;
};

}  // namespace Agent
