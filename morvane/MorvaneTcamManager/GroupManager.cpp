// The group manager: construction, members, queries, and forwards to the topics.

#include "morvane/MorvaneTcamGroupManager.h"

#include <iostream>

#include "kiv/Strep.h"
#include "morvane/MorvaneTcamManager/GroupLife.h"
#include "morvane/MorvaneTcamManager/Managers.h"
#include "morvane/MorvaneTcamManager/Policers.h"
#include "morvane/MorvaneTcamManager/RangeCheckers.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "morvane/MorvaneTcamManager/Startup.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/FlowGroup.h"
#include "morvane/MorvaneTcamManager/Udf/GroupUdfs.h"
#include "morvane/MorvaneTcamManager/Udf/Rebuild.h"
#include "morvane/MorvaneTcamManager/Udf/Records.h"
#include "morvane/Operation.h"
#include "shim/SdkCall.h"

namespace Morvane {

RangeCheckerData::RangeCheckerData( const Kiv::Name & name, const RangeCheckerDesc & desc )
    : Kiv::Entity( name ), desc_( this, "desc", desc ) {}

MorvaneTcamGroupManager::MorvaneTcamGroupManager(
    const Kiv::Name & name, Kiv::Ptr< const MorvaneOvidUtBitmapDir > ovidUtBitmapDir,
    bool singleView )
    : GroupShape( name ),
      ovidUtBitmapDir_( this, "ovidUtBitmapDir", std::move( ovidUtBitmapDir ) ),
      singleView_( this, "singleView", singleView ) {}

MorvaneTcamGroupManager::~MorvaneTcamGroupManager() {
  // It may have other holders, but no managers to call any more.
  if ( ovidWarSm() )
    ovidWarSm()->notifierIs( nullptr );
}

const char * MorvaneTcamGroupManager::fwkType() const {
  return "Morvane::MorvaneTcamGroupManager";
}

void MorvaneTcamGroupManager::initializedNotify() {
  notify( "initialized", &Notifiee::onInitialized );
}

// --- Members ---------------------------------------------------------------------------------

Kiv::Ptr< GroupUdfQual > MorvaneTcamGroupManager::newGroupIdToMirroringAclUdf( U8 group ) {
  return groupIdToMirroringAclUdf_.make( Kiv::Name( Kiv::valueToStrep( group ) ) );
}

Kiv::Ptr< GroupUdfQual > MorvaneTcamGroupManager::newGroupIdToOpenFlowAclUdf( U8 group ) {
  return groupIdToOpenFlowAclUdf_.make( Kiv::Name( Kiv::valueToStrep( group ) ) );
}

Kiv::Ptr< GroupUdfQual > MorvaneTcamGroupManager::newGroupIdToOpenFlowVxlanAclUdf( U8 group ) {
  return groupIdToOpenFlowVxlanAclUdf_.make( Kiv::Name( Kiv::valueToStrep( group ) ) );
}

Kiv::Ptr< RangeCheckerData > MorvaneTcamGroupManager::newRangeChecker( RangeCheckerDesc desc ) {
  return rangeChecker_.make( Kiv::Name( Kiv::valueToStrep( desc ) ), desc );
}

Kiv::Ptr< GroupCounts > MorvaneTcamGroupManager::newGroupCounts( GroupIdToPipeGroupId key ) {
  return groupCounts_.make( Kiv::Name( Kiv::valueToStrep( key.pipeGroupId ) ) );
}

Kiv::Ptr< UnitCleanup > MorvaneTcamGroupManager::newUnitCleanup( U32 unit ) {
  return unitCleanup_.make( Kiv::Name( Kiv::valueToStrep( unit ) ) );
}

namespace {

// Returns the member under the key, created if absent. A new manager creates its range before it is
// visible in the collection.
template < class Members, class... Parameters >
auto managerIs( MorvaneTcamGroupManager & groups, Members & members, TcamGroupAssignment assignment,
                const Kiv::String8 & desc, const Parameters &... parameters ) {
  const Operation operation( groups );
  auto member = members.get( assignment );
  if ( !member ) {
    // Leftovers of a release or a failed start-up may have the ids that the range gets.
    finishAllCleanup( groups );
    member = members.make( Kiv::Name( Kiv::valueToStrep( assignment ) ), assignment, desc,
                           parameters... );
    member->handleInitialized();
    members.instantiate( assignment, [ & ] { return member; } );
  }
  member->requireSameParameters( desc, parameters... );
  return member;
}

}  // namespace

Kiv::Ptr< MorvaneBoundedTcamEntryManager > MorvaneTcamGroupManager::newEntryManager(
    TcamGroupAssignment ) {
  throw Kiv::NoImplementationException( "an entry manager is made with its parameters" );
}

Kiv::Ptr< MorvaneUnboundedTcamEntryManager > MorvaneTcamGroupManager::newUnboundedEntryManager(
    TcamGroupAssignment ) {
  throw Kiv::NoImplementationException( "an entry manager is made with its parameters" );
}

Kiv::Ptr< MorvaneBoundedTcamEntryManager > MorvaneTcamGroupManager::newEntryManager(
    TcamGroupAssignment assignment, const Kiv::String8 & desc,
    MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
    TcamAllocationStrategy strategy ) {
  return entryManagerIs( assignment, desc, groupManager, group, baseEntry, endEntry, strategy );
}

Kiv::Ptr< MorvaneUnboundedTcamEntryManager > MorvaneTcamGroupManager::newUnboundedEntryManager(
    TcamGroupAssignment assignment, const Kiv::String8 & desc,
    MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
    TcamAllocationStrategy strategy ) {
  return unboundedEntryManagerIs( assignment, desc, groupManager, group, baseEntry, endEntry,
                                  strategy );
}

Kiv::ValidPtr< MorvaneBoundedTcamEntryManager > MorvaneTcamGroupManager::entryManagerIs(
    TcamGroupAssignment assignment, const Kiv::String8 & desc,
    MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
    TcamAllocationStrategy strategy ) {
  return managerIs( *this, entryManager_, assignment, desc, groupManager, group, baseEntry,
                    endEntry, strategy );
}

Kiv::ValidPtr< MorvaneUnboundedTcamEntryManager > MorvaneTcamGroupManager::unboundedEntryManagerIs(
    TcamGroupAssignment assignment, const Kiv::String8 & desc,
    MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
    TcamAllocationStrategy strategy ) {
  return managerIs( *this, unboundedEntryManager_, assignment, desc, groupManager, group, baseEntry,
                    endEntry, strategy );
}

Kiv::Ptr< MorvaneTcamEntryManager > MorvaneTcamGroupManager::managerOf(
    const TcamReservation & reservation ) const {
  if ( reservation.size != 0 )
    return entryManager( reservation.assignment );
  return unboundedEntryManager( reservation.assignment );
}

// --- Start-up --------------------------------------------------------------------------------

void MorvaneTcamGroupManager::initializedIs( bool value ) {
  const Operation operation( *this );
  if ( initialized_.get() == value )
    return;
  initialized_.set( value );
  try {
    handleInitialized();
  } catch ( ... ) {
    initialized_.set( !value );
    throw;
  }
  initializedNotify();
}

void MorvaneTcamGroupManager::handleInitialized() {
  const Operation operation( *this );
  Startup( *this ).run();
}

void MorvaneTcamGroupManager::doSdkReInit() {
  const Operation operation( *this );
  std::cout << __PRETTY_FUNCTION__ << " Cleaning up tcam manager" << std::endl;
  // The hardware state that was to be cleaned up is lost.
  unitCleanupDelAll();
  Startup( *this ).forget();
  std::cout << __PRETTY_FUNCTION__ << " Re-initializing tcam group manager" << std::endl;
  handleInitialized();
}

U32 MorvaneTcamGroupManager::unfinishedCleanup( U32 unit ) const {
  const Kiv::Ptr< UnitCleanup > cleanup = unitCleanup( unit );
  return cleanup ? cleanup->stepSize() : 0;
}

// Also after a start-up that failed.
void MorvaneTcamGroupManager::finishCleanup( U32 unit ) {
  const Operation operation( *this );
  Morvane::finishCleanup( *this, unit );
}

// --- Groups ----------------------------------------------------------------------------------

bool MorvaneTcamGroupManager::initializeGroup( U32 unit, U32 group ) {
  const Operation operation( *this, unit );
  Rollback rollback( *this );
  GroupReferences taken;
  const bool complete = GroupLife( *this, unit ).acquire( group, rollback, taken );
  // A flow-programming group that does not fit is undone as a whole.
  const U8 key = static_cast< U8 >( group );
  if ( !complete && ( groupOpenFlowAclUdfValid( key ) || groupOpenFlowVxlanAclUdfValid( key ) ) )
    rollback.undo();
  rollback.commit();
  return complete;
}

void MorvaneTcamGroupManager::uninitializeGroup( U32 unit, U32 groupId ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  GroupLife life( *this, unit );
  Release release( *this, unit );
  if ( !groupExists( unit, groupId ) || life.foreignReferences( groupId ) > 0 ||
       life.dropUnused( groupId ) )
    life.dropAll( groupId, release );
  else
    MORVANE_TRACE( traceFailure ) << "Unit: " << unit << " group " << groupId
                                  << " has no reference that is not in use";
  release.run();
}

void MorvaneTcamGroupManager::uninitializeTcamGroup( U32 unit, U32 pipeGroupId, bool releaseUdf ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  Release release( *this, unit );
  GroupLife( *this, unit ).drop( pipeGroupId, releaseUdf, release );
  release.run();
}

void MorvaneTcamGroupManager::doStoreGroupPreselId( U32 unit, U32 groupId, U32 preselId ) {
  groupIdToPreselIdIs( { unit, groupId }, preselId );
}

void MorvaneTcamGroupManager::doDestroyGroupPreselId( U32 unit, U32 groupId ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  Release release( *this, unit );
  GroupLife( *this, unit ).dropPreselector( groupId, release );
  release.run();
}

U32 MorvaneTcamGroupManager::findExhaustedMarks( U32 group ) const {
  const U32 * const marks = groupMarks_.find( group );
  return marks != nullptr ? *marks : 0;
}

void MorvaneTcamGroupManager::exhaustedMarksInc( U32 group, S32 delta ) {
  if ( delta == 0 )
    return;
  exhaustedMarks_ += static_cast< U32 >( delta );
  *groupMarks_.insert( group, 0 ).first += static_cast< U32 >( delta );
}

bool MorvaneTcamGroupManager::groupExists( U32 unit, U32 groupId ) const {
  for ( const PipeCopy c : pipeCopies( unit, groupId ) ) {
    const Kiv::Ptr< GroupCounts > counts = groupCounts( c.pipeGroup );
    if ( counts && counts->unitRefCount( unit ) > 0 )
      return true;
  }
  return false;
}

bool MorvaneTcamGroupManager::groupComplete( U32 unit, U32 groupId ) const {
  for ( const PipeCopy c : pipeCopies( unit, groupId ) ) {
    const Kiv::Ptr< GroupCounts > counts = groupCounts( c.pipeGroup );
    if ( !counts || counts->unitRefCount( unit ) <= 0 )
      return false;
  }
  return true;
}

// --- Queries ---------------------------------------------------------------------------------

U32 MorvaneTcamGroupManager::entriesAvailable( U32 unit, U32 groupId ) {
  const Operation operation( *this, unit );
  // A group that is created only for this call keeps its ACL type for its user.
  const MirroringTypeKeeper keeper( *this, groupId );
  GroupLife life( *this, unit );
  Rollback rollback( *this );
  GroupReferences taken;
  if ( !life.acquire( groupId, rollback, taken ) ) {
    rollback.undo();
    return 0;
  }
  const U32 free = life.freeEntries( groupId );
  rollback.commit();
  Release release( *this, unit );
  life.drop( taken, release );
  release.run();
  return free;
}

U32 MorvaneTcamGroupManager::getGroupPriority( U32 /* unit */, U32 pipeGroupId ) const {
  return tcamNumberBits.get( pipeGroupId );
}

U32 MorvaneTcamGroupManager::getNumOfTcamEntries( U32 unit, U32 groupId ) const {
  const Operation operation( *this, unit );
  const Kiv::Ptr< GroupCounts > counts = groupCounts( getPipeGroupId( unit, 0, 0, groupId ) );
  if ( !counts || counts->unitRefCount( unit ) <= 0 )
    return 0;
  bcm_field_group_status_s status = {};
  SDK_CHECKED( bcm_field_group_status_get( unit, groupId, &status ) );
  return static_cast< U32 >( Shim::Fields::groupEntriesTotal( status ) );
}

U16 MorvaneTcamGroupManager::getMaxPorts() {
  U16 ports = 0;
  for ( auto it = modChipInfoIterConst(); it; ++it )
    ports = std::max( ports, it.value().maxPorts );
  maxPortsIs( ports );
  return ports;
}

bool MorvaneTcamGroupManager::getIpv6MirroringSupported() {
  const MorvaneCentral::Attributes & attributes = MorvaneCentral::morvaneAttributes();
  ipv6MirroringSupportedIs( attributes.ipv6MirroringSupported );
  qosAclSharingSupportedIs( attributes.qosAclSharingSupported );
  ingressRaclSharingSupportedIs( attributes.ingressRaclSharingSupported );
  return ipv6MirroringSupported();
}

std::vector< const TcamReservation * > MorvaneTcamGroupManager::getTcamReservationData() const {
  std::vector< const TcamReservation * > reservations;
  for ( U32 i = 0; i < numTcamReservations(); ++i )
    reservations.push_back( getTcamReservation( i ) );
  return reservations;
}

void MorvaneTcamGroupManager::traceGroupStatus( U32 unit, U32 pipeGroupId ) const {
  if ( !apiMorvane.enabled( traceDetail ) )
    return;
  const Operation operation( *this, unit );
  const U32 groupId = pipeGroupId;
  bcm_field_group_status_s status = {};
  SDK_CHECKED( bcm_field_group_status_get( unit, groupId, &status ) );
  MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " group " << pipeGroupId << " entries total "
                               << Shim::Fields::groupEntriesTotal( status ) << " free "
                               << Shim::Fields::groupEntriesFree( status );
}

// --- Range checkers and policers -------------------------------------------------------------

U32 MorvaneTcamGroupManager::getRangeChecker( U32 unit, RangeCheckerDesc desc ) {
  const Operation operation( *this, unit );
  return RangeCheckers( *this, unit ).get( desc );
}

void MorvaneTcamGroupManager::releaseRangeChecker( U32 unit, RangeCheckerDesc desc ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  RangeCheckers( *this, unit ).release( desc );
}

U32 MorvaneTcamGroupManager::createPolicer( U32 unit, U8 * policerCfg ) const {
  const Operation operation( *this, unit );
  return Policers( *this, unit ).create( policerCfg );
}

void MorvaneTcamGroupManager::setPolicer( U32 unit, U32 basePolicerId, U8 * policerCfg ) const {
  const Operation operation( *this, unit );
  Policers( *this, unit ).set( basePolicerId, policerCfg );
}

void MorvaneTcamGroupManager::removePolicer( U32 unit, U32 basePolicerId ) const {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  Policers( *this, unit ).remove( basePolicerId );
}

U32 MorvaneTcamGroupManager::getPipePolicerId( U32 unit, U32 pipe, U32 basePolicerId ) const {
  return Policers( *this, unit ).ofPipe( pipe, basePolicerId );
}

// --- User-defined fields and flow programming ------------------------------------------------

GroupUdfQualApplyStatus MorvaneTcamGroupManager::createGroupMirroringAclUdf(
    U32 unit, U32 groupId, S32 aclType, U32 ethType, UdfOffsetBase base, U8 offset, U8 length ) {
  const Operation operation( *this, unit );
  return GroupUdfs( *this, unit ).create( groupId, aclType, ethType, base, offset, length );
}

bool MorvaneTcamGroupManager::reInitializeGroupWithMirroringAclUdf( U32 unit, U32 groupId,
                                                                    S32 qualId ) {
  const Operation operation( *this, unit );
  return MirroringGroupRebuild( *this, unit, groupId, qualId ).run();
}

void MorvaneTcamGroupManager::uninitializeMirroringUdfQualifiers( U32 unit, U32 groupId ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  KIV_ASSERT( groupMirroringAclUdfValid( groupId ) );
  Release release( *this, unit );
  dropMirroringUdfs( *this, unit, tcamNumberBits.get( groupId ), release );
  release.run();
}

int MorvaneTcamGroupManager::addUdfQualifierToQset( U32 unit, bcm_field_qset_t * qualifierSet,
                                                    S32 currentQualId ) {
  const Operation operation( *this, unit );
  bcm_field_qset_t & qset = *qualifierSet;
  return SDK_CALL( bcm_field_qset_data_qualifier_add( unit, &qset, currentQualId ) );
}

bool MorvaneTcamGroupManager::createGroupOpenFlowAclUdf( U32 unit, U32 groupId ) {
  const Operation operation( *this, unit );
  Rollback rollback( *this );
  GroupReferences taken;
  if ( !FlowGroup( *this, unit, groupId ).acquire( rollback, taken ) ) {
    rollback.undo();
    return false;
  }
  rollback.commit();
  return true;
}

void MorvaneTcamGroupManager::destroyOpenFlowUdfQualifiers( U32 unit, U32 pipeGroupId ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  Release release( *this, unit );
  FlowGroup( *this, unit, tcamNumberBits.get( pipeGroupId ) ).dropQualifiers( release );
  release.run();
}

// --- Clearing counters -----------------------------------------------------------------------

void MorvaneTcamGroupManager::clearGroupCounters( U32 unit, U32 group ) {
  forEachEntryManager(
      *this,
      [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
        if ( user->group() == group )
          user->clearCounters( unit );
      } );
}

void MorvaneTcamGroupManager::clearUnitCounters( U32 unit ) {
  forEachEntryManager(
      *this,
      [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) { user->clearCounters( unit ); } );
}

void MorvaneTcamGroupManager::clearAllCounters() {
  for ( auto unitIter = modChipInfoIterConst(); unitIter; ++unitIter )
    clearUnitCounters( unitIter.key() );
}

}  // namespace Morvane
