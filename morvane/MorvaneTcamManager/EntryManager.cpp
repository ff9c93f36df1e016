// The entry managers: construction, identifiers, exhaustion, and forwards to the topics.

#include "morvane/MorvaneTcamEntryManager.h"

#include "kiv/Assert.h"
#include "kiv/Strep.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/EntryAllocation.h"
#include "morvane/MorvaneTcamManager/EntryInstall.h"
#include "morvane/MorvaneTcamManager/EntryRange.h"
#include "morvane/MorvaneTcamManager/EntryRelease.h"
#include "morvane/MorvaneTcamManager/Managers.h"
#include "morvane/MorvaneTcamManager/Policers.h"
#include "morvane/MorvaneTcamManager/PortBitmaps.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/EntryFields.h"
#include "morvane/Operation.h"

namespace Morvane {

// --- Records ---------------------------------------------------------------------------------

const Kiv::ValidPtr< StatTypes > & defaultStatTypes() {
  static const Kiv::ValidPtr< StatTypes > types = [] {
    Kiv::ValidPtr< StatTypes > made( Kiv::make< StatTypes >( Kiv::Name( "defaultStatTypes" ) ) );
    made->typeIs( 0, bcmFieldStatPackets );
    made->typeIs( 1, bcmFieldStatBytes );
    return made;
  }();
  return types;
}

Kiv::Ptr< TcamEntryBcmPbmp > UnitEntriesCreated::newTcamEntryBcmPbmp( U32 entry ) {
  return tcamEntryBcmPbmp_.make( Kiv::Name( Kiv::valueToStrep( entry ) ) );
}

Kiv::Ptr< OutportsTcamBcmPbmp > UnitEntriesCreated::newOutportsBcmPbmp( U32 entry ) {
  return outportsBcmPbmp_.make( Kiv::Name( Kiv::valueToStrep( entry ) ) );
}

Kiv::Ptr< UnitEntriesCreated > MorvaneTcamEntryManager::newInternalUnitEntry( U32 unit ) {
  return internalUnitEntry_.make( Kiv::Name( Kiv::valueToStrep( unit ) ) );
}

// --- Life cycle ------------------------------------------------------------------------------

MorvaneTcamEntryManager::MorvaneTcamEntryManager( const Kiv::Name & name,
                                                  TcamGroupAssignment assignment,
                                                  const Kiv::String8 & desc,
                                                  MorvaneTcamGroupManager * groupManager, U32 group,
                                                  U32 baseEntry, U32 endEntry,
                                                  TcamAllocationStrategy strategy )
    : Kiv::Entity( name ),
      assignment_( this, "assignment", assignment ),
      desc_( this, "desc", desc ),
      groupManager_( this, "groupManager", groupManager ),
      group_( this, "group", group ),
      baseEntry_( this, "baseEntry", baseEntry ),
      endEntry_( this, "endEntry", endEntry ),
      strategy_( this, "strategy", strategy ) {}

MorvaneTcamEntryManager::~MorvaneTcamEntryManager() = default;
MorvaneBoundedTcamEntryManager::~MorvaneBoundedTcamEntryManager() = default;
MorvaneUnboundedTcamEntryManager::~MorvaneUnboundedTcamEntryManager() = default;

const char * MorvaneTcamEntryManager::fwkType() const {
  return "Morvane::MorvaneTcamEntryManager";
}

const char * MorvaneBoundedTcamEntryManager::fwkType() const {
  return "Morvane::MorvaneBoundedTcamEntryManager";
}

const char * MorvaneUnboundedTcamEntryManager::fwkType() const {
  return "Morvane::MorvaneUnboundedTcamEntryManager";
}

void MorvaneTcamEntryManager::requireSameParameters( const Kiv::String8 & desc,
                                                     MorvaneTcamGroupManager * groupManager,
                                                     U32 group, U32 baseEntry, U32 endEntry,
                                                     TcamAllocationStrategy strategy ) const {
  desc_.requireSame( desc );
  groupManager_.requireSame( groupManager );
  group_.requireSame( group );
  baseEntry_.requireSame( baseEntry );
  endEntry_.requireSame( endEntry );
  strategy_.requireSame( strategy );
}

void MorvaneTcamEntryManager::handleInitialized() {
  MORVANE_TRACE( traceGroup ) << "MorvaneTcamEntryManager::"
                              << "handleInitialized"
                              << " group " << group() << " baseEntry " << baseEntry()
                              << " endEntry " << endEntry() << " desc " << desc();
  allocateStatsPerEntryIs( !noStatsPerEntryGroup( group() ) );
  Rollback rollback( holderOf( *this ) );
  // Without this the group manager would count the marks of a manager that does not exist.
  rollback.addRecord( [ this ] { exhaustedDelAll(); } );
  for ( auto unitIter = groupManager()->modChipInfoIterConst(); unitIter; ++unitIter )
    EntryStart( *this, unitIter.key() ).run( rollback );
  rollback.commit();
  initializedIs( true );
}

void MorvaneTcamEntryManager::releaseRanges() {
  for ( auto it = internalUnitEntryIterConst(); it; ++it ) {
    Release release( holderOf( *this ), it.key() );
    EntryRelease all( *this, it.key(), release );
    all.dropAll();
    all.dropIdle();
  }
}

void MorvaneTcamEntryManager::findUnitEntries( U32 unit ) const {
  lastEntries_ = internalUnitEntry( unit );
  lastUnit_ = unit;
  KIV_ASSERT( lastEntries_ && "The entry manager does not know the unit" );
}

void MorvaneTcamEntryManager::findCopies( U32 unit ) const {
  walk_ = holderOf( *this ).pipeCopies( unit, group() );
}

void MorvaneTcamEntryManager::findCounts( U32 index, U32 pipeGroup ) const {
  counts_[ index ] = holderOf( *this ).groupCounts( pipeGroup );
  countsGroup_[ index ] = pipeGroup;
  KIV_ASSERT( counts_[ index ] );
}

// --- Identifiers and priorities --------------------------------------------------------------

U32 MorvaneTcamEntryManager::getPipeEntryId( U32 /* unit */, U32 pipe, U32 entry, U32 copy ) const {
  return tcamId( entry, pipe, copy );
}

U32 MorvaneTcamEntryManager::getBaseCopyEntryId( U32 entryId ) const {
  return tcamCopyBits.set( entryId, 0 );
}

U32 MorvaneTcamEntryManager::defaultPrio( U32 entry ) const {
  return maxPrio() - entry;
}

// --- Exhaustion ------------------------------------------------------------------------------

void MorvaneTcamEntryManager::exhaustedIs( U32 unit, bool value ) {
  holderOf( *this ).exhaustedMarksInc( group(), S32( value ) - S32( exhausted( unit ) ) );
  exhausted_.set( unit, value );
}

bool MorvaneTcamEntryManager::exhaustedDel( U32 unit ) {
  holderOf( *this ).exhaustedMarksInc( group(), -S32( exhausted( unit ) ) );
  return exhausted_.del( unit );
}

void MorvaneTcamEntryManager::exhaustedDelAll() {
  exhausted_.forEachKey( [ this ]( U32 unit ) { exhaustedDel( unit ); } );
}

void MorvaneTcamEntryManager::exhaustedNotify( U32 unit ) {
  notify( "exhausted", &Notifiee::onExhausted, unit );
}

void MorvaneTcamEntryManager::setExhausted( U32 unit, bool exhausted, bool sliceFreed ) {
  MorvaneTcamGroupManager & groups = holderOf( *this );
  if ( !exhausted && !sliceFreed && groups.exhaustedMarksOf( group() ) == 0 )
    return;
  exhaustedIs( unit, exhausted );
  forEachEntryManager( groups, [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
    user->setExhaustedForManager( unit, exhausted, group(), sliceFreed );
  } );
  if ( sliceFreed )
    groups.sliceFreedIs( group(), true );
}

void MorvaneTcamEntryManager::setExhaustedForManager( U32 unit, bool exhausted, U32 forGroup,
                                                      bool sliceFreed ) {
  if ( strategy() == tcamAllocateAtBeginning )
    return;
  if ( strategy() == tcamAllocateAsChunk && entriesAllocated( unit ) != 0 )
    return;
  if ( forGroup == group() )
    exhaustedIs( unit, exhausted );
  else if ( !exhausted && sliceFreed )
    exhaustedIs( unit, false );
}

// --- Room ------------------------------------------------------------------------------------

bool MorvaneTcamEntryManager::initializeGroup( U32 unit ) {
  const Operation operation( *this, unit );
  Rollback rollback( *groupManager() );
  const bool acquired = acquireGroup( *this, unit, rollback );
  if ( acquired )
    rollback.commit();
  else
    rollback.undo();
  return acquired;
}

void MorvaneTcamEntryManager::uninitializeGroup( U32 unit ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  Release release( *groupManager(), unit );
  EntryRelease( *this, unit, release ).dropIdle();
  release.run();
}

U32 MorvaneTcamEntryManager::entriesAvailable( U32 unit ) {
  const Operation operation( *this, unit );
  return EntryRange( *this, unit ).available();
}

U32 MorvaneTcamEntryManager::entriesAllocated( U32 unit ) const {
  const Kiv::Ptr< UnitEntriesCreated > entries = internalUnitEntry( unit );
  const U32 used = entries ? entries->entryCreatedSize() : 0;
  const U32 range = endEntry() - baseEntry();
  if ( strategy() == tcamAllocateAtBeginning )
    return range;
  if ( strategy() == tcamAllocateAsChunk )
    return used != 0 ? range : 0;
  return used;
}

bool MorvaneTcamEntryManager::allocateAllEntries( U32 unit ) {
  const Operation operation( *this, unit );
  Rollback rollback( *groupManager() );
  const bool created = EntryRange( *this, unit ).create( rollback );
  rollback.commit();
  return created;
}

void MorvaneTcamEntryManager::deallocateAllEntries( U32 unit ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  assertHasRange( *this );
  if ( groupManager()->getNumPipe( group() ) == 0 ) {
    setExhausted( unit, false, false );
    return;
  }
  Release release( *groupManager(), unit );
  EntryRelease range( *this, unit, release );
  range.dropRange();
  release.run();
}

// --- Entries ---------------------------------------------------------------------------------

U32 MorvaneTcamEntryManager::getEntryBase( U32 unit, U32 entry, const Kiv::String8 & desc,
                                           const Kiv::Ptr< StatTypes > & statTypes ) {
  const Operation operation( *this, unit );
  Rollback rollback( *groupManager() );
  const U32 id = EntryAllocation( *this, unit, entry, desc, statTypes ).run( rollback );
  rollback.commit();
  return id;
}

U32 MorvaneBoundedTcamEntryManager::getEntry( U32 unit, U32 entry, const Kiv::String8 & desc ) {
  return getEntryWithStats( unit, entry, desc, defaultStatTypes().ptr() );
}

U32 MorvaneBoundedTcamEntryManager::getEntryWithStats( U32 unit, U32 entry,
                                                       const Kiv::String8 & desc,
                                                       const Kiv::Ptr< StatTypes > & statTypes ) {
  const Operation operation( *this, unit );
  MORVANE_TRACE( traceEntry ) << "Unit: " << unit << "entry: " << entry
                              << " base entry: " << baseEntry() << " end entry: " << endEntry()
                              << " desc: " << desc;
  KIV_ASSERT( entry >= baseEntry() && entry < endEntry() );
  Rollback rollback( *groupManager() );
  const U32 id = EntryAllocation( *this, unit, entry, desc, statTypes ).run( rollback );
  if ( id != 0 )
    EntryInstall( *this, unit ).writePriority( entry, invalidPrio(), nullptr );
  rollback.commit();
  return id;
}

U32 MorvaneUnboundedTcamEntryManager::getEntry( U32 unit, const Kiv::String8 & desc ) {
  return getEntryBase( unit, anyEntry, desc, defaultStatTypes().ptr() );
}

U32 MorvaneUnboundedTcamEntryManager::getEntryWithStats( U32 unit, const Kiv::String8 & desc,
                                                         const Kiv::Ptr< StatTypes > & statTypes ) {
  return getEntryBase( unit, anyEntry, desc, statTypes );
}

int MorvaneTcamEntryManager::installEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  EntryInstall( *this, unit ).install( entry );
  return 0;
}

