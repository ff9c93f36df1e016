#include "morvane/MorvaneTcamManager/Udf/Rebuild.h"

#include <deque>

#include "morvane/MorvaneTcamManager/EntryRelease.h"
#include "morvane/MorvaneTcamManager/GroupBuilder.h"
#include "morvane/MorvaneTcamManager/GroupLife.h"
#include "morvane/MorvaneTcamManager/Managers.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"
#include "morvane/MorvaneTcamManager/Udf/Records.h"

namespace Morvane {

MirroringGroupRebuild::MirroringGroupRebuild( MorvaneTcamGroupManager & manager, U32 unit,
                                              U32 group, S32 qualId )
    : manager_( manager ),
      unit_( unit ),
      group_( group ),
      qualId_( qualId ),
      carried_( manager.groupIdToMirroringAclUdfIs( static_cast< U8 >( group ) ) ) {
  forEachEntryManager(
      manager,
      [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
        if ( user->group() == group && user->internalUnitEntryHas( unit ) )
          users_.push_back( user );
      } );
}

bool MirroringGroupRebuild::run() {
  try {
    destroy();
    if ( create() ) {
      forgetUses();
      return true;
    }
  } catch ( ... ) {
    abandon();
    throw;
  }
  MORVANE_TRACE( traceFailure ) << "Unit: " << unit_ << " " << udfRebuild.operation << " "
                                << "Could not recreate group " << group_ << "!!"
                                << " Giving up, destroyed ... ";
  abandon();
  return false;
}

void MirroringGroupRebuild::destroy() {
  Release release( manager_, unit_ );
  std::deque< EntryRelease > entries;
  for ( const Kiv::Ptr< MorvaneTcamEntryManager > & user : users_ )
    entries.emplace_back( *user, unit_, release ).dropAll();
  release.run();
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << udfRebuild.operation
                              << " Successfully cleared all entries in group: " << group_;
  dropCopies( release );
  release.run();
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << udfRebuild.operation
                              << " Successfully destroyed the group: " << group_;
}

// Whatever the number of references, which create restores.
void MirroringGroupRebuild::dropCopies( Release & release ) {
  for ( const PipeCopy c : manager_.pipeCopies( unit_, group_ ) ) {
    const Kiv::Ptr< GroupCounts > counts = manager_.groupCounts( c.pipeGroup );
    if ( !counts || counts->unitRefCount( unit_ ) <= 0 )
      continue;
    counts_.emplace( c.pipeGroup, counts->unitRefCount( unit_ ) );
    counts->unitRefCountIs( unit_, 1 );
    GroupLife( manager_, unit_ ).drop( c.pipeGroup, false, release );
  }
}

bool MirroringGroupRebuild::create() {
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << udfRebuild.operation << " "
                              << "Trying to recreate group " << group_;
  Rollback rollback( manager_ );
  GroupBuilder builder( manager_, unit_, group_, udfRebuild );
  builder.makeQualifierSet( rollback );
  builder.addCarried( *carried_ );
  builder.addDataQualifier( qualId_ );
  builder.prepare();
  GroupReferences taken;
  if ( !GroupLife( manager_, unit_ ).acquireCopies( builder, group_, rollback, taken ) ) {
    rollback.undo();
    return false;
  }
  rollback.commit();
  for ( const auto & [ pipeGroup, count ] : counts_ ) {
    manager_.groupCountsIs( pipeGroup )->unitRefCountIs( unit_, count );
    MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << udfRebuild.operation << " group "
                                << pipeGroup << " ref count is now " << count;
  }
  return true;
}

// The agent adds its rules, and so their uses, again.
void MirroringGroupRebuild::forgetUses() {
  for ( UnitUdfQualIter qualIter( *carried_, unit_ ); qualIter; ++qualIter ) {
    const U32 key = qualIter.recordKey();
    MirroringUdfs::holding( manager_, key )
        .refCountInc( key, -static_cast< S32 >( qualIter.uses() ) );
    carried_->udfQualIdIs( key, 0 );
  }
}

// Leaves neither the group nor its entries in the records, whichever step failed.
void MirroringGroupRebuild::abandon() {
  Release release( manager_, unit_ );
  for ( const Kiv::Ptr< MorvaneTcamEntryManager > & user : users_ )
    user->unitEntries( unit_ )->groupReferencesIs( 0 );
  dropCopies( release );
  dropMirroringUdfs( manager_, unit_, group_, release );
  release.run();
}

}  // namespace Morvane
