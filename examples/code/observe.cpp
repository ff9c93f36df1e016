// Observers: code that runs when the library's state changes, without a poll and without a hook in
// the feature. All state is in attributes of entities, each with a callback.
#include <cstdio>

#include "ExampleSwitch.h"

namespace {

// The records of one feature on one unit.
struct EntryLog : Morvane::UnitEntriesCreated::Notifiee {
  explicit EntryLog( const Kiv::Ptr< Morvane::UnitEntriesCreated > & watched )
      : records( watched ) {
    notifierIs( Kiv::Ptr< const Kiv::Entity >( records ) );
  }
  // Runs after the change, inside the operation that made it.
  void onEntryCreated( Kiv::U32 entry ) override {
    if ( records->entryCreatedHas( entry ) )
      std::printf( "0x%x created: %s\n", entry, records->entryCreated( entry ).charPtr() );
    else
      std::printf( "0x%x released\n", entry );
  }
  void onEntryInstalled( Kiv::U32 entry ) override {
    const bool installed = records->entryInstalled( entry );
    std::printf( "0x%x is %s the lookup\n", entry, installed ? "in" : "not in" );
  }
  Kiv::Ptr< Morvane::UnitEntriesCreated > records;
};

// The hardware groups: one record for each pipe and copy.
struct GroupLog : Morvane::GroupCounts::Notifiee {
  explicit GroupLog( const Kiv::Ptr< Morvane::GroupCounts > & watched ) : counts( watched ) {
    notifierIs( Kiv::Ptr< const Kiv::Entity >( counts ) );
  }
  void onUnitAllocated( Kiv::U32 changed ) override {
    std::printf( "  the group has %u entries\n", counts->unitAllocated( changed ) );
  }
  Kiv::Ptr< Morvane::GroupCounts > counts;
};

}  // namespace

int main() {
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  ExampleSwitch sw;
  auto & acl = *sw.groups->entryManager( Morvane::ipAclTcamGroup );
  EntryLog entries( acl.internalUnitEntry( unit ) );

  const unsigned first = acl.getEntry( unit, acl.baseEntry(), "first rule" );
  GroupLog group( sw.groups->groupCounts( acl.group() ) );  // of pipe 0, copy 0
  acl.installEntry( unit, first );
  const unsigned second = acl.getEntry( unit, first + 1, "second rule" );
  acl.installEntry( unit, second );
  acl.removeEntry( unit, second );
  group.notifierIs( nullptr );  // observers may come and go at any time
  acl.releaseEntry( unit, second );
  acl.releaseEntry( unit, first );
  return 0;
}
