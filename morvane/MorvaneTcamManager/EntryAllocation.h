// The allocator of every getEntry: one attempt to hand out one entry on one unit. Internal.
//
// A failed attempt leaves the group, the range, hardware entries, statistics, records and counters
// unchanged.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "morvane/MorvaneTcamManager/StatTypesList.h"

namespace Morvane {

class EntryAllocation : private EntryTopic {
 public:
  // `entry` is an entry id of the user's range, or anyEntry. `statTypes` null: packets and bytes.
  EntryAllocation( MorvaneTcamEntryManager & user, U32 unit, U32 entry, const Kiv::String8 & desc,
                   const Kiv::Ptr< StatTypes > & statTypes )
      : EntryTopic( user, unit ), entry_( entry ), desc_( desc ), statTypes_( statTypes ) {}

  // Returns the entry id, or 0 without room, when the rollback has already run. Otherwise the
  // rollback undoes the allocation until the caller commits it.
  U32 run( Rollback & rollback );

 private:
  bool prepare( Rollback & rollback );
  bool createCopies( Rollback & rollback );
  int createCopy( const PipeCopy & at, Rollback & rollback );
  void refuse( const PipeCopy & at, int rc );
  void record( Rollback & rollback );
  bool attachStats( Rollback & rollback );
  void loseRangeEntry();
  void handOver();

  U32 entry_;  // the chosen id, once the SDK has chosen one
  const Kiv::String8 & desc_;
  const Kiv::Ptr< StatTypes > & statTypes_;
  bool madeRange_ = false;  // by this attempt
};

// Start-up of a user on one unit: its records, and its range if it is created at start-up.
class EntryStart {
 public:
  EntryStart( MorvaneTcamEntryManager & user, U32 unit ) : user_( user ), unit_( unit ) {}
  void run( Rollback & rollback );

 private:
  MorvaneTcamEntryManager & user_;
  const U32 unit_;
};

// Takes one more reference on the user's group, creating it and its multicast entry if need be.
// False, and the unit exhausted, when it does not fit.
bool acquireGroup( MorvaneTcamEntryManager & user, U32 unit, Rollback & rollback );

}  // namespace Morvane
