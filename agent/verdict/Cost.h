// What access lists cost on a platform: entries, with the reasons, and range checkers.
//
// Computed from the lists and the platform alone, so that it is known also for lists that do not
// fit. Lists are taken in the order in which they would be programmed.
#pragma once

#include <string>
#include <vector>

#include "agent/acl/Policy.h"
#include "agent/verdict/CheckerModel.h"

namespace Agent {

struct RuleCost {
  U64 entries = 0;
  U64 expanded = 0;        // entries with all ranges by prefixes
  std::string reason;      // why there are several; empty: there is one
  RangeCheckers checkers;  // from 1; 0: none
};

struct ListCost {
  const Acl * acl = nullptr;
  U64 entries = 0;
  U64 expanded = 0;
  U64 policers = 0;
  U64 userFields = 0;             // different user-defined fields
  std::vector< RuleCost > rules;  // and the default action's, if there is one
};

struct RangeCost {
  PlacedRange range;
  U32 checker = 0;                 // from 1; 0: by prefixes
  U64 saves = 0;                   // entries, against prefixes, with all other checkers as they are
  std::vector< RuleIndex > rules;  // with the range
};

struct CostReport {
  std::vector< ListCost > lists;
  std::vector< RangeCost > ranges;  // those that save most first
  U32 checkers = 0;                 // that the chip has
  bool tooFewCheckers = false;      // PortMethod::checkers, and more are needed
};

// The platform must support the lists (listFault), which must outlive the result.
CostReport costOf( const Platform::PlatformData & platform, const std::vector< Acl > & acls,
                   const RangeChoice & choice );

// The cost of a list after others have taken `checkers`, to which its own are added. Without
// `reasons` these are left out.
ListCost listCost( const Platform::PlatformData & platform, const Acl & acl,
                   CheckerModel & checkers, bool reasons );

}  // namespace Agent
