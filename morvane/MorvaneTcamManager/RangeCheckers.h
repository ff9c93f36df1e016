// The shared range checkers of one unit. Internal.
//
// Keeps the group manager's rangeChecker collection: per interval and flags, the hardware id and
// the number of users on each unit. A checker exists in hardware exactly while it has users.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

class RangeCheckers {
 public:
  RangeCheckers( MorvaneTcamGroupManager & manager, U32 unit )
      : manager_( manager ), unit_( unit ) {}

  // As the group manager's getRangeChecker and releaseRangeChecker.
  U32 get( const RangeCheckerDesc & desc );
  void release( const RangeCheckerDesc & desc );

 private:
  U32 create( const RangeCheckerDesc & desc, RangeCheckerData & data );

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
};

}  // namespace Morvane
