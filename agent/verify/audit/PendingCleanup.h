// What a unit's unfinished cleanup says about the chip: objects that are still there although no
// record names them, and entries whose state is not settled. Internal to audit/.
#pragma once

#include <map>
#include <set>

#include "morvane/MorvaneTcamGroupManager.h"

namespace Audit {

using namespace Kiv::Integers;

struct PendingCleanup {
  PendingCleanup( const Morvane::MorvaneTcamGroupManager & manager, U32 unit );

  // Whether a step changes a hardware copy of the entry, or all of its copies.
  bool unsettled( U32 entryId ) const {
    return numbers.contains( Morvane::tcamNumberBits.get( entryId ) );
  }

  std::set< U32 > numbers;           // of entries that a step changes
  std::set< U32 > entries;           // to be destroyed
  std::map< U32, U32 > entriesLeft;  // by pipe group: how many of these it holds
  std::set< U32 > stats, groups, preselectors, ranges, policers, qualifiers;  // to be destroyed
  bool policersDiffer = false;  // a change of a policer is not undone in all pipes yet

 private:
  void add( const Morvane::CleanupStep & step );
  void addEntries( const Morvane::CleanupStep & step );
};

}  // namespace Audit