int MorvaneTcamEntryManager::reinstallEntry( U32 unit, U32 entry ) {
  return installEntry( unit, entry );
}

int MorvaneTcamEntryManager::removeEntry( U32 unit, U32 entry ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  EntryInstall( *this, unit ).remove( entry );
  return 0;
}

void MorvaneTcamEntryManager::enableEntry( U32 unit, U32 entry, bool enable, int toleratedRc ) {
  const Operation operation( *this, unit );
  if ( groupManager()->singleView() )
    KIV_ASSERT( groupManager()->tcamManagerForEntry( entry ).rawPtr_ == this );
  EntryInstall( *this, unit ).enable( entry, enable, toleratedRc );
}

int MorvaneTcamEntryManager::setPriorityForEntry( U32 unit, U32 entry, U32 priority ) {
  const Operation operation( *this, unit );
  EntryInstall( *this, unit ).setPriority( entry, priority );
  return 0;
}

void MorvaneTcamEntryManager::compressEntries( U32 unit ) {
  const Operation operation( *this, unit );
  if ( internalUnitEntryHas( unit ) )
    EntryInstall( *this, unit ).compress();
}

void MorvaneTcamEntryManager::releaseEntry( U32 unit, U32 entry ) {
  releaseEntryInternal( unit, entry, true );
}

