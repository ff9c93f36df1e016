// Base of an entry manager's topics: the user, its group manager, and the records of one unit.
// Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

class EntryTopic {
 protected:
  // At the start of an operation. Keeps the records: an observer may delete the member.
  EntryTopic( MorvaneTcamEntryManager & user, U32 unit )
      : user_( user ),
        groups_( *user.groupManager() ),
        entries_( user.unitEntries( unit ).get() ),
        unit_( unit ),
        kept_( entries_ ) {}
  // A topic that another one uses, which keeps the records.
  EntryTopic( const EntryTopic & outer )
      : user_( outer.user_ ),
        groups_( outer.groups_ ),
        entries_( outer.entries_ ),
        unit_( outer.unit_ ) {}
  EntryTopic & operator=( const EntryTopic & ) = delete;

  UnitEntriesCreated & entries() const { return *entries_; }
  PipeCopies copies() const { return user_.copies( unit_ ); }

  MorvaneTcamEntryManager & user_;
  MorvaneTcamGroupManager & groups_;
  UnitEntriesCreated * const entries_;
  const U32 unit_;

 private:
  const Kiv::Ptr< UnitEntriesCreated > kept_;
};

}  // namespace Morvane
