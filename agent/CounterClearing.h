// Clearing counters, as `--clear` asks for it.
#pragma once

#include <string>

#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"

namespace Agent {

using namespace Kiv::Integers;

struct ClearRequest {
  enum class What { entry, user, group, unit, all };
  What what = What::all;
  U32 id = 0;  // of the entry or the group
  Morvane::TcamGroupAssignment user = Morvane::stormControlTcamGroup;
  std::string text;  // as it was asked for
};

// From "entry:ID", "user:NAME", "group:ID", "unit" or "all". Throws UsageError for anything else,
// and for a group or a user that the platform lacks.
ClearRequest clearRequest( const std::string & text, const Platform::PlatformData & platform );

// Throws UsageError for an entry that nobody holds on the unit.
void requireHeld( const Morvane::MorvaneTcamGroupManager & manager, U32 unit,
                  const ClearRequest & request );

// Sets packets and bytes to 0, in every pipe and copy. The entry must be held.
void clearCounters( Morvane::MorvaneTcamGroupManager & manager, U32 unit,
                    const ClearRequest & request );

}  // namespace Agent
