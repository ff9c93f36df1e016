#include "agent/command/CostCommand.h"

#include "agent/report/CostReport.h"
#include "agent/report/OutputFile.h"

namespace Agent {

bool costCommand( RunOptions run, const CostOptions & options ) {
  run.boundLists = false;
  const RunInput input = readInput( run );
  const RangeChoice choice = rangeChoice( input.portMethod, input.platform, input.acls );
  const CostReport report = costOf( input.platform, input.acls, choice );
  printRefusals( input.remarks );
  printOutput( options.json ? costJson( input.platform, report, input.remarks )
                            : costText( input.platform, report, options.all, input.remarks ) );
  return input.remarks.refused == 0;
}

}  // namespace Agent
