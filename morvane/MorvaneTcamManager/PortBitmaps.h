// Input ports and loopback redirects of a user's entries on one unit. Internal.
//
// Keeps tcamEntryBcmPbmp, loopbackPortRedirectAction and outportsBcmPbmp, to be applied by the next
// installation, and entryInPorts and loopbackRedirect, which were applied.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class PortBitmaps : private EntryTopic {
 public:
  PortBitmaps( MorvaneTcamEntryManager & user, U32 unit ) : EntryTopic( user, unit ) {}
  explicit PortBitmaps( const EntryTopic & outer ) : EntryTopic( outer ) {}

  // As the manager's operations.
  void inPortsIs( U32 entry, const bcm_pbmp_t & data, const bcm_pbmp_t & mask, bool permanent );
  void inPortIs( U32 entry, U32 port, bool permanent );
  void dropTemporary( U32 entry );
  void loopbackIs( U32 entry, bcm_field_action_t action, const bcm_pbmp_t & outPorts );
  EntryInPorts read( U32 tcamEntryId ) const;

  // Qualifies a hardware copy on the entry's input ports, if it has a store.
  void apply( U32 entry, U32 tcamEntryId, Rollback & rollback );
  // Writes the redirect to its own pipe's loopback port into every copy and installs it: the
  // requested redirect, or the one in force, which copying pipe 0's rule has overwritten.
  // `rollback` undoes a first installation; null for a later one.
  void programLoopback( U32 entry, Rollback * rollback );
  // Drops stores that are applied only once.
  void dropApplied( U32 entry );

 private:
  // Action that the next installation adds; 0: none.
  U32 requestedLoopback( U32 entry ) const;
  LoopbackRedirect wantedLoopback( U32 entry ) const;
};

}  // namespace Morvane
