// Start-up of the group manager: platform tables, counter records, one entry manager per user.

#include <cstdlib>
#include <iostream>
#include <vector>

#include "kiv/Assert.h"
#include "kiv/Format.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

void MorvaneTcamGroupManager::initializedIs( bool value ) {
  if ( initialized_.get() == value )
    return;
  initialized_.set( value );
  handleInitialized();
  initializedNotify();
}

void MorvaneTcamGroupManager::handleInitialized() {
  const char * const simulationId = std::getenv( "SIMULATION_VMID" );
  MORVANE_TRACE( traceGroup ) << "handleInitialized";
  getMaxPorts();
  getIpv6MirroringSupported();
  simulationIs( simulationId != nullptr );
  // Several attributes are keyed by the low 8 bits of a group id.
  KIV_ASSERT( highestTcamGroupId() < 256 );
  // An id has two bits for its pipe.
  KIV_ASSERT( numPipe() <= BCM_PIPES_MAX );

  const bool ovidWarNeeded = applyUnitControls();
  clearGroupFlags();
  indexGroupTables();
  mapReservations();
  if ( ovidWarNeeded )
    ovidWarSmIs( Kiv::make< MorvaneOvidWarSm >( Kiv::Name( "ovidWarSm" ), ovidUtBitmapDir() ) );

  std::vector< U32 > nextEntry;
  for ( U32 group = 0; group <= highestTcamGroupId(); ++group )
    nextEntry.push_back( firstBaseEntry( group ) );
  for ( U32 i = 0; i < numTcamReservations(); ++i ) {
    TcamReservation & reservation = *getTcamReservation( i );
    const U32 group = reservation.group;
    KIV_ASSERT( groupIdToIndexIteratorConst().isMemberOf( group ) );
    startReservation( reservation, nextEntry[ group ] );
  }
}

bool MorvaneTcamGroupManager::applyUnitControls() {
  bool ovidWarNeeded = false;
  for ( auto unitIter = modChipInfoIterConst(); unitIter; ++unitIter ) {
    rangeCheckersExhaustedIs( unitIter.key(), false );
    udfResourceErrorIs( static_cast< U8 >( unitIter.key() ), false );
    SDK_CHECKED(
        bcm_field_control_set( unitIter.key(), bcmFieldControlRedirectExcludeSrcPort, 1 ) );
    SDK_CHECKED(
        bcm_field_control_set( unitIter.key(), bcmFieldControlRedirectIngressVlanCheck, 1 ) );
    SDK_CHECKED(
        bcm_field_control_set( unitIter.key(), bcmFieldControlRedirectNonUcastTrunkResolve, 1 ) );
    SDK_CHECKED(
        bcm_field_control_set( unitIter.key(), bcmFieldControlPolicerGroupSharingEnable, 1 ) );
    SDK_CHECKED( bcm_port_control_set( unitIter.key(), 0, bcmPortControlFilterIngress, 1 ) );
    SDK_CHECKED( bcm_port_control_set( unitIter.key(), 0, bcmPortControlFilterLookup, 1 ) );
    if ( Shim::sdk_->kelmor_field_shared_by_pipes( unitIter.key() ) ) {
      KIV_ASSERT( numPipe() == 1 );
      ovidWarNeeded = true;
    }
  }
  return ovidWarNeeded;
}

void MorvaneTcamGroupManager::clearGroupFlags() {
  for ( U32 group = 0; group <= highestTcamGroupId(); ++group ) {
    const U8 key = static_cast< U8 >( group );
    groupOpenFlowAclUdfValidIs( key, false );
    groupOpenFlowVxlanAclUdfValidIs( key, false );
    groupMirroringAclUdfValidIs( key, false );
    groupMirroringAclValidIs( key, false );
  }
}

void MorvaneTcamGroupManager::indexGroupTables() {
  for ( U32 i = 0; i < numTcamGroups(); ++i ) {
    const U32 groupNum = getTcamGroup( i )->group;
    KIV_ASSERT( groupNum <= highestTcamGroupId() );
    KIV_ASSERT( !groupIdToIndex( groupNum ) );
    groupIdToIndexIs( groupNum, i );
  }
  for ( U32 i = 0; i < numGroupExcludes(); ++i ) {
    const TcamGroupQualifiers & record = *getGroupExcludes( i );
    groupIdToExcludeIndexIs( { record.group, record.chipType }, i );
  }
  for ( U32 i = 0; i < numGroupIncludes(); ++i ) {
    const TcamGroupQualifiers & record = *getGroupIncludes( i );
    groupIdToIncludeIndexIs( { record.group, record.chipType }, i );
  }
}

namespace {

const TcamGroupMap * findGroupMap( S32 chipType, TcamGroupAssignment assignment ) {
  for ( U32 i = 0; i < numGroupMapEntries(); ++i ) {
    const TcamGroupMap * const record = getGroupMap( i );
    if ( record->chipType == chipType && record->assignment == assignment )
      return record;
  }
  return nullptr;
}

}  // namespace

