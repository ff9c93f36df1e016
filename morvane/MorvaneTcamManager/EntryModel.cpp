// The entry manager's model: construction, start-up, identifiers, exhaustion.

#include "kiv/Assert.h"
#include "kiv/Strep.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

// --- Records ---------------------------------------------------------------------------------

Kiv::ValidPtr< StatTypes > defaultStatTypes() {
  static const Kiv::ValidPtr< StatTypes > types = [] {
    Kiv::ValidPtr< StatTypes > made( Kiv::make< StatTypes >( Kiv::Name( "defaultStatTypes" ) ) );
    made->typeIs( 0, bcmFieldStatPackets );
    made->typeIs( 1, bcmFieldStatBytes );
    return made;
  }();
  return types;
}

Kiv::Ptr< TcamEntryBcmPbmp > UnitEntriesCreated::newTcamEntryBcmPbmp( U32 entry ) {
  return Kiv::make< TcamEntryBcmPbmp >( Kiv::Name( Kiv::valueToStrep( entry ) ) );
}

Kiv::Ptr< OutportsTcamBcmPbmp > UnitEntriesCreated::newOutportsBcmPbmp( U32 entry ) {
  return Kiv::make< OutportsTcamBcmPbmp >( Kiv::Name( Kiv::valueToStrep( entry ) ) );
}

Kiv::Ptr< UnitEntriesCreated > MorvaneTcamEntryManager::newInternalUnitEntry( U32 unit ) {
  return Kiv::make< UnitEntriesCreated >( Kiv::Name( Kiv::valueToStrep( unit ) ) );
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
  try {
    for ( auto unitIter = groupManager()->modChipInfoIterConst(); unitIter; ++unitIter )
      prepareUnit( unitIter.key() );
  } catch ( ... ) {
    giveBackRanges();
    throw;
  }
  initializedIs( true );
}

void MorvaneTcamEntryManager::prepareUnit( U32 unit ) {
  internalUnitEntryIs( unit );
  exhaustedIs( unit, false );
  if ( Shim::sdk_->kelmor_field_udf_short( unit ) )
    maxUdfLengthIs( 28 );
  const MorvaneCentral::Attributes & agent = MorvaneCentral::morvaneAttributes();
  if ( !doAllocAtBeginning( strategy(), group(), agent.allocAtBeginning, agent.pdpModeEnabled,
                            Shim::sdk_->kelmor_field_alloc_at_beginning( unit ) ) )
    return;
  KIV_ASSERT( initializeGroup( unit ) );
  // A chunk that does not fit leaves the unit exhausted and is tried again at its first use.
  if ( !allocateAllEntries( unit ) )
    giveBackGroup( unit );
}

void MorvaneTcamEntryManager::giveBackRanges() {
  for ( auto it = internalUnitEntryIterConst(); it; ++it ) {
    const U32 unit = it.key();
    if ( it.member()->rangeCreated() )
      deallocateAllEntries( unit );
    giveBackGroup( unit );
  }
  exhaustedDelAll();
}

Kiv::ValidPtr< UnitEntriesCreated > MorvaneTcamEntryManager::unitEntries( U32 unit ) const {
  // A record that was taken out of the collection has no parent any more.
  if ( lastUnit_ != unit || !lastEntries_ || lastEntries_->parent() != this ) {
    const Kiv::Ptr< UnitEntriesCreated > entries = internalUnitEntry( unit );
    KIV_ASSERT( entries );
    lastEntries_ = entries;
    lastUnit_ = unit;
  }
  return Kiv::ValidPtr< UnitEntriesCreated >( lastEntries_ );
}

PipeCopies MorvaneTcamEntryManager::copies( U32 unit ) {
  if ( !walk_ || walk_->unit() != unit )
    walk_ = groupManager()->pipeCopies( unit, group() );
  return *walk_;
}

GroupCounts & MorvaneTcamEntryManager::countsOf( const PipeCopy & at ) {
  const U32 index = at.pipe * 2 + at.copy;
  Kiv::Ptr< GroupCounts > & counts = counts_[ index ];
  // A record that was taken out of the collection has no parent any more.
  if ( !counts || counts->parent() == nullptr || countsGroup_[ index ] != at.pipeGroup ) {
    counts = groupManager()->groupCounts( at.pipeGroup );
    countsGroup_[ index ] = at.pipeGroup;
  }
  KIV_ASSERT( counts );
  return *counts;
}

bool MorvaneTcamEntryManager::holdsRange() const {
  return strategy() == tcamAllocateAtBeginning || strategy() == tcamAllocateAsChunk;
}

// --- Group -----------------------------------------------------------------------------------

bool MorvaneTcamEntryManager::initializeGroup( U32 unit ) {
  GroupReferences taken;
  bool created = false;
  try {
    created = groupManager()->initializeGroup( unit, group(), taken );
    if ( created )
      prepareGroup( unit );
  } catch ( ... ) {
    groupManager()->giveBackReferences( unit, taken );
    throw;
  }
  if ( !created ) {
    groupManager()->giveBackReferences( unit, taken );
    setExhausted( unit, true, false );
    return false;
  }
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  if ( !taken.empty() )
    entries->groupReferencesIs( entries->groupReferences() + 1 );
  return true;
}

