#include "agent/command/CounterClearing.h"

#include <fmt/core.h>

#include "agent/command/TcamNames.h"
#include "agent/command/UsageError.h"

namespace Agent {

using What = ClearRequest::What;

ClearRequest clearRequest( const std::string & text, const Platform::PlatformData & platform ) {
  const std::string option = "--clear " + text;
  ClearRequest request;
  request.text = text;
  if ( text == "unit" ) {
    request.what = What::unit;
  } else if ( text.starts_with( "entry:" ) ) {
    request.what = What::entry;
    request.id = namedEntry( option, text.substr( 6 ), platform );
  } else if ( text.starts_with( "group:" ) ) {
    request.what = What::group;
    request.id = namedGroup( option, text.substr( 6 ), platform );
  } else if ( text.starts_with( "user:" ) ) {
    request.what = What::user;
    request.user = namedUser( option, text.substr( 5 ), platform );
  } else if ( text != "all" ) {
    throw UsageError( option + ": entry:ID, user:NAME, group:ID, unit or all is expected" );
  }
  return request;
}

void requireHeld( const Morvane::MorvaneTcamGroupManager & manager, U32 unit,
                  const ClearRequest & request ) {
  if ( request.what != What::entry )
    return;
  const auto holder = managerOfEntry( manager, request.id );
  const auto entries = holder ? holder->internalUnitEntry( unit ) : nullptr;
  if ( !entries || !entries->entryCreatedHas( Morvane::tcamNumberBits.get( request.id ) ) )
    throw UsageError( fmt::format( "--clear {}: the entry is not allocated", request.text ) );
}

void clearCounters( Morvane::MorvaneTcamGroupManager & manager, U32 unit,
                    const ClearRequest & request ) {
  switch ( request.what ) {
    case What::entry:
      managerOfEntry( manager, request.id )
          ->clearCountersForEntry( unit, Morvane::tcamNumberBits.get( request.id ) );
      break;
    case What::user:
      if ( const auto bounded = manager.entryManager( request.user ) )
        bounded->clearCounters( unit );
      else if ( const auto unbounded = manager.unboundedEntryManager( request.user ) )
        unbounded->clearCounters( unit );
      break;
    case What::group:
      manager.clearGroupCounters( unit, request.id );
      break;
    case What::unit:
      manager.clearUnitCounters( unit );
      break;
    case What::all:
      manager.clearAllCounters();
      break;
  }
}

}  // namespace Agent
