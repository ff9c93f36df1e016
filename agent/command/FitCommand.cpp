#include "agent/command/FitCommand.h"

#include <fmt/core.h>

#include <algorithm>
#include <deque>

#include "agent/command/UsageError.h"
#include "agent/report/FitReport.h"
#include "agent/report/OutputFile.h"
#include "agent/report/Progress.h"
#include "agent/verdict/WhatIf.h"

namespace Agent {

namespace {

void apply( const std::vector< std::string > & changes, RunInput & input ) {
  for ( const std::string & change : changes )
    if ( const auto fault = applyWhatIf( change, input.platform, input.acls ) )
      throw UsageError( fmt::format( "--what-if {}: {}", change, *fault ) );
}

FitReport fitOn( const RunInput & input ) {
  const U64 total = rulesIn( input.acls );
  Progress progress( "programming" );
  U64 done = 0;
  return fitLists( input.platform, input.acls, input.portMethod,
                   [ & ] { progress.at( std::min( ++done, total ), total ); } );
}

}  // namespace

bool fitCommand( RunOptions run, const FitOptions & options ) {
  run.boundLists = run.supportedLists = false;
  std::vector< std::string > platforms = options.platforms;
  if ( platforms.empty() )
    platforms = { run.platform };
  std::deque< RunInput > inputs;  // the reports refer to them
  std::vector< FitReport > reports;
  for ( const std::string & platform : platforms ) {
    run.platform = platform;
    inputs.push_back( readInput( run ) );
    apply( options.changes, inputs.back() );
    reports.push_back( fitOn( inputs.back() ) );
  }
  const ReaderRemarks & remarks = inputs.front().remarks;
  printRefusals( remarks );
  printOutput( options.json ? fitJson( reports, options.changes, remarks )
                            : fitText( reports, options.changes, remarks,
                                       Terminal::standardOutput().columns ) );
  return remarks.refused == 0 &&
         std::all_of( reports.begin(), reports.end(),
                      []( const FitReport & report ) { return report.fits(); } );
}

}  // namespace Agent
