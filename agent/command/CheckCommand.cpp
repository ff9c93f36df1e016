#include <algorithm>

#include "agent/command/MeaningCommands.h"
#include "agent/command/MeaningInput.h"
#include "agent/report/OutputFile.h"
#include "agent/report/Progress.h"
#include "agent/verdict/Check.h"

namespace Agent {

bool checkCommand( const MeaningOptions & options ) {
  const RunInput input = readLists( options.run );
  const SpaceLimits limits = limitsOf( options, input );
  std::vector< ListCheck > checks;
  Progress progress( "checking" );
  for ( const Acl & acl : input.acls ) {
    progress.at( checks.size(), input.acls.size() );
    checks.push_back( withinNodes( [ & ] {
      return checkList( acl, limits, { options.overlaps, restOf( input, acl ) } );
    } ) );
  }
  printOutput( options.json ? checkJson( checks, input.remarks.refused )
                            : partialText( input.remarks ) + checkText( checks ) );
  const bool clean = std::all_of( checks.begin(), checks.end(),
                                  []( const ListCheck & check ) { return check.clean(); } );
  return clean && input.remarks.refused == 0;
}

}  // namespace Agent
