// Rebuilding a mirroring group whose qualifier set the ASIC does not change in place.

#include <map>
#include <vector>

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/GroupBuilder.h"
#include "morvane/MorvaneTcamManager/MirroringUdfs.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/UdfQualifiers.h"

namespace Morvane {

// One rebuild. It ends with the group empty and wider, or with the group gone.
class MirroringGroupRebuild {
 public:
  MirroringGroupRebuild( MorvaneTcamGroupManager & manager, U32 unit, U32 group, S32 qualId );
  bool run();

 private:
  void clearEntries();
  void destroyCopies();
  bool createCopies();
  void restoreCounts();
  void forgetUses();
  void abandon();

  MorvaneTcamGroupManager & manager_;
  const U32 unit_;
  const U32 group_;
  const S32 qualId_;
  const Kiv::ValidPtr< GroupUdfQual > carried_;
  std::vector< Kiv::Ptr< MorvaneTcamEntryManager > > users_;
  std::map< U32, S32 > counts_;  // by pipe group: users before the rebuild
};

bool MorvaneTcamGroupManager::reInitializeGroupWithMirroringAclUdf( U32 unit, U32 groupId,
                                                                    S32 qualId ) {
  return MirroringGroupRebuild( *this, unit, groupId, qualId ).run();
}

MirroringGroupRebuild::MirroringGroupRebuild( MorvaneTcamGroupManager & manager, U32 unit,
                                              U32 group, S32 qualId )
    : manager_( manager ),
      unit_( unit ),
      group_( group ),
      qualId_( qualId ),
      carried_( manager.groupIdToMirroringAclUdfIs( static_cast< U8 >( group ) ) ) {
  const auto collect = [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
    if ( user->group() == group )
      users_.push_back( user );
  };
  for ( auto it = manager.entryManagerIterConst(); it; ++it )
    collect( it.member() );
  for ( auto it = manager.unboundedEntryManagerIterConst(); it; ++it )
    collect( it.member() );
}

bool MirroringGroupRebuild::run() {
  try {
    clearEntries();
    destroyCopies();
    if ( createCopies() ) {
      restoreCounts();
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

void MirroringGroupRebuild::clearEntries() {
  for ( const Kiv::Ptr< MorvaneTcamEntryManager > & user : users_ )
    user->releaseAllEntries( unit_ );
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << udfRebuild.operation
                              << " Successfully cleared all entries in group: " << group_;
}

void MirroringGroupRebuild::destroyCopies() {
  for ( const PipeCopy c : manager_.pipeCopies( unit_, group_ ) ) {
    const Kiv::Ptr< GroupCounts > counts = manager_.groupCounts( c.pipeGroup );
    if ( !counts || counts->unitRefCount( unit_ ) <= 0 )
      continue;
    counts_.emplace( c.pipeGroup, counts->unitRefCount( unit_ ) );
    counts->unitRefCountIs( unit_, 1 );
    manager_.uninitializeTcamGroup( unit_, c.pipeGroup, false );
  }
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << udfRebuild.operation
                              << " Successfully destroyed the group: " << group_;
}

bool MirroringGroupRebuild::createCopies() {
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << udfRebuild.operation << " "
                              << "Trying to recreate group " << group_;
  GroupBuilder builder( manager_, unit_, group_, udfRebuild );
  builder.makeQualifierSet();
  for ( UnitUdfQualIter qualIter( *carried_, unit_ ); qualIter; ++qualIter ) {
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit_ << " " << udfRebuild.operation << " "
                                 << "The qualifier id to add to qset is " << qualIter.key()
                                 << " with freq " << qualIter.uses();
    builder.addDataQualifier( qualIter.key() );
  }
  builder.addDataQualifier( qualId_ );
  builder.prepare();
  GroupReferences taken;
  return manager_.createCopies( builder, unit_, group_, taken );
}

void MirroringGroupRebuild::restoreCounts() {
  for ( const auto & [ pipeGroup, count ] : counts_ ) {
    manager_.groupCountsIs( pipeGroup )->unitRefCountIs( unit_, count );
    MORVANE_TRACE( traceGroup ) << "Unit: " << unit_ << " " << udfRebuild.operation << " group "
                                << pipeGroup << " ref count is now " << count;
  }
}

// The agent adds its rules anew, and counts them again.
void MirroringGroupRebuild::forgetUses() {
  for ( UnitUdfQualIter qualIter( *carried_, unit_ ); qualIter; ++qualIter ) {
    const U32 key = qualIter.bookKey();
    MirroringUdfs::holding( manager_, key )
        .refCountInc( key, -static_cast< S32 >( qualIter.uses() ) );
    carried_->udfQualIdIs( key, 0 );
  }
}

// Goes on where a step was broken off; every step may be taken twice.
void MirroringGroupRebuild::abandon() {
  clearEntries();
  destroyCopies();
  for ( const PipeCopy c : manager_.pipeCopies( unit_, group_ ) )
    manager_.doDestroyGroupPreselId( unit_, c.pipeGroup );
  for ( const Kiv::Ptr< MorvaneTcamEntryManager > & user : users_ )
    if ( const Kiv::Ptr< UnitEntriesCreated > entries = user->internalUnitEntry( unit_ ) )
      entries->groupReferencesIs( 0 );
  manager_.uninitializeMirroringUdfQualifiers( unit_, group_ );
}

// Everything that was handed out on the unit. One that was broken off can be called again.
void MorvaneTcamEntryManager::releaseAllEntries( U32 unit ) {
  const Kiv::Ptr< UnitEntriesCreated > entries = internalUnitEntry( unit );
  if ( !entries )
    return;
  for ( auto it = entries->entryCreatedIterConst(); it; ++it )
    releaseEntryInternal( unit, it.key(), false );
  if ( entries->rangeCreated() )
    deallocateAllEntries( unit );
}

}  // namespace Morvane
