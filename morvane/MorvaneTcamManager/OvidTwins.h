// The twins of the outer-VLAN workaround (morvane/MorvaneOvidWarSm.h) of a user's entries on one
// unit. Internal.
//
// Keeps ovidTwin and ovidTwinIdle of the unit's records, and the map of VLANs with them.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class OvidTwins : private EntryTopic {
 public:
  OvidTwins( MorvaneTcamEntryManager & user, U32 unit ) : EntryTopic( user, unit ) {}
  explicit OvidTwins( const EntryTopic & outer ) : EntryTopic( outer ) {}

  // Writes the twin from the entry's current rule and installs it. `rollback` undoes a first
  // installation; null for a later one.
  void processOvidWarEntry( U32 entry, Rollback * rollback );
  // Writes the current untagged ports into the twin, if the entry has one in use.
  void rewrite( U32 entry );
  // The twin is no longer in use.
  void forget( U32 entry ) { tcamMgrUpdateOvidEntryMap( entry, {} ); }

 private:
  void tcamMgrUpdateOvidEntryMap( U32 entry, const OvidTwin & twin );
  OvidTwin read( U32 entry ) const;
  void installAs( U32 entry, const OvidTwin & twin, Rollback * rollback );
  bool groupMatchesVlan() const;
  EntryInPorts portsOf( const OvidTwin & twin ) const;
  void idleIs( U32 entry, bool idle, Rollback * rollback );
};

}  // namespace Morvane