void MorvaneTcamEntryManager::releaseEntryInternal( U32 unit, U32 entry, bool releaseGroup ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  Release release( *groupManager(), unit );
  EntryRelease entryRelease( *this, unit, release );
  entryRelease.drop( entry );
  if ( releaseGroup )
    entryRelease.dropIdle();
  release.run();
}

// --- Input ports and loopback ----------------------------------------------------------------

void MorvaneTcamEntryManager::inPortsForEntryIs( U32 unit, U32 entry, const bcm_pbmp_t & data,
                                                 const bcm_pbmp_t & mask, bool permanent ) {
  const Operation operation( *this, unit );
  PortBitmaps( *this, unit ).inPortsIs( entry, data, mask, permanent );
}

void MorvaneTcamEntryManager::inPortForEntryIs( U32 unit, U32 entry, U32 port, bool permanent ) {
  const Operation operation( *this, unit );
  PortBitmaps( *this, unit ).inPortIs( entry, port, permanent );
}

void MorvaneTcamEntryManager::removeTcamEntryBcmPbmp( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  PortBitmaps( *this, unit ).dropTemporary( entry );
}

void MorvaneTcamEntryManager::tcamEntryBcmPbmpForget( U32 unit, U32 entry ) {
  const Operation operation( *this, unit );
  unitEntries( unit )->tcamEntryBcmPbmpDel( entry );
}

