// Whether access lists fit a platform, what they take of it and what binds.
//
// The lists are programmed on a new switch in order, as a run does, so that the chip itself says
// no. A list that does not fit is left out, and those after it are tried without it.
//
// Locking: call with the activity lock held.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/feature/AclTable.h"
#include "agent/feature/RangeChoice.h"

namespace Agent {

// A resource of the chip or of a share.
struct ResourceUse {
  std::string name;
  U64 used = 0;
  U64 total = 0;
  std::string holders;  // lists and users; empty: nobody
};

struct ListVerdict {
  const Acl * acl = nullptr;
  // Why the platform cannot hold the list however much room there is; empty: it can.
  std::string fault;
  U64 needed = 0;                         // entries
  AclRoom room;                           // before the list
  std::optional< AclShortage > shortage;  // with AclShortage::fitting; empty: it fits
  std::string binding;                    // what ran out; empty: it fits
  std::optional< U64 > shortBy;           // of this; empty: not a number
  std::vector< std::string > remedies;    // each of which would make it fit

  bool fits() const { return fault.empty() && !shortage; }
};

struct FitReport {
  std::string platform;
  std::string description;
  std::vector< ListVerdict > lists;
  // At the first shortage, before the list that ran out is rolled back; otherwise with all lists.
  std::vector< ResourceUse > resources;
  std::string fullAt;  // name of that list; empty: all lists fit

  bool fits() const;
};

// `acls` must outlive the result. `onRule`: called after each rule that is programmed.
FitReport fitLists( const Platform::PlatformData & platform, const std::vector< Acl > & acls,
                    PortMethod method, const std::function< void() > & onRule = {} );

}  // namespace Agent
