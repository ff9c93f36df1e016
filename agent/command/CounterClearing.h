// Clears counters for `--clear`.
#pragma once

#include <string>

#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"

namespace Agent {

using namespace Kiv::Integers;

struct ClearRequest {
  enum class What { entry, user, group, unit, all };
  What what = What::all;
  U32 id = 0;  // of entry or group
  Morvane::TcamGroupAssignment user = Morvane::stormControlTcamGroup;
  std::string text;  // as given
};

// Parses "entry:ID", "user:NAME", "group:ID", "unit" or "all". Throws UsageError for anything else
// and for an unknown group or user.
ClearRequest clearRequest( const std::string & text, const Platform::PlatformData & platform );

// Throws UsageError if the entry is not allocated on the unit.
void requireHeld( const Morvane::MorvaneTcamGroupManager & manager, U32 unit,
                  const ClearRequest & request );

// Clears packets and bytes in every pipe and copy. The entry must be allocated.
void clearCounters( Morvane::MorvaneTcamGroupManager & manager, U32 unit,
                    const ClearRequest & request );

}  // namespace Agent
