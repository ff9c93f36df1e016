// What the library itself reports of the TCAM, on request.
#pragma once

#include <string>

#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"

namespace Agent {

using namespace Kiv::Integers;

enum class UsageView { none, summary, detail, raw, banks, entry, groupDump, entryDump, capacity };

struct UsageRequest {
  UsageView view = UsageView::none;
  U32 id = 0;  // of the group or the hardware entry that the view is about
};

// From "summary", "detail", "raw", "banks", "capacity", "entry:ID", "group-dump:ID" or
// "entry-dump:ID", ID decimal or with 0x. Throws UsageError for anything else, and for a group that
// the platform lacks.
UsageRequest usageRequest( const std::string & text, const Platform::PlatformData & platform );

// Throws UsageError when the chip has no entry that the report is about.
void requireEntry( const Morvane::MorvaneTcamGroupManager & manager, U32 unit,
                   const UsageRequest & request );

// The report about a unit: as the library writes it, or the chip's dumps of every copy. "" when
// none is wanted, and for the capacity, which is the run's own report. `name` is the switch's.
std::string usageText( Morvane::MorvaneTcamGroupManager & manager, const std::string & name,
                       U32 unit, const UsageRequest & request );

}  // namespace Agent
