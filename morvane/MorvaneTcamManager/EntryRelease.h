// Releasing entries: the steps of the allocation in reverse order. Internal.
//
// The records are removed first: owner, statistics, pipe groups, the entry itself. Then the
// hardware follows, the last pipe and copy first, so that an id which the SDK hands out again is
// never still in the records.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class EntryRelease : private EntryTopic {
 public:
  EntryRelease( MorvaneTcamEntryManager & user, U32 unit, Release & release )
      : EntryTopic( user, unit ), release_( release ) {}
  // Room may have come back, whatever the hardware said of the release.
  ~EntryRelease();
  EntryRelease( const EntryRelease & ) = delete;
  EntryRelease & operator=( const EntryRelease & ) = delete;

  // Each removes records, and adds what the hardware loses to the release.
  // One entry, which must be handed out (assertion).
  void drop( U32 entry );
  // What a user without entries does not need: the multicast entry, a chunk, and the group's
  // references but that of a range that is kept.
  void dropIdle();
  // Every entry, and the range; the group's references stay.
  void dropAll();
  // The range alone.
  void dropRange();

 private:
  void dropStats( const SmallList< PipeCopy, 8 > & all, U32 entry );
  void enableCopies( const SmallList< PipeCopy, 8 > & all, U32 entry );

  Release & release_;
  bool sliceFreed_ = false;
  bool freed_ = false;
};

}  // namespace Morvane
