// The statistics objects of a user's entries on one unit, one per hardware copy. Internal.
//
// Keeps entryStats and statTypes of the unit's records.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "morvane/MorvaneTcamManager/StatTypesList.h"

namespace Morvane {

class EntryStats : private EntryTopic {
 public:
  EntryStats( MorvaneTcamEntryManager & user, U32 unit ) : EntryTopic( user, unit ) {}
  explicit EntryStats( const EntryTopic & outer ) : EntryTopic( outer ) {}

  // Creates, attaches and records an object. Returns its id, or 0 when the ASIC has none left.
  U32 install( U32 groupId, U32 entryId, const StatTypesList & list, Rollback & rollback );
  // Removes the records of a hardware copy and adds the hardware steps to `release`.
  void drop( U32 entryId, Release & release );
  // The records alone.
  void forget( U32 entryId );

  // Packets and bytes of a hardware copy; the sum of the colours if it counts by colour only.
  // Asserts that it has statistics.
  U64 packets( U32 pipeEntry ) const;
  U64 bytes( U32 pipeEntry ) const;
  U64 greenPackets( U32 pipeEntry ) const;
  U64 greenBytes( U32 pipeEntry ) const;
  U64 yellowPackets( U32 pipeEntry ) const;
  U64 yellowBytes( U32 pipeEntry ) const;
  U64 redPackets( U32 pipeEntry ) const;
  U64 redBytes( U32 pipeEntry ) const;

  // Set counters of every copy with statistics to 0.
  void clearPackets( U32 entry );
  void clearBytes( U32 entry );
  // The yellow counters, which the two above leave.
  void clearYellow( U32 entry );
  // Returns the id of the copy's statistics; asserts that it has any.
  U32 idOf( U32 pipeEntry ) const;

 private:
  bool counts( U32 pipeEntry, U32 type ) const;
  U64 packetsByColour( U32 pipeEntry ) const;
  U64 bytesByColour( U32 pipeEntry ) const;
};

}  // namespace Morvane
