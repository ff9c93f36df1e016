// The records of the entries that a user has on one unit, and who owns an entry id. Internal.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"

namespace Morvane {

class EntryRecords : private EntryTopic {
 public:
  EntryRecords( MorvaneTcamEntryManager & user, U32 unit ) : EntryTopic( user, unit ) {}

  bool isTaken( U32 entry ) const;
  // The entry is handed out, not yet installed.
  void add( U32 entry, const Kiv::String8 & desc );
  void registerOwner( U32 entry );
  // The owner is another user of the id on another unit, if there is one.
  void dropOwner( U32 entry );
  // What is left when owner and statistics have been dropped.
  void dropRest( U32 entry );
  // Every record that an entry can have.
  void forget( U32 entry );
};

}  // namespace Morvane
