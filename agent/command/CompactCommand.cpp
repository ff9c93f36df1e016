#include <fmt/core.h>

#include "agent/command/MeaningCommands.h"
#include "agent/command/MeaningInput.h"
#include "agent/report/Progress.h"
#include "agent/verdict/Compact.h"

namespace Agent {

bool compactCommand( const MeaningOptions & options ) {
  RunOptions reading = options.run;
  reading.boundLists = false;
  const RunInput input = readInput( reading );
  printRefusals( input.remarks );
  if ( !options.output.empty() && input.acls.size() != 1 )
    throw UsageError(
        fmt::format( "--output: a rules file has one list, and there are {}", input.acls.size() ) );
  std::vector< CompactList > lists;
  Progress progress( "compacting" );
  for ( const Acl & acl : input.acls ) {
    progress.at( lists.size(), input.acls.size() );
    lists.push_back( withinNodes( [ & ] {
      return compactList( acl, input.platform, input.portMethod, limitsOf( options, input ),
                          restOf( input, acl ) );
    } ) );
  }
  if ( !options.output.empty() ) {
    if ( lists.front().after.rules.empty() )
      throw UsageError( fmt::format( "--output: no rule of {} is left, and a rules file has one",
                                     lists.front().after.name ) );
    writeFile( options.output, rulesFileText( lists.front().after ) );
  }
  printOutput( options.json ? compactJson( lists, input.remarks.refused )
                            : partialText( input.remarks ) + compactText( lists ) );
  return input.remarks.refused == 0;
}

}  // namespace Agent
