// The group manager's model: construction, members, pipes and copies, and the queries.

#include "kiv/Assert.h"
#include "kiv/Format.h"
#include "kiv/Strep.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
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
  // Whoever still holds it: there are no managers left to call.
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
  return Kiv::make< GroupUdfQual >( Kiv::Name( Kiv::valueToStrep( group ) ) );
}

Kiv::Ptr< GroupUdfQual > MorvaneTcamGroupManager::newGroupIdToOpenFlowAclUdf( U8 group ) {
  return Kiv::make< GroupUdfQual >( Kiv::Name( Kiv::valueToStrep( group ) ) );
}

Kiv::Ptr< GroupUdfQual > MorvaneTcamGroupManager::newGroupIdToOpenFlowVxlanAclUdf( U8 group ) {
  return Kiv::make< GroupUdfQual >( Kiv::Name( Kiv::valueToStrep( group ) ) );
}

Kiv::Ptr< RangeCheckerData > MorvaneTcamGroupManager::newRangeChecker( RangeCheckerDesc desc ) {
  return Kiv::make< RangeCheckerData >( Kiv::Name( Kiv::valueToStrep( desc ) ), desc );
}

Kiv::Ptr< GroupCounts > MorvaneTcamGroupManager::newGroupCounts( GroupIdToPipeGroupId key ) {
  return Kiv::make< GroupCounts >( Kiv::Name( Kiv::valueToStrep( key.pipeGroupId ) ) );
}

