// The access lists of one TCAM share.
//
// Lists are programmed in order, with ascending entry ids, so that earlier lists and rules match
// first.
//
// Invariants: a list is programmed completely or not at all; one that does not fit leaves chip and
// records unchanged. If the library rebuilds the group, which destroys its entries, the table
// programs all its lists again.
//
// Order of calls: addAcl for each list; addDefault, if used, after the last; clear before the
// library is shut down or its SDK re-initialised.
//
// Locking: call with the activity lock held; the library and the SDK calls drop it.
#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/acl/Policy.h"
#include "agent/feature/AclCompiler.h"
#include "agent/feature/AclShares.h"
#include "agent/feature/GroupFields.h"
#include "agent/feature/RuleResources.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"

namespace Agent {

// The resource that an access list ran out of.
enum class AclResource {
  entries,        // no entry id left in the share
  slices,         // group full and no free slice
  statistics,     // no counters left for an entry
  rangeCheckers,  // a range requires a checker, and none is left
  policers,       // no policer left
  udfQualifiers,  // no chunk or packet format left for a user-defined field
  keyBits,        // the group's slices are too narrow for its key with one more such field
};
const char * resourceName( AclResource resource );

// The first rule that does not fit.
struct AclShortage {
  U32 rule = 0;  // index in the list; its size: the default action
  AclResource resource = AclResource::entries;
  // Leading rules of the list that fit, with its default action; only if it is wanted.
  U32 fitting = 0;
  U32 acl = 0;  // of a replacement: the list, by the index given
};

// Entries that a list could still get; the least of both.
struct AclRoom {
  U32 share = 0;  // that its share has left
  U32 chip = 0;   // that its group has free, in slices that it has or can take
  U32 entries() const { return std::min( share, chip ); }
};

// Counters of a rule over all its entries, pipes and copies; 0 if not counted.
struct RuleCounters {
  U64 packets = 0;
  U64 bytes = 0;
  // Of a policer.
  U64 conformedPackets = 0;
  U64 conformedBytes = 0;
  U64 droppedPackets = 0;
  U64 droppedBytes = 0;
};

// The rule that an entry implements; empty for the table's default action.
struct EntryOwner {
  std::optional< RuleIndex > rule;
  bool vacant = false;  // the entry was released, and others after it were not
};

// How lists are replaced by others.
enum class Replacement {
  makeBeforeBreak,  // all new rules are added after the old ones, which are removed then
  inPlace,          // rules of both stay; the others are added, then removed
  breakBeforeMake,  // rules of both stay; the others are removed, then added
};

// What a replacement did, in entries.
struct EditCounts {
  U32 kept = 0;
  U32 moved = 0;  // their priority changed
  U32 added = 0;
  U32 removed = 0;

  void add( const EditCounts & other ) {
    kept += other.kept;
    moved += other.moved;
    added += other.added;
    removed += other.removed;
  }
};

// A rule, or a list's default action, with its resources.
struct ProgrammedRule {
  const Acl * acl = nullptr;
  RuleIndex index;
  RangeCheckers checkers;
  std::optional< U32 > policer;
  std::vector< U32 > entries;  // relative to the table's first entry
  U32 fields = 0;              // user-defined fields that it holds
  // Of its first entry; the others follow. Empty: the library's, by entry id.
  std::optional< U32 > priority;

  const AclRule & rule() const { return acl->rule( index.rule ); }
  bool isDefault() const { return index.rule == acl->rules.size(); }
};

class AclTable {
 public:
  // The platform must have the share (shareOf) and support the lists (listFault), which are all
  // of the class. `policersLeft` counts the chip's free policers over all tables: the library
  // asserts if there is none. Both references must outlive the table.
  AclTable( Morvane::MorvaneTcamGroupManager & groupManager, U32 unit,
            const Platform::PlatformData & platform, const ListClass & lists,
            const RangeChoice & choice, U32 & policersLeft );

  // Determines how much of a list fits that does not (AclShortage::fitting).
  void wantFitting() { wantsFitting_ = true; }

  // Before a list is added.
  AclRoom room( const Acl & acl );

  // Called before a user-defined field is added to the group, which is lost if it does not fit.
  void onFieldIs( std::function< void() > onField ) { onField_ = std::move( onField ); }

  // Called after each rule.
  void onRuleIs( std::function< void() > onRule ) { onRule_ = std::move( onRule ); }

