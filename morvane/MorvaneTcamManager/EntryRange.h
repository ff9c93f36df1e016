// The range of a user whose entries are created all at once, and the free room. Internal.
//
// Keeps rangeCreated and rangeEntryMissing of the unit's records.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

// Entries of one hardware slice; a group whose count falls below a multiple has freed a slice.
inline constexpr U32 sliceEntries = 128;

// Subtracts hardware entries of a group copy; returns whether a slice came free.
bool uncountEntries( GroupCounts & counts, U32 unit, U32 howMany );

// Asserts that the user's entries are created all at once.
void assertHasRange( const MorvaneTcamEntryManager & user );

class EntryRange : private EntryTopic {
 public:
  EntryRange( MorvaneTcamEntryManager & user, U32 unit ) : EntryTopic( user, unit ) {}
  explicit EntryRange( const EntryTopic & outer ) : EntryTopic( outer ) {}

  // Creates every entry of the range. False, and the unit exhausted, when it does not fit.
  bool create( Rollback & rollback );
  // Removes the range from the records and adds its entries to `release`. Returns whether a slice
  // comes free.
  bool drop( Release & release );
  // As the manager's entriesAvailable.
  U32 available();

 private:
  void createEntry( U32 entry, Rollback & rollback );
  U32 dropCopy( const PipeCopy & at, Release & release );
  U32 roomFor( U32 range );

  U32 size() const { return user_.endEntry() - user_.baseEntry(); }
};

}  // namespace Morvane
