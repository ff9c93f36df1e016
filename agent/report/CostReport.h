// What lists cost, as text and JSON.
#pragma once

#include <string>

#include "agent/report/RunReport.h"
#include "agent/verdict/Cost.h"

namespace Agent {

// `all`: every rule with several entries and every range, in place of the ten most expensive.
std::string costText( const Platform::PlatformData & platform, const CostReport & report, bool all,
                      const ReaderRemarks & remarks );
// All rules and ranges.
std::string costJson( const Platform::PlatformData & platform, const CostReport & report,
                      const ReaderRemarks & remarks );

}  // namespace Agent
