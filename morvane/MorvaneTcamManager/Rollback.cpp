#include "morvane/MorvaneTcamManager/Rollback.h"

#include <exception>

namespace Morvane {

void finishUnitCleanup( MorvaneTcamGroupManager & manager, U32 unit ) {
  const Kiv::Ptr< UnitCleanup > cleanup = manager.unitCleanup( unit );
  if ( !cleanup || cleanup->underWay() )
    return;
  const UnitCleanup::Making making( *cleanup );
  while ( cleanup->stepSize() != 0 ) {
    const U32 number = cleanup->stepIterConst().key();
    CleanupStep step = cleanup->step( number );
    try {
      makeCleanupStep( manager, unit, step );
    } catch ( ... ) {
      cleanup->stepIs( number, step );
      throw;
    }
    cleanup->stepDel( number );
  }
  manager.unitCleanupDel( unit );
}

void finishAllCleanup( MorvaneTcamGroupManager & manager ) {
  for ( auto it = manager.unitCleanupIterConst(); it; ++it )
    finishUnitCleanup( manager, it.key() );
}

// --- Release ---------------------------------------------------------------------------------

void Release::deferFrom( U32 first ) {
  if ( first == steps_.size() )
    return;
  const Kiv::ValidPtr< UnitCleanup > cleanup = manager_.unitCleanupIs( unit_ );
  for ( U32 i = first; i < steps_.size(); ++i )
    cleanup->append( steps_[ i ] );
  steps_.clear();
}

void Release::run() {
  // Steps that are already waiting go first: later ones may depend on them.
  if ( manager_.unitCleanupHas( unit_ ) ) {
    deferFrom( 0 );
    finishUnitCleanup( manager_, unit_ );
    return;
  }
  U32 next = 0;
  try {
    for ( ; next < steps_.size(); ++next )
      makeCleanupStep( manager_, unit_, steps_[ next ] );
  } catch ( ... ) {
    deferFrom( next );
    throw;
  }
  steps_.clear();
}

// --- Rollback --------------------------------------------------------------------------------

Rollback::~Rollback() {
  if ( steps_.empty() && records_.empty() )
    return;
  try {
    undo();
  } catch ( ... ) {
    // The operation's own exception passes on; the failed steps are unfinished cleanup.
  }
}

void Rollback::undo() {
  undoRecords();
  std::exception_ptr failure;
  for ( U32 left = steps_.size(); left > 0; ) {
    Release release( manager_, steps_[ left - 1 ].unit );
    while ( left > 0 && steps_[ left - 1 ].unit == release.unit() )
      release.add( steps_[ --left ].step );
    try {
      release.run();
    } catch ( ... ) {
      failure = std::current_exception();
    }
  }
  steps_.clear();
  if ( failure )
    std::rethrow_exception( failure );
}

void Rollback::take( Rollback & part ) {
  for ( U32 i = 0; i < part.steps_.size(); ++i )
    steps_.push( part.steps_[ i ] );
  for ( U32 i = 0; i < part.records_.size(); ++i )
    records_.push( part.records_[ i ] );
  part.commit();
}

void Rollback::undoRecords() {
  for ( U32 i = records_.size(); i-- > 0; )
    records_[ i ].run( records_[ i ].closure );
  records_.clear();
}

}  // namespace Morvane
