// Keeps access lists in the TCAM: the feature that uses the library as any other would.
//
// Each list goes into the share that its kind and use call for (AclShares.h); lists of one share
// are one table, earlier lists first (AclTable.h). Between tables the library's order of groups
// decides.
//
// Invariants: an access list is programmed whole or not at all; one that does not fit leaves chip
// and books as they were.
//
// Order of calls: addAcl for each access list; addDenyRest, if at all, after the last; clear before
// the library is taken down or its SDK re-initialised.
//
// Locks: called with the activity lock held, which the library and the SDK calls give up meanwhile.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "agent/AclTable.h"

namespace Agent {

class AclFeature {
 public:
  // `platform` must outlive the feature.
  AclFeature( Morvane::MorvaneTcamGroupManager & groupManager, U32 unit,
              const Platform::PlatformData & platform, PortMethod method );

  // Programs an access list, which the platform must serve (listFault) and which must outlive the
  // feature. Absent when it fits; when it does not, `whenFull` is called before it is rolled back.
  // Throws Platform::InputError for a user-defined field that the group lacks.
  std::optional< AclShortage > addAcl( const Acl & acl,
                                       const std::function< void() > & whenFull = {} );
  // Programs an entry that drops what no list permits, in each table of lists that filter; of IPv4
  // when there is none. Stops at the first that does not fit.
  std::optional< AclResource > addDenyRest();
  // Starts all policers anew, with full buckets.
  void refillPolicers();
  // Takes everything back.
  void clear();

  // Why a list, by the count of addAcl, does not fit; also for one that was lost later.
  const std::optional< AclShortage > & shortage( U32 acl ) const { return shortages_[ acl ]; }
  // Entries of addDenyRest.
  U32 denyEntries() const;
  // What the lists that fit mean.
  const Policy & policy() const { return policy_; }
  // Owner of an entry id, pipe and copy bits or not; absent for an entry that is not this
  // feature's.
  std::optional< EntryOwner > ownerOf( U32 entryId ) const;
  // Null for a rule of a list that does not fit.
  const ProgrammedRule * find( const RuleIndex & index ) const;
  // All 0 for a rule of a list that does not fit, and without statistics.
  RuleCounters counters( const RuleIndex & index );

 private:
  struct Table {
    AclKind kind;
    AclUse use;
    std::unique_ptr< AclTable > table;
    bool denyRest = false;
  };

  Table & tableOf( AclKind kind, AclUse use );
  void remakePolicy();

  Morvane::MorvaneTcamGroupManager & groupManager_;
  const U32 unit_;
  const Platform::PlatformData & platform_;
  const PortMethod method_;
  U32 policersLeft_;
  std::vector< Table > tables_;
  std::vector< const Acl * > acls_;
  std::vector< std::optional< AclShortage > > shortages_;  // by list
  Policy policy_;
};

}  // namespace Agent
