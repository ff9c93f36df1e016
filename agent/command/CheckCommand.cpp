#include <algorithm>

#include "agent/command/MeaningCommands.h"
#include "agent/command/MeaningInput.h"
#include "agent/feature/AclShares.h"
#include "agent/report/OutputFile.h"
#include "agent/report/Progress.h"
#include "agent/report/Terminal.h"
#include "agent/verdict/Check.h"

namespace Agent {

namespace {

// Indices of the lists that are looked up as one.
std::vector< std::vector< size_t > > tablesOf( const std::vector< Acl > & acls ) {
  std::vector< std::vector< size_t > > tables;
  for ( size_t i = 0; i < acls.size(); ++i ) {
    const auto table = std::find_if( tables.begin(), tables.end(), [ & ]( const auto & lists ) {
      return classOf( acls[ lists.front() ] ) == classOf( acls[ i ] );
    } );
    if ( table == tables.end() )
      tables.push_back( { i } );
    else
      table->push_back( i );
  }
  return tables;
}

void checkTables( const RunInput & input, const SpaceLimits & limits,
                  std::vector< ListCheck > & checks ) {
  for ( const std::vector< size_t > & table : tablesOf( input.acls ) ) {
    if ( table.size() == 1 )
      continue;
    std::vector< const Acl * > lists;
    for ( const size_t list : table )
      lists.push_back( &input.acls[ list ] );
    const std::vector< TakenByOthers > taken =
        withinNodes( [ & ] { return takenByOthers( lists, limits ); } );
    for ( size_t i = 0; i < table.size(); ++i )
      checks[ table[ i ] ].taken = taken[ i ];
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
  checkTables( input, limits, checks );
  const U32 columns = Terminal::standardOutput().columns;
  printOutput( options.json ? checkJson( checks, input.remarks.refused )
                            : partialText( input.remarks ) +
                                  checkText( checks, columns == 0 ? 100 : columns ) );
  const bool clean = std::all_of( checks.begin(), checks.end(),
                                  []( const ListCheck & check ) { return check.clean(); } );
  return clean && input.remarks.refused == 0;
}

}  // namespace Agent
