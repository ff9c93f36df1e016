// The allocator behind every getEntry: one attempt to hand out one entry on one unit.
//
// An attempt either ends with the entry recorded, counted and owned, or leaves everything as it was
// before: hardware entries on all pipes and copies, statistics, records and counters. Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

// Entries of one hardware slice; a group whose count falls below a multiple has freed a slice.
inline constexpr U32 sliceEntries = 128;

// More hardware copies than any entry has.
inline constexpr U32 allCopies = 0xFFFFFFFF;

class EntryAllocation {
 public:
  // `entry` is an entry id of the manager's range, or anyEntry.
  EntryAllocation( MorvaneTcamEntryManager & manager, U32 unit, U32 entry,
                   const Kiv::String8 & desc, const Kiv::Ptr< StatTypes > & statTypes );

  // The entry id, or 0 when there is no room.
  U32 run();

 private:
  bool createCopies();
  int createCopy( const PipeCopy & at );
  bool refused( const PipeCopy & at, int rc );
  void record();
  bool attachStats();
  U32 handOver();
  void undo();
  MorvaneTcamGroupManager & groups() const { return *manager_.groupManager(); }

  MorvaneTcamEntryManager & manager_;
  const Kiv::ValidPtr< UnitEntriesCreated > entries_;
  const U32 unit_;
  U32 entry_;  // the chosen id, once the SDK has chosen one
  const Kiv::String8 & desc_;
  const Kiv::Ptr< StatTypes > & statTypes_;
  // Hardware entries are made by this attempt, and not by the range that they belong to.
  bool creates_;
  U32 created_ = 0;  // hardware entries made so far
  bool recorded_ = false;
};

}  // namespace Morvane
