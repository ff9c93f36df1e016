// One operation of the TCAM manager at a time.
//
// The activity lock is dropped around every SDK call, so a second activity can run in the middle of
// an operation. Every public operation that makes SDK calls, or relies on records across one,
// therefore starts with an Operation: at most one activity is inside, and sees only its own records
// and those of completed operations.
//
//   U32 MorvaneTcamGroupManager::getRangeChecker( U32 unit, RangeCheckerDesc desc ) {
//     const Operation operation( *this, unit );
//     ...
//   }
//
// Invariants: an activity that arrives while another is inside waits without using the processor,
// with the activity lock dropped, first come, first served. Operations nest: observers run inside
// the operation that they observe. The unit's unfinished cleanup (morvane/UnitCleanup.h) runs
// before an operation starts.
//
// Functions that only read records take no Operation. Reports, polls and the clearing of counters
// take one per group or entry, so that others need not wait for all of it.
//
// Failure: an operation from inside an SDK call, on the same thread, would see records that do not
// match the hardware yet: assertion. An entry manager that no group manager holds, and a group
// manager before its start-up: assertion. Throws Kiv::InternalException when the caller does not
// hold the activity lock, and whatever the unfinished cleanup throws; the operation has not begun
// then. A release begins before the cleanup, and has happened even if it throws.
//
// Cost: an uncontended operation takes a few nanoseconds and makes no system call.
#pragma once

#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/Ptr.h"
#include "kiv/Types.h"

namespace Morvane {

using namespace Kiv::Integers;

class MorvaneTcamEntryManager;
class MorvaneTcamGroupManager;

class KIV_API Operation {
 public:
  // When the unit's unfinished cleanup is done. A release does it together with its own hardware
  // steps, so that it happens even if the cleanup fails again.
  enum class Cleanup { first, withRelease };

  // On one unit.
  Operation( const MorvaneTcamGroupManager & manager, U32 unit, Cleanup cleanup = Cleanup::first );
  Operation( const MorvaneTcamEntryManager & manager, U32 unit, Cleanup cleanup = Cleanup::first );
  // On all units: start-up, re-initialisation and finishing the cleanup. Does no cleanup itself,
  // and allows a manager that has not started.
  explicit Operation( const MorvaneTcamGroupManager & manager );
  ~Operation();
  Operation( const Operation & ) = delete;
  Operation & operator=( const Operation & ) = delete;

  // Number of waiting activities; call it with the activity lock held.
  static U32 waiting();

 private:
  struct Inside {};
  // Begins to be inside, or to be inside once more. The others build on it, so that one that throws
  // ends that.
  [[gnu::always_inline]] inline Operation( Inside, const Kiv::Entity & object );
  void wait( const Kiv::Entity & object );

  Kiv::Ptr< const Kiv::Entity > kept_;  // the object, during and after a wait
};

}  // namespace Morvane