void MorvaneTcamEntryManager::addInPortsForEntry( U32 unit, U32 tcamEntryId,
                                                  const bcm_pbmp_t & data,
                                                  const bcm_pbmp_t & mask ) {
  unitEntries( unit )->entryInPortsIs( tcamEntryId, { data, mask } );
}

void MorvaneTcamEntryManager::addInPortForEntry( U32 unit, U32 tcamEntryId, U32 port ) {
  EntryInPorts ports;
  Shim::portsAdd( ports.data, port );
  ports.mask = Shim::allPorts();
  unitEntries( unit )->entryInPortsIs( tcamEntryId, ports );
}

EntryInPorts MorvaneTcamEntryManager::inPortsForEntry( U32 unit, U32 tcamEntryId ) const {
  const Operation operation( *this, unit );
  return PortBitmaps( const_cast< MorvaneTcamEntryManager & >( *this ), unit ).read( tcamEntryId );
}

void MorvaneTcamEntryManager::loopbackRedirectIs( U32 unit, U32 entry, bcm_field_action_t action,
                                                  const bcm_pbmp_t & outPorts ) {
  const Operation operation( *this, unit );
  PortBitmaps( *this, unit ).loopbackIs( entry, action, outPorts );
}

// --- Range checkers, policers, user-defined fields -------------------------------------------

U32 MorvaneTcamEntryManager::getRangeChecker( U32 unit, RangeCheckerDesc desc ) {
  const Operation operation( *this, unit );
  return groupManager()->getRangeChecker( unit, desc );
}

void MorvaneTcamEntryManager::releaseRangeChecker( U32 unit, RangeCheckerDesc desc ) {
  const Operation operation( *this, unit, Operation::Cleanup::withRelease );
  groupManager()->releaseRangeChecker( unit, desc );
}

bool MorvaneTcamEntryManager::rangeCheckersExhausted( U32 unit ) const {
  return holderOf( *this ).rangeCheckersExhausted( unit );
}

void MorvaneTcamEntryManager::attachPolicer( U32 unit, U32 entry, U32 basePolicerId,
                                             bool attach ) const {
  const Operation operation( *this, unit );
  const Policers policers( *groupManager(), unit );
  if ( attach )
    policers.attach( *this, entry, basePolicerId );
  else
    policers.detach( *this, entry, basePolicerId );
}

GroupUdfQualApplyStatus MorvaneTcamEntryManager::setMirroringAclUdf( U32 unit, S32 aclType,
                                                                     U32 ethType,
                                                                     UdfOffsetBase base, U8 offset,
                                                                     U8 length, bool add ) {
  using Cleanup = Operation::Cleanup;
  const Operation operation( *this, unit, add ? Cleanup::first : Cleanup::withRelease );
  return EntryFields( *this, unit ).set( aclType, ethType, base, offset, length, add );
}

S32 MorvaneTcamEntryManager::getMirroringAclUdf( U32 unit, S32 aclType, U32 ethType,
                                                 UdfOffsetBase base, U8 offset, U8 length ) const {
  return EntryFields( *this, unit ).find( aclType, ethType, base, offset, length );
}

void MorvaneTcamEntryManager::verifyMirroringAclUdf( U32 unit, S32 aclType, U32 ethType,
                                                     UdfOffsetBase base, U8 offset,
                                                     U8 length ) const {
  const Operation operation( *this, unit );
  EntryFields( *this, unit ).verify( aclType, ethType, base, offset, length );
}

}  // namespace Morvane
