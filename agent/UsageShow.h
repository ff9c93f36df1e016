// What the library itself reports of the TCAM, on request.
#pragma once

#include <string>

#include "morvane/MorvaneTcamGroupManager.h"

namespace Agent {

using namespace Kiv::Integers;

enum class UsageView { none, summary, detail, raw, banks, entry, capacity };

struct UsageRequest {
  UsageView view = UsageView::none;
  U32 entry = 0;  // hardware entry of UsageView::entry
};

// From "summary", "detail", "raw", "banks", "capacity" or "entry:ID", ID decimal or with 0x. Throws
// UsageError for anything else.
UsageRequest usageRequest( const std::string & text );

// The report about a unit, as the library writes it; "" when none is wanted. `name` is the
// switch's.
std::string usageText( Morvane::MorvaneTcamGroupManager & manager, const std::string & name,
                       U32 unit, const UsageRequest & request );

}  // namespace Agent