void MorvaneTcamEntryManager::prepareGroup( U32 unit ) {
  if ( maxPrio() == 0 ) {
    bcm_field_group_status_s status = {};
    SDK_CHECKED( bcm_field_group_status_get( unit, group(), &status ) );
    maxPrioIs( static_cast< U32 >( status.prio_max ) );
  }
  if ( groupManager()->modChipInfo( static_cast< U16 >( unit ) ).multicastWar &&
       groupRequiresMulticastWAR( group() ) && unitEntries( unit )->multicastWarEntry() == 0 )
    createMulticastWarEntry( unit );
}

void MorvaneTcamEntryManager::createMulticastWarEntry( U32 unit ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  // The placeholder keeps the allocator from starting the group once more.
  entries->entryCreatedIs( anyEntry, "DUMMY" );
  U32 entry = 0;
  try {
    entry = getEntryBase( unit, anyEntry, "IP Multicast DUMMY Entry", defaultStatTypes() );
    KIV_ASSERT( entry != 0 );
    programMulticastWarEntry( unit, entry );
  } catch ( ... ) {
    entries->entryCreatedDel( anyEntry );
    if ( entry != 0 )
      releaseEntryInternal( unit, entry, false );
    throw;
  }
  entries->multicastWarEntryIs( entry );
  entries->entryCreatedDel( anyEntry );
}

void MorvaneTcamEntryManager::programMulticastWarEntry( U32 unit, U32 entry ) {
  if ( isIPv4( group() ) ) {
    SDK_CHECKED( bcm_field_qualify_DstIp( unit, entry, 0xe0000000, 0xf0000000 ) );
  } else {
    const bcm_ip6_t ip6_mask = { { 0xFF } };
    const bcm_ip6_t ip6_mcast_prefix = { { 0xFF } };
    SDK_CHECKED( bcm_field_qualify_DstIp6( unit, entry, ip6_mask, ip6_mcast_prefix ) );
  }
  setPriorityForEntry( unit, entry, multicastWarPriority );
  installEntry( unit, entry );
}

// A range that exists keeps one reference; nothing else outlives the last entry. What another
// activity takes meanwhile, for an entry of its own, is left to it.
void MorvaneTcamEntryManager::giveBackGroup( U32 unit ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  const U32 kept = entries->rangeCreated() ? 1 : 0;
  std::exception_ptr broken;
  for ( U32 left = entries->groupReferences(); left > kept; --left ) {
    // What an attempt that was broken off has given back already is passed over.
    for ( const PipeCopy c : copies( unit ) )
      if ( countsOf( c ).unitRefCount( unit ) > 0 )
        groupManager()->giveBackReference( unit, c.pipeGroup, broken );
    // Another activity may have given the same one back meanwhile.
    if ( entries->groupReferences() > kept )
      entries->groupReferencesIs( entries->groupReferences() - 1 );
  }
  if ( broken )
    std::rethrow_exception( broken );
}

// Called when an entry went, or was not had: a manager without entries keeps no group.
void MorvaneTcamEntryManager::giveBackIfIdle( U32 unit ) {
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  const U32 warEntry = entries->multicastWarEntry();
  if ( warEntry != 0 && entries->entryCreatedSize() == 1 ) {
    releaseEntryInternal( unit, warEntry, true );
    return;
  }
  if ( entries->entryCreatedSize() != 0 )
    return;
  if ( strategy() == tcamAllocateAsChunk && entries->rangeCreated() )
    deallocateAllEntries( unit );
  giveBackGroup( unit );
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
  groupManager()->exhaustedMarksInc( S32( value ) - S32( exhausted( unit ) ) );
  exhausted_.set( unit, value );
}

bool MorvaneTcamEntryManager::exhaustedDel( U32 unit ) {
  groupManager()->exhaustedMarksInc( -S32( exhausted( unit ) ) );
  return exhausted_.del( unit );
}

void MorvaneTcamEntryManager::exhaustedDelAll() {
  exhausted_.forEachKey( [ this ]( U32 unit ) { exhaustedDel( unit ); } );
}

void MorvaneTcamEntryManager::exhaustedNotify( U32 unit ) {
  notify( "exhausted", &Notifiee::onExhausted, unit );
}

void MorvaneTcamEntryManager::setExhausted( U32 unit, bool exhausted, bool sliceFreed ) {
  if ( !exhausted && !sliceFreed && groupManager()->exhaustedMarks() == 0 )
    return;
  exhaustedIs( unit, exhausted );
  for ( auto it = groupManager()->entryManagerIterConst(); it; ++it )
    it.member()->setExhaustedForManager( unit, exhausted, group(), sliceFreed );
  for ( auto it = groupManager()->unboundedEntryManagerIterConst(); it; ++it )
    it.member()->setExhaustedForManager( unit, exhausted, group(), sliceFreed );
  if ( sliceFreed )
    groupManager()->sliceFreedIs( group(), true );
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

}  // namespace Morvane
