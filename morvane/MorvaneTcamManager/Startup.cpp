#include "morvane/MorvaneTcamManager/Startup.h"

#include <cstdlib>
#include <optional>

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/GroupMap.h"
#include "morvane/MorvaneTcamManager/Managers.h"
#include "morvane/MorvaneTcamManager/QualifierSet.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/PlatformCheck.h"
#include "shim/SdkCall.h"

namespace Morvane {

void Startup::run() {
  manager_.startedIs( true );
  try {
    start();
  } catch ( ... ) {
    // The managers created so far have ranges in hardware.
    forEachEntryManager( manager_, []( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
      user->releaseRanges();
    } );
    forget();
    manager_.startedIs( false );
    throw;
  }
}

namespace {

// An assertion with a text of its own.
#define FAIL_ASSERTION( text ) __assert_fail( text, __FILE__, __LINE__, __PRETTY_FUNCTION__ )

// Ends the process at the first inconsistency for which start-up has no assertion of its own.
void assertTables( const MorvaneTcamGroupManager & manager ) {
  std::vector< PlatformUnit > units;
  for ( auto unitIter = manager.modChipInfoIterConst(); unitIter; ++unitIter )
    units.push_back( { unitIter.key(), unitIter.value(), chipProperties( unitIter.key() ) } );
  for ( const PlatformTableFault & fault : platformTableFaults( platformTables(), units ) )
    if ( !fault.assertedElsewhere )
      FAIL_ASSERTION( fault.text().c_str() );
}

}  // namespace

void Startup::start() {
  const char * const simulationId = std::getenv( "SIMULATION_VMID" );
  MORVANE_TRACE( traceGroup ) << "handleInitialized";
  manager_.getMaxPorts();
  manager_.getIpv6MirroringSupported();
  manager_.simulationIs( simulationId != nullptr );
  const auto numPipe = [ this ] { return manager_.numPipe(); };
  // Several attributes are keyed by the low 8 bits of a group id.
  KIV_ASSERT( highestTcamGroupId() < 256 );
  // An id has two bits for its pipe.
  KIV_ASSERT( numPipe() <= BCM_PIPES_MAX );

  const bool ovidWarNeeded = applyUnitControls();
  clearGroupFlags();
  indexGroupTables();
  mapReservations();
  assertTables( manager_ );
  if ( ovidWarNeeded )
    manager_.ovidWarSmIs(
        Kiv::make< MorvaneOvidWarSm >( Kiv::Name( "ovidWarSm" ), manager_.ovidUtBitmapDir() ) );

  std::vector< U32 > nextEntry;
  for ( U32 group = 0, last = highestTcamGroupId(); group <= last; ++group )
    nextEntry.push_back( firstBaseEntry( group ) );
  const auto groupIdToIndexIteratorConst = [ this ] {
    return manager_.groupIdToIndexIteratorConst();
  };
  for ( U32 i = 0; i < numTcamReservations(); ++i ) {
    TcamReservation & reservation = *getTcamReservation( i );
    const U32 group = reservation.group;
    KIV_ASSERT( groupIdToIndexIteratorConst().isMemberOf( group ) );
    startReservation( reservation, nextEntry[ group ] );
  }
}

void Startup::forget() {
  manager_.rangeCheckerDelAll();
  manager_.rangeCheckersExhaustedDelAll();
  manager_.sliceFreedDelAll();
  manager_.groupIdToExcludeIndexDelAll();
  manager_.groupIdToIncludeIndexDelAll();
  manager_.groupIdToIndexDelAll();
  manager_.groupCountsDelAll();
  // A feature may still hold an entry manager, whose marks no longer count.
  forEachEntryManager( manager_, []( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
    user->exhaustedDelAll();
  } );
  manager_.unboundedEntryManagerDelAll();
  manager_.entryManagerDelAll();
  // No entry is left; the registrations would keep the managers alive.
  manager_.tcamManagerForEntryDelAll();
  if ( manager_.ovidWarSm() )
    manager_.ovidWarSm()->notifierIs( nullptr );
  manager_.ovidWarSmIs( nullptr );
}

bool Startup::applyUnitControls() {
  const auto numPipe = [ this ] { return manager_.numPipe(); };
  bool ovidWarNeeded = false;
  for ( auto unitIter = manager_.modChipInfoIterConst(); unitIter; ++unitIter ) {
    manager_.rangeCheckersExhaustedIs( unitIter.key(), false );
    manager_.udfResourceErrorIs( static_cast< U8 >( unitIter.key() ), false );
    const auto echo = [ unit = unitIter.key() ]( const char * control ) {
      FP_COMMAND() << "fp control unit " << unit << " " << control;
    };
    SDK_CHECKED(
        bcm_field_control_set( unitIter.key(), bcmFieldControlRedirectExcludeSrcPort, 1 ) );
    echo( "RedirectExcludeSrcPort" );
    SDK_CHECKED(
        bcm_field_control_set( unitIter.key(), bcmFieldControlRedirectIngressVlanCheck, 1 ) );
    echo( "RedirectIngressVlanCheck" );
    SDK_CHECKED(
        bcm_field_control_set( unitIter.key(), bcmFieldControlRedirectNonUcastTrunkResolve, 1 ) );
    echo( "RedirectNonUcastTrunkResolve" );
    SDK_CHECKED(
        bcm_field_control_set( unitIter.key(), bcmFieldControlPolicerGroupSharingEnable, 1 ) );
    echo( "PolicerGroupSharingEnable" );
    SDK_CHECKED( bcm_port_control_set( unitIter.key(), 0, bcmPortControlFilterIngress, 1 ) );
    echo( "FilterIngress" );
    SDK_CHECKED( bcm_port_control_set( unitIter.key(), 0, bcmPortControlFilterLookup, 1 ) );
    echo( "FilterLookup" );
    if ( Shim::sdkShim().kelmor_field_shared_by_pipes( unitIter.key() ) ) {
      KIV_ASSERT( numPipe() == 1 );
      ovidWarNeeded = true;
    }
  }
  return ovidWarNeeded;
}

void Startup::clearGroupFlags() {
  for ( U32 group = 0, last = highestTcamGroupId(); group <= last; ++group ) {
    const U8 key = static_cast< U8 >( group );
    manager_.groupOpenFlowAclUdfValidIs( key, false );
    manager_.groupOpenFlowVxlanAclUdfValidIs( key, false );
    manager_.groupMirroringAclUdfValidIs( key, false );
    manager_.groupMirroringAclValidIs( key, false );
  }
}

void Startup::indexGroupTables() {
  const auto highestTcamGroupId = [ id = Morvane::highestTcamGroupId() ] { return id; };
  for ( U32 i = 0; i < numTcamGroups(); ++i ) {
    const U32 groupNum = getTcamGroup( i )->group;
    KIV_ASSERT( groupNum <= highestTcamGroupId() );
    const auto groupIdToIndex = [ this ]( U32 group ) { return manager_.groupIdToIndex( group ); };
    KIV_ASSERT( !groupIdToIndex( groupNum ) );
    manager_.groupIdToIndexIs( groupNum, i );
  }
  for ( U32 i = 0; i < numGroupExcludes(); ++i ) {
    const TcamGroupQualifiers & record = *getGroupExcludes( i );
    manager_.groupIdToExcludeIndexIs( { record.group, record.chipType }, i );
  }
  for ( U32 i = 0; i < numGroupIncludes(); ++i ) {
    const TcamGroupQualifiers & record = *getGroupIncludes( i );
    manager_.groupIdToIncludeIndexIs( { record.group, record.chipType }, i );
  }
}

void Startup::mapReservations() {
  std::optional< S32 > found;
  for ( auto unitIter = manager_.modChipInfoIterConst(); unitIter; ++unitIter ) {
    const S32 chipType = chipTypeFromUnit( unitIter.key() );
    const S32 chipTypeFound = found.value_or( chipType );
    KIV_ASSERT( chipType == chipTypeFound );
    found = chipType;
  }
  if ( !found )
    FAIL_ASSERTION( "chipTypeFound != -1" );

  const std::map< TcamGroupAssignment, U32 > groups = groupsByUser( platformTables(), *found );
  for ( U32 i = 0; i < numTcamReservations(); ++i ) {
    TcamReservation & reservation = *getTcamReservation( i );
    if ( const auto group = groups.find( reservation.assignment ); group != groups.end() )
      reservation.group = group->second;
  }
}

void Startup::startReservation( TcamReservation & record, U32 & nextEntry ) {
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

// The ingress mark only sizes the counter records here; group creation sets it again.
void Startup::sizeCounterRecords( U32 group ) {
  const bool stage = manager_.stageIngress( group );
  if ( listMatchesIngress( getTcamGroup( manager_.groupIdToIndex( group ) )->qualifiers ) )
    manager_.stageIngressIs( group, true );
  for ( auto unitIter = manager_.modChipInfoIterConst(); unitIter; ++unitIter )
    for ( const PipeCopy c : manager_.pipeCopies( unitIter.key(), group ) )
      manager_.groupCountsIs( c.pipeGroup );
  manager_.stageIngressIs( group, stage );
}

void Startup::classifyGroup( const TcamReservation & reservation ) {
  const U8 key = static_cast< U8 >( reservation.group );
  manager_.managedPriorityIs( reservation.group, reservation.managedPriority );
  manager_.groupMirroringAclTypeIs( key, -1 );

  const bool mirroring = reservation.assignment >= mirroringAclTcamGroup1 &&
                         reservation.assignment <= mirroringAclTcamGroup4;
  manager_.groupMirroringAclValidIs( key, mirroring );
  if ( reservation.assignment == openFlowUdfTcamGroup ) {
    manager_.groupIdToOpenFlowAclUdfIs( key );
    manager_.groupOpenFlowAclUdfValidIs( key, true );
  } else if ( reservation.assignment == openFlowVxlanUdfTcamGroup ) {
    manager_.groupIdToOpenFlowVxlanAclUdfIs( key );
    manager_.groupOpenFlowVxlanAclUdfValidIs( key, true );
  }
  manager_.groupIdToMirroringAclUdfIs( key );
  manager_.groupMirroringAclUdfValidIs( key, reservation.mirroringAclUdf && mirroring );
}

void Startup::createEntryManager( const TcamReservation & reservation, U32 & nextEntry ) {
  const Kiv::String8 desc( reservation.name );
  const U32 group = reservation.group;
  const U32 baseEntry = nextEntry;
  const U32 endEntry = baseEntry + reservation.size;
  if ( reservation.size != 0 )
    manager_.entryManagerIs( reservation.assignment, desc, &manager_, group, baseEntry, endEntry,
                             reservation.strategy );
  else
    manager_.unboundedEntryManagerIs( reservation.assignment, desc, &manager_, group, baseEntry,
                                      endEntry, reservation.strategy );
  nextEntry = endEntry;
}

}  // namespace Morvane
