// Keeps IPv4 access lists in the TCAM: the feature that uses the library as any other would.
//
// Access lists go one after another into the share of ipAclTcamGroup, their entries with rising ids
// in the order of the rules, so that earlier rules, and earlier access lists, match first.
//
// Invariants: an access list is programmed whole or not at all; one that does not fit leaves chip
// and books as they were.
//
// Order of calls: addAcl for each access list; addDenyRest, if at all, after the last.
//
// Locks: called with the activity lock held, which the library and the SDK calls give up meanwhile.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/AclCompiler.h"
#include "agent/BruteForce.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"

namespace Agent {

// What an access list ran out of.
enum class AclResource {
  entries,     // the share's entry ids are used up
  slices,      // the group has no room in the TCAM and gets no further slice
  statistics,  // entries could be had, but no counters for them
};
const char * resourceName( AclResource resource );

// Where an access list stopped fitting.
struct AclShortage {
  U32 rule = 0;  // index of the first rule that does not fit
  AclResource resource = AclResource::entries;
};

// Counters of a rule, over all its entries, pipes and copies.
struct RuleCounters {
  U64 packets = 0;
  U64 bytes = 0;
};

// Which rule an entry implements; absent for the entry that denies the rest.
struct EntryOwner {
  std::optional< RuleIndex > rule;
};

class AclFeature {
 public:
  // The manager must have a bounded share for ipAclTcamGroup (platformFault).
  AclFeature( Morvane::MorvaneTcamGroupManager & groupManager, U32 unit );

  // Why the feature cannot run on a platform; empty when it can.
  static std::string platformFault( const Platform::PlatformData & platform );

  // Programs an access list. `compiled` is compileAcl( acl ). Absent when it fits.
  std::optional< AclShortage > addAcl( const Acl & acl, const CompiledAcl & compiled );
  // Programs one entry that drops every IPv4 packet that no access list permits.
  std::optional< AclResource > addDenyRest();

  // Group that the entries are in, without pipe and copy bits.
  U32 group() const { return manager_->group(); }
  // Owner of an entry id, pipe and copy bits or not; absent for an entry that is not this
  // feature's.
  std::optional< EntryOwner > ownerOf( U32 entryId ) const;
  // `acl` counts the calls of addAcl. All 0 for a list that did not fit, and without statistics.
  RuleCounters counters( const RuleIndex & index );

 private:
  // The entries of one rule.
  struct RuleEntries {
    U32 first = 0;
    U32 count = 0;
  };

  std::optional< AclResource > addEntry( const EntryMatch & match, bcm_field_action_t action,
                                         const Kiv::String8 & desc, const EntryOwner & owner );
  std::optional< AclResource > addRule( const std::vector< EntryMatch > & entries,
                                        const Kiv::String8 & desc, const RuleIndex & index );
  void rollBack( U32 firstEntry );
  AclResource shortage();
  void qualify( U32 entryId, const EntryMatch & match );
  void qualifyL4( U32 entryId, const EntryMatch & match );

  Morvane::MorvaneTcamGroupManager & groupManager_;
  Kiv::Ptr< Morvane::MorvaneBoundedTcamEntryManager > manager_;
  const U32 unit_;
  std::vector< EntryOwner > owners_;  // by entry id, from the share's first on
  std::vector< std::vector< RuleEntries > > acls_;
};

}  // namespace Agent