namespace {

// A manager prepares its range before anyone can see it in the collection.
template < class Manager >
Kiv::Ptr< Manager > makeManager( TcamGroupAssignment assignment, const Kiv::String8 & desc,
                                 MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry,
                                 U32 endEntry, TcamAllocationStrategy strategy ) {
  Kiv::Ptr< Manager > manager =
      Kiv::make< Manager >( Kiv::Name( Kiv::valueToStrep( assignment ) ), assignment, desc,
                            groupManager, group, baseEntry, endEntry, strategy );
  manager->handleInitialized();
  return manager;
}

// The member under the key, made by make() when absent. Making it calls the SDK, so that another
// activity may have put its own there meanwhile: that one stays, and ours gives back what it made.
template < class Members, class Make, class... Parameters >
auto memberOrMade( Members & members, TcamGroupAssignment assignment, Make make,
                   const Parameters &... parameters ) {
  auto member = members.get( assignment );
  if ( !member ) {
    auto made = make( assignment, parameters... );
    member = members.instantiate( assignment, [ & ] { return made; } ).ptr();
    if ( member.rawPtr_ != made.rawPtr_ )
      made->giveBackRanges();
  }
  member->requireSameParameters( parameters... );
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
  return makeManager< MorvaneBoundedTcamEntryManager >( assignment, desc, groupManager, group,
                                                        baseEntry, endEntry, strategy );
}

Kiv::Ptr< MorvaneUnboundedTcamEntryManager > MorvaneTcamGroupManager::newUnboundedEntryManager(
    TcamGroupAssignment assignment, const Kiv::String8 & desc,
    MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
    TcamAllocationStrategy strategy ) {
  return makeManager< MorvaneUnboundedTcamEntryManager >( assignment, desc, groupManager, group,
                                                          baseEntry, endEntry, strategy );
}

Kiv::ValidPtr< MorvaneBoundedTcamEntryManager > MorvaneTcamGroupManager::entryManagerIs(
    TcamGroupAssignment assignment, const Kiv::String8 & desc,
    MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
    TcamAllocationStrategy strategy ) {
  const auto make = [ this ]( const auto &... parameters ) {
    return newEntryManager( parameters... );
  };
  return memberOrMade( entryManager_, assignment, make, desc, groupManager, group, baseEntry,
                       endEntry, strategy );
}

Kiv::ValidPtr< MorvaneUnboundedTcamEntryManager > MorvaneTcamGroupManager::unboundedEntryManagerIs(
    TcamGroupAssignment assignment, const Kiv::String8 & desc,
    MorvaneTcamGroupManager * groupManager, U32 group, U32 baseEntry, U32 endEntry,
    TcamAllocationStrategy strategy ) {
  const auto make = [ this ]( const auto &... parameters ) {
    return newUnboundedEntryManager( parameters... );
  };
  return memberOrMade( unboundedEntryManager_, assignment, make, desc, groupManager, group,
                       baseEntry, endEntry, strategy );
}

Kiv::Ptr< MorvaneTcamEntryManager > MorvaneTcamGroupManager::managerOf(
    const TcamReservation & reservation ) const {
  if ( reservation.size != 0 )
    return entryManager( reservation.assignment );
  return unboundedEntryManager( reservation.assignment );
}

// --- Shape -----------------------------------------------------------------------------------

void MorvaneTcamGroupManager::numPipeNotify() {
  shapeChanged();
  GroupShape::numPipeNotify();
}

void MorvaneTcamGroupManager::stageIngressNotify( U32 group ) {
  shapeChanged();
  GroupShape::stageIngressNotify( group );
}

void MorvaneTcamGroupManager::ovidWarNotify( U32 group ) {
  shapeChanged();
  GroupShape::ovidWarNotify( group );
}

// --- Queries ---------------------------------------------------------------------------------

U32 MorvaneTcamGroupManager::entriesAvailable( U32 unit, U32 groupId ) {
  GroupReferences taken;
  U32 free = 0;
  const S32 mirAclType = groupMirroringAclType( static_cast< U8 >( groupId ) );
  try {
    if ( initializeGroup( unit, groupId, taken ) )
      free = freeEntries( unit, groupId );
  } catch ( ... ) {
    giveBackReferences( unit, taken );
    throw;
  }
  giveBackReferences( unit, taken );
  // A group that was made for the question is still to be made for its user.
  if ( free != 0 && groupMirroringAclTypeHas( static_cast< U8 >( groupId ) ) )
    groupMirroringAclTypeIs( static_cast< U8 >( groupId ), mirAclType );
  return free;
}

U32 MorvaneTcamGroupManager::freeEntries( U32 unit, U32 group ) {
  bcm_field_group_status_s status = {};
  SDK_CHECKED( bcm_field_group_status_get( unit, group, &status ) );
  // An entry and its twin stand in the same group.
  const int needed = ovidWar( group ) ? 2 : 1;
  if ( status.entries_free < needed && sliceFreedSize() != 0 ) {
    compressFreedSlices( unit );
    SDK_CHECKED( bcm_field_group_status_get( unit, group, &status ) );
  }
  return static_cast< U32 >( status.entries_free / needed );
}

void MorvaneTcamGroupManager::compressFreedSlices( U32 unit ) {
  // A snapshot: a group that is marked while these are compressed keeps its mark.
  Kiv::RbTreeMap< U32, bool > groups;
  for ( auto it = sliceFreedIterConst(); it; ++it )
    groups.insert( it.key(), it.value() );
  for ( Kiv::RbTreeMap< U32, bool >::Iter groupIter( groups ); groupIter; ++groupIter ) {
    SDK_UNCHECKED( bcm_field_group_compress( unit, groupIter.key() ) );
    FP_COMMAND() << "fp group compress " << groupIter.key();
  }
  for ( Kiv::RbTreeMap< U32, bool >::Iter groupIter( groups ); groupIter; ++groupIter )
    sliceFreedDel( groupIter.key() );
}

U32 MorvaneTcamGroupManager::getGroupPriority( U32 /* unit */, U32 pipeGroupId ) const {
  return tcamNumberBits.get( pipeGroupId );
}

U32 MorvaneTcamGroupManager::getNumOfTcamEntries( U32 unit, U32 groupId ) const {
  const Kiv::Ptr< GroupCounts > counts = groupCounts( getPipeGroupId( unit, 0, 0, groupId ) );
  if ( !counts || counts->unitRefCount( unit ) <= 0 )
    return 0;
  bcm_field_group_status_s status = {};
  SDK_CHECKED( bcm_field_group_status_get( unit, groupId, &status ) );
  return static_cast< U32 >( status.entries_total );
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
  const U32 groupId = pipeGroupId;
  bcm_field_group_status_s status = {};
  SDK_CHECKED( bcm_field_group_status_get( unit, groupId, &status ) );
  MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " group " << pipeGroupId << " entries total "
                               << status.entries_total << " free " << status.entries_free;
}

}  // namespace Morvane