void MorvaneTcamGroupManager::mapReservations() {
  S32 chipTypeFound = -1;
  for ( auto unitIter = modChipInfoIterConst(); unitIter; ++unitIter ) {
    const S32 chipType = chipTypeFromUnit( unitIter.key() );
    if ( chipTypeFound == -1 )
      chipTypeFound = chipType;
    KIV_ASSERT( chipType == chipTypeFound );
  }
  KIV_ASSERT( chipTypeFound != -1 );

  for ( U32 i = 0; i < numTcamReservations(); ++i ) {
    TcamReservation & reservation = *getTcamReservation( i );
    if ( const TcamGroupMap * const map = findGroupMap( chipTypeFound, reservation.assignment ) )
      reservation.group = map->group;
  }
}

void MorvaneTcamGroupManager::startReservation( TcamReservation & record, U32 & nextEntry ) {
  const TcamReservation * const reservation = &record;
  sizeCounterRecords( reservation->group );
  classifyGroup( *reservation );
  createEntryManager( *reservation, nextEntry );
  if ( reservation->noStatsPerEntry )
    KIV_ASSERT( noStatsPerEntryGroup( reservation->group ) );
}

namespace {

bool listMatchesIngress( const U32 * qualifiers ) {
  for ( ; *qualifiers != bcmFieldQualifyCount; ++qualifiers )
    if ( *qualifiers == bcmFieldQualifyStageIngress || *qualifiers == bcmFieldQualifyInPorts )
      return true;
  return false;
}

}  // namespace

// The ingress mark only sizes the counter records here; creation decides for itself.
void MorvaneTcamGroupManager::sizeCounterRecords( U32 group ) {
  const bool marked = stageIngressHas( group );
  const bool stage = stageIngress( group );
  if ( listMatchesIngress( getTcamGroup( groupIdToIndex( group ) )->qualifiers ) )
    stageIngressIs( group, true );
  for ( auto unitIter = modChipInfoIterConst(); unitIter; ++unitIter )
    for ( const PipeCopy c : pipeCopies( unitIter.key(), group ) )
      groupCountsIs( c.pipeGroup );
  if ( marked )
    stageIngressIs( group, stage );
  else
    stageIngressDel( group );
}

void MorvaneTcamGroupManager::classifyGroup( const TcamReservation & reservation ) {
  const U8 key = static_cast< U8 >( reservation.group );
  managedPriorityIs( reservation.group, reservation.managedPriority );
  groupMirroringAclTypeIs( key, -1 );

  const bool mirroring = reservation.assignment >= mirroringAclTcamGroup1 &&
                         reservation.assignment <= mirroringAclTcamGroup4;
  groupMirroringAclValidIs( key, mirroring );
  if ( reservation.assignment == openFlowUdfTcamGroup ) {
    groupIdToOpenFlowAclUdfIs( key );
    groupOpenFlowAclUdfValidIs( key, true );
  } else if ( reservation.assignment == openFlowVxlanUdfTcamGroup ) {
    groupIdToOpenFlowVxlanAclUdfIs( key );
    groupOpenFlowVxlanAclUdfValidIs( key, true );
  }
  groupIdToMirroringAclUdfIs( key );
  groupMirroringAclUdfValidIs( key, reservation.mirroringAclUdf && mirroring );
}

void MorvaneTcamGroupManager::createEntryManager( const TcamReservation & reservation,
                                                  U32 & nextEntry ) {
  const Kiv::String8 desc( reservation.name );
  const U32 group = reservation.group;
  const U32 baseEntry = nextEntry;
  const U32 endEntry = baseEntry + reservation.size;
  KIV_ASSERT( reservation.size <= entryNumberEnd && endEntry <= entryNumberEnd );
  if ( reservation.size != 0 )
    entryManagerIs( reservation.assignment, desc, this, group, baseEntry, endEntry,
                    reservation.strategy );
  else
    unboundedEntryManagerIs( reservation.assignment, desc, this, group, baseEntry, endEntry,
                             reservation.strategy );
  nextEntry = endEntry;
}

// Whoever still holds it: it follows no bitmap any more.
void MorvaneTcamGroupManager::dropOvidWarSm() {
  if ( ovidWarSm() )
    ovidWarSm()->notifierIs( nullptr );
  ovidWarSmIs( nullptr );
}

void MorvaneTcamGroupManager::doSdkReInit() {
  std::cout << __PRETTY_FUNCTION__ << " Cleaning up tcam manager" << std::endl;
  rangeCheckerDelAll();
  rangeCheckersExhaustedDelAll();
  sliceFreedDelAll();
  groupIdToExcludeIndexDelAll();
  groupIdToIncludeIndexDelAll();
  groupIdToIndexDelAll();
  groupCountsDelAll();
  preselectorLeftDelAll();
  // A feature may still hold a manager; its marks count no more.
  for ( auto it = unboundedEntryManagerIterConst(); it; ++it )
    it.member()->exhaustedDelAll();
  for ( auto it = entryManagerIterConst(); it; ++it )
    it.member()->exhaustedDelAll();
  unboundedEntryManagerDelAll();
  entryManagerDelAll();
  // No entry is left, so none has an owner; the registrations would keep the managers alive.
  tcamManagerForEntryDelAll();
  dropOvidWarSm();
  std::cout << __PRETTY_FUNCTION__ << " Re-initializing tcam group manager" << std::endl;
  handleInitialized();
}

}  // namespace Morvane
