// Releasing entries: the steps of the allocation in reverse order. Internal.
//
// The records are removed first: owner, statistics, pipe groups, the entry itself. Then the
// hardware, last pipe and copy first. An id that the SDK hands out again is thus never still in the
// records.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class EntryRelease : private EntryTopic {
 public:
  EntryRelease( MorvaneTcamEntryManager & user, U32 unit, Release & release )
      : EntryTopic( user, unit ), release_( release ) {}
  // Updates the exhausted marks, even when a hardware step threw.
  ~EntryRelease();
  EntryRelease( const EntryRelease & ) = delete;
  EntryRelease & operator=( const EntryRelease & ) = delete;

  // Remove records and add the hardware steps to the release.
  // One entry; asserts that it is handed out.
  void drop( U32 entry );
  // For a user without entries: the multicast entry, a chunk, and the group's references except
  // that of a range that stays.
  void dropIdle();
  // Every entry and the range; the group's references stay.
  void dropAll();
  // The range alone.
  void dropRange();

 private:
  void dropStats( const CopiesBackwards & all, U32 entry );
  void enableCopies( const CopiesBackwards & all, U32 entry );

  Release & release_;
  bool sliceFreed_ = false;
  bool freed_ = false;
};

}  // namespace Morvane
