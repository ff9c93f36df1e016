// Verdicts on whether lists fit, as text, JSON and web page.
#pragma once

#include <string>
#include <vector>

#include "agent/report/RunReport.h"
#include "agent/verdict/Fit.h"

namespace Agent {

// One report for each platform. `changes`: what was assumed of them and of the lists. With
// `columns`, longer lines are cut or wrapped.
std::string fitText( const std::vector< FitReport > & reports,
                     const std::vector< std::string > & changes, const ReaderRemarks & remarks,
                     size_t columns = 0 );
std::string fitJson( const std::vector< FitReport > & reports,
                     const std::vector< std::string > & changes, const ReaderRemarks & remarks );

// "edge: its first 12 rules fit, up to line 14"; empty for a list that fits.
std::string verdictText( const ListVerdict & list );
// When the report's resources were read.
std::string resourcesTitle( const FitReport & report );

// A self-contained HTML page about a run and whether its lists fit: lists, users, resources, rules
// of several entries, hits, and the map. It is a plain page without scripts; with them, tables are
// sorted by a click on a heading.
std::string htmlReport( const RunReport & report, const FitReport & fit );

}  // namespace Agent
