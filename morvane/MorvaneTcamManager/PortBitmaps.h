// Input ports and loopback redirects of a user's entries on one unit. Internal.
//
// Keeps tcamEntryBcmPbmp, loopbackPortRedirectAction and outportsBcmPbmp, which the next
// installation applies, and entryInPorts and loopbackRedirect, what was applied.
#pragma once

#include "morvane/MorvaneTcamManager/EntryTopic.h"
#include "morvane/MorvaneTcamManager/Rollback.h"

namespace Morvane {

class PortBitmaps : private EntryTopic {
 public:
  PortBitmaps( MorvaneTcamEntryManager & user, U32 unit ) : EntryTopic( user, unit ) {}

  // As the manager's operations.
  void inPortsIs( U32 entry, const bcm_pbmp_t & data, const bcm_pbmp_t & mask, bool permanent );
  void inPortIs( U32 entry, U32 port, bool permanent );
  void dropTemporary( U32 entry );
  void loopbackIs( U32 entry, bcm_field_action_t action, const bcm_pbmp_t & outPorts );
  EntryInPorts read( U32 tcamEntryId ) const;

  // Qualifies a hardware copy on the entry's input ports, if it has a store.
  void apply( U32 entry, U32 tcamEntryId, Rollback & rollback );
  // Gives every copy the redirect to its own pipe's loopback port, and installs it: the redirect
  // that is asked for, or the one in force, which a copy of pipe 0's rule has overwritten.
  // `rollback` undoes a first installation; null when the entry was installed before.
  void programLoopback( U32 entry, Rollback * rollback );
  // What an installation has applied once is not applied again.
  void dropApplied( U32 entry );

 private:
  // Action that the next installation adds; 0: none.
  U32 requestedLoopback( U32 entry ) const;
  LoopbackRedirect wantedLoopback( U32 entry ) const;
};

}  // namespace Morvane
