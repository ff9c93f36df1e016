#include <algorithm>

#include "agent/command/MeaningCommands.h"
#include "agent/command/MeaningInput.h"
#include "agent/report/OutputFile.h"
#include "agent/report/Progress.h"
#include "agent/report/Terminal.h"
#include "agent/verdict/Check.h"

namespace Agent {

namespace {

// Lists that are looked up as one, and what was found in each.
struct CheckedTable {
  ListClass lists;
  std::vector< const Acl * > acls;
  std::vector< ListCheck * > checks;
};

void checkTables( const SpaceLimits & limits, std::vector< ListCheck > & checks ) {
  std::vector< CheckedTable > tables;
  for ( ListCheck & check : checks ) {
    CheckedTable & table = tableFor( classOf( *check.acl ), tables );
    table.acls.push_back( check.acl );
    table.checks.push_back( &check );
  }
  for ( const CheckedTable & table : tables ) {
    if ( table.acls.size() == 1 )
      continue;
    const std::vector< TakenByOthers > taken =
        withinNodes( [ & ] { return takenByOthers( table.acls, limits ); } );
    for ( size_t i = 0; i < taken.size(); ++i )
      table.checks[ i ]->taken = taken[ i ];
  }
}

}  // namespace

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
  checkTables( limits, checks );
  printOutput( options.json ? checkJson( checks, input.remarks.refused )
                            : partialText( input.remarks ) +
                                  checkText( checks, Terminal::standardOutput().columns ) );
  const bool clean = std::all_of( checks.begin(), checks.end(),
                                  []( const ListCheck & check ) { return check.clean(); } );
  return clean && input.remarks.refused == 0;
}

}  // namespace Agent
