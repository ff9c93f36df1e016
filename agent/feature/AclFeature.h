// The ACL feature: programs access lists into the TCAM through the library.
//
// A list's kind, use and direction select its share (AclShares.h). The lists of one share form one
// table, earlier lists first (AclTable.h). The library's group order decides between tables.
//
// Invariants: a list is programmed completely or not at all; one that does not fit leaves chip and
// records unchanged.
//
// Order of calls: addAcl for each list; addDefault, if used, after the last; clear before the
// library is shut down or its SDK re-initialised.
//
// Locking: call with the activity lock held; the library and the SDK calls drop it.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "agent/feature/AclTable.h"

namespace Agent {

// What AclFeature::replaceAcls did.
struct AclChange {
  std::optional< AclShortage > shortage;  // why it is not done
  EditCounts counts;
};

class AclFeature {
 public:
  // `platform` must outlive the feature.
  AclFeature( Morvane::MorvaneTcamGroupManager & groupManager, U32 unit,
              const Platform::PlatformData & platform, RangeChoice choice );

  // Called before a user-defined field is added to a group (AclTable).
  void onFieldIs( std::function< void() > onField ) { onField_ = std::move( onField ); }
  // Called after each rule that is programmed.
  void onRuleIs( std::function< void() > onRule ) { onRule_ = std::move( onRule ); }

  // Determines how much of a list fits that does not (AclShortage::fitting).
  void wantFitting() { wantsFitting_ = true; }

  // What a list, which the platform must support, could get now.
  AclRoom room( const Acl & acl ) { return tableOf( classOf( acl ) ).table->room( acl ); }

  // Programs a list, which the platform must support (listFault) and which must outlive the
  // feature. Returns nothing if it fits; otherwise calls `whenFull` before rolling it back. Throws
  // Platform::InputError for a user-defined field that the group lacks.
  std::optional< AclShortage > addAcl( const Acl & acl,
                                       const std::function< void() > & whenFull = {} );
  // Programs the action, permit or drop, for packets that no rule matches, in each table of filter
  // lists whose last list does not state one, or in the IPv4 table for packets that enter if there
  // is none. Stops at the first that does not fit.
  std::optional< AclResource > addDefault( Forwarding action );
  // Replaces all lists by others, entry by entry (AclTable::replace), and the default action. Those
  // of both keep their entries and counters. All of them fit, or nothing changes. The platform must
  // support them together (listFault); they must outlive the feature or the next replacement, and
  // the old ones this call. Not after addAcl and addDefault; follow it only with itself, queries,
  // refillPolicers() and clear().
  AclChange replaceAcls( const std::vector< Acl > & acls, Forwarding rest );
  // Resets all policers to full buckets.
  void refillPolicers();
  // Releases everything.
  void clear();

  // Why a list does not fit, or was lost later; lists are counted in the order of addAcl.
  const std::optional< AclShortage > & shortage( U32 acl ) const { return shortages_[ acl ]; }
  // Entries of addDefault.
  U32 defaultEntries() const;
  // Reference policy of the lists that fit.
  const Policy & policy() const { return policy_; }
  // The rule that an entry implements, its id with or without pipe and copy bits; empty for a
  // default action and if not an entry of this feature.
  std::optional< RuleIndex > ruleOf( U32 entryId ) const;
  // Null for a rule of a list that does not fit. The index after the last rule is the list's
  // default action.
  const ProgrammedRule * find( const RuleIndex & index ) const;
  // All 0 if the rule's list does not fit or has no statistics.
  RuleCounters counters( const RuleIndex & index );

 private:
  struct Table {
    ListClass lists;
    std::unique_ptr< AclTable > table;
    Forwarding rest = Forwarding::none;
    std::unique_ptr< Acl > restList = {};  // `rest` as the last list, of replaceAcls
  };
  // What a table gets in replaceAcls.
  struct Share {
    Table * table;
    std::vector< PolicyTable::List > lists;
    std::unique_ptr< Acl > restList;
  };

  std::vector< Share > sharesOf( const std::vector< Acl > & acls, Forwarding rest );
  bool replaceFrom( std::vector< Share > & shares, size_t at, AclChange & change );
  Table & tableOf( const ListClass & lists );
  void rebuildPolicy();

  Morvane::MorvaneTcamGroupManager & groupManager_;
  const U32 unit_;
  const Platform::PlatformData & platform_;
  const RangeChoice choice_;
  U32 policersLeft_;
  std::vector< Table > tables_;
  std::vector< const Acl * > acls_;
  std::vector< std::optional< AclShortage > > shortages_;  // by list
  Policy policy_;
  std::function< void() > onRule_;
  std::function< void() > onField_;
  bool wantsFitting_ = false;
};

}  // namespace Agent
