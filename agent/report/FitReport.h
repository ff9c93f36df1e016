// Verdicts on whether lists fit, as text and JSON.
#pragma once

#include <string>
#include <vector>

#include "agent/report/RunReport.h"
#include "agent/verdict/Fit.h"

namespace Agent {

// One report for each platform. `changes`: what was assumed of them and of the lists.
std::string fitText( const std::vector< FitReport > & reports,
                     const std::vector< std::string > & changes, const ReaderRemarks & remarks );
std::string fitJson( const std::vector< FitReport > & reports,
                     const std::vector< std::string > & changes, const ReaderRemarks & remarks );

}  // namespace Agent
