// The records of a user's entries on one unit, and the owners of entry ids. Internal.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"

namespace Morvane {

// Whether the entry is handed out on the unit of the records.
bool isTaken( const UnitEntriesCreated & records, U32 entry );
// Asserts that it is; whether it is installed.
bool assertTaken( const UnitEntriesCreated & records, U32 entry );

class EntryRecords : private EntryTopic {
 public:
  EntryRecords( MorvaneTcamEntryManager & user, U32 unit ) : EntryTopic( user, unit ) {}
  explicit EntryRecords( const EntryTopic & outer ) : EntryTopic( outer ) {}

  // Records an entry as handed out, not yet installed.
  void add( U32 entry, const Kiv::String8 & desc );
  void registerOwner( U32 entry );
  // Another user of the id on another unit becomes the owner, if there is one.
  void dropOwner( U32 entry );
  // The records other than owner and statistics.
  void dropRest( U32 entry );
  // All records of an entry.
  void forget( U32 entry );
};

}  // namespace Morvane
