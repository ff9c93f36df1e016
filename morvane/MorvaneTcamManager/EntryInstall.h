// Writes an entry's rule, state and priority into every pipe and copy. Internal.
//
// Keeps entryInstalled and entryDisabled of the unit's records.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class EntryInstall : private EntryTopic {
 public:
  EntryInstall( MorvaneTcamEntryManager & user, U32 unit ) : EntryTopic( user, unit ) {}
  explicit EntryInstall( const EntryTopic & outer ) : EntryTopic( outer ) {}

  // As the manager's operations of these names.
  void install( U32 entry );
  void remove( U32 entry );
  void enable( U32 entry, bool enable, int toleratedRc );
  void setPriority( U32 entry, U32 priority );
  void compress();

  // Completes an installation that failed after the first copy had the new rule.
  void reinstallCopies( U32 entry );
  // Sets the priority of every copy; invalidPrio means the default. Without a rollback the caller
  // undoes the whole entry.
  void writePriority( U32 entry, U32 priority, Rollback * rollback );

 private:
  void writeCopies( U32 entry, Rollback & rollback, bool wasInstalled );
  void writeCopy( U32 entry, const PipeCopy & at, Rollback & rollback, bool wasInstalled );
};

}  // namespace Morvane
