// Library reports of TCAM usage.
#pragma once

#include <string>

#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"

namespace Agent {

using namespace Kiv::Integers;

enum class UsageView { none, summary, detail, raw, banks, entry, groupDump, entryDump, capacity };

struct UsageRequest {
  UsageView view = UsageView::none;
  U32 id = 0;  // of the group or hardware entry shown
};

// Parses "summary", "detail", "raw", "banks", "capacity", "entry:ID", "group-dump:ID" or
// "entry-dump:ID", ID decimal or with 0x. Throws UsageError for anything else and for an unknown
// group.
UsageRequest usageRequest( const std::string & text, const Platform::PlatformData & platform );

// Throws UsageError if the requested entry is not on the chip.
void requireEntry( const Morvane::MorvaneTcamGroupManager & manager, U32 unit,
                   const UsageRequest & request );

// The library's report of a unit, or the chip's dumps of every copy. Empty if none is requested and
// for `capacity`, which the run reports. `name`: name of the switch.
std::string usageText( Morvane::MorvaneTcamGroupManager & manager, const std::string & name,
                       U32 unit, const UsageRequest & request );

}  // namespace Agent