  // Programs a list after the present ones. `acl` must outlive the table; `index` identifies it.
  // Returns nothing if it fits; otherwise calls `whenFull` before rolling it back. Throws
  // Platform::InputError for a field that the group lacks.
  std::optional< AclShortage > addAcl( const Acl & acl, U32 index,
                                       const std::function< void() > & whenFull );
  // Replaces all lists by others of the class, which must be supported together; not after
  // addDefault. Packets meet the old lists or the new ones at any time, except with
  // Replacement::breakBeforeMake. Lists whose group depends on their rules (user-defined fields)
  // are programmed again as a whole if their rules differ. Returns nothing if it is done; otherwise
  // the table has the old lists, and with breakBeforeMake only those of their rules that are also
  // in the new ones. Call nothing but replace, queries and clear() afterwards.
  //
  // `others` is called while the table has the new rules beside the old ones. If it returns false,
  // the table has the old lists.
  std::optional< AclShortage > replace( const std::vector< PolicyTable::List > & lists,
                                        Replacement by, EditCounts & counts,
                                        const std::function< bool() > & others = {} );
  // Lists that were lost in a group rebuild since the last call.
  std::vector< std::pair< U32, AclShortage > > takeLost();
  // Programs what happens to packets of the kind that no list decides about: permit or drop.
  std::optional< AclResource > addDefault( Forwarding action );
  // True if the last list has a default action, so that the table needs none.
  bool isDecided() const;
  // Resets all policers to full buckets.
  void refillPolicers();
  // Releases entries, user-defined fields, policers and range checkers.
  void clear();

  AclKind kind() const { return kind_; }
  // Group of the entries, without pipe and copy bits.
  U32 group() const { return manager_->group(); }
  // Owner of an entry id, with or without pipe and copy bits; empty if not an entry of this table.
  std::optional< EntryOwner > ownerOf( U32 entryId ) const;
  // Null for a rule of a list that did not fit.
  const ProgrammedRule * find( const RuleIndex & index ) const;
  RuleCounters counters( const ProgrammedRule & rule );

 private:
  // Result of a step: done, out of resources, or group rebuilt, so that all rules must be repeated.
  struct Outcome {
    bool rebuilt = false;
    std::optional< AclResource > shortage = {};
    bool done() const { return !rebuilt && !shortage; }
  };
  using ListShortage = std::pair< U32, AclShortage >;
  class Edit;

  std::vector< PolicyTable::List > lists() const;
  std::optional< AclShortage > addAll( const std::vector< PolicyTable::List > & lists );
  std::optional< AclShortage > programAgain( const std::vector< PolicyTable::List > & lists,
                                             EditCounts & counts,
                                             const std::function< bool() > & others );
  std::optional< AclShortage > programAcl( const Acl & acl, U32 index );
  std::optional< AclResource > acquire( ProgrammedRule & rule );
  void releaseResources( ProgrammedRule & rule );
  std::optional< ListShortage > programRest();
  Outcome programRule( ProgrammedRule & rule );
  Outcome acquireFields( ProgrammedRule & rule );
  std::optional< AclResource > addEntries( ProgrammedRule & rule );
  std::optional< AclResource > addEntry( const Kiv::String8 & desc, const EntryOwner & owner,
                                         const Kiv::Ptr< Morvane::StatTypes > & statTypes,
                                         const std::function< void( U32 ) > & program );
  AclResource shortage();
  U32 fittingRules( const Acl & acl, U32 index );
  bool fitsAsLast( const Acl & acl, const RuleIndex & rule );
  void rollBack( U32 index );
  void dropList( U32 index );
  void dropLastRule();
  void forgetEntries();
  void unprogramLastRule();
  void unprogramAll();
  void releaseLastEntry();
  void vacate( U32 offset );
  U32 freeOffset() const;
  U32 priorityOf( const ProgrammedRule & rule ) const;
  U32 plannedEntries( const ProgrammedRule & rule ) const;
  void releaseIdleGroup();
  bool groupIsLive() const;
  void addColours( U32 entryId, RuleCounters & sum );

  Morvane::MorvaneTcamGroupManager & groupManager_;
  const U32 unit_;
  const AclKind kind_;
  const AclUse use_;
  const RangeChoice & choice_;
  const bool matchesRanges_;  // the group can match range checker results
  const PortKey portKey_;
  Kiv::Ptr< Morvane::MorvaneBoundedTcamEntryManager > manager_;
  GroupFields fields_;
  U32 & policersLeft_;
  std::vector< ProgrammedRule > rules_;  // of all lists, in order of precedence
  size_t programmed_ = 0;                // leading rules that have their entries
  bool groupRebuilt_ = false;            // rebuilt or lost while programming the current list
  std::vector< EntryOwner > owners_;     // by entry id, from the share's first on
  size_t vacant_ = 0;                    // of `owners_`
  std::vector< std::pair< U32, AclShortage > > lost_;
  std::function< void() > onRule_;
  std::function< void() > onField_;
  bool wantsFitting_ = false;
};

}  // namespace Agent
