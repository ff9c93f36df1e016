#include "agent/verify/audit/PendingCleanup.h"

namespace Audit {

using namespace Morvane;

PendingCleanup::PendingCleanup( const MorvaneTcamGroupManager & manager, U32 unit ) {
  const Kiv::Ptr< UnitCleanup > cleanup = manager.unitCleanup( unit );
  if ( !cleanup )
    return;
  for ( auto it = cleanup->stepIterConst(); it; ++it )
    add( it.value() );
}

void PendingCleanup::addEntries( const CleanupStep & step ) {
  for ( U32 id = step.id; id < step.id + step.a; ++id )
    entries.insert( id );
  entriesLeft[ step.b ] += step.a;
}

void PendingCleanup::add( const CleanupStep & step ) {
  switch ( step.action ) {
    case cleanupDestroyEntries:
      addEntries( step );
      break;
    case cleanupDestroyStats:
      stats.insert( step.id );
      break;
    case cleanupDestroyPolicer:
      policers.insert( step.id );
      break;
    case cleanupCopyPolicer:
      policersDiffer = true;
      break;
    case cleanupDestroyRange:
      ranges.insert( step.id );
      break;
    case cleanupDestroyGroup:
      groups.insert( step.id );
      break;
    case cleanupDestroyPreselector:
      preselectors.insert( step.id );
      break;
    case cleanupDestroyQualifier:
    case cleanupDestroyFlowQualifier:
      qualifiers.insert( step.id );
      break;
    case cleanupCompressEntries:
    case cleanupCompressGroup:
    case cleanupCompressMarkedGroup:
    case cleanupNarrowGroup:
    case cleanupDeleteFormat:
    case cleanupDeleteFlowFormat:
      break;
    default:
      numbers.insert( tcamNumberBits.get( step.id ) );
  }
}

}  // namespace Audit
