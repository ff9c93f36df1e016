// Base of an entry manager's topics: the user, its group manager, and the records of one unit.
// Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

class EntryTopic {
 protected:
  EntryTopic( MorvaneTcamEntryManager & user, U32 unit )
      : user_( user ),
        groups_( *user.groupManager() ),
        entries_( user.unitEntries( unit ) ),
        unit_( unit ) {}

  UnitEntriesCreated & entries() const { return *entries_; }
  PipeCopies copies() const { return user_.copies( unit_ ); }

  MorvaneTcamEntryManager & user_;
  MorvaneTcamGroupManager & groups_;
  const Kiv::ValidPtr< UnitEntriesCreated > entries_;  // an observer may delete the member
  const U32 unit_;
};

}  // namespace Morvane
