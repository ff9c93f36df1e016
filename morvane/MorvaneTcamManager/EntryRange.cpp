// Whole ranges of entries, and the room that is left.

#include <algorithm>

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/EntryAllocation.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

// The strategies as functions, the form in which the assertions name them.
namespace Strategy {
constexpr TcamAllocationStrategy tcamAllocateAsChunk() {
  return Morvane::tcamAllocateAsChunk;
}
constexpr TcamAllocationStrategy tcamAllocateAtBeginning() {
  return Morvane::tcamAllocateAtBeginning;
}
}  // namespace Strategy

}  // namespace

bool MorvaneTcamEntryManager::allocateAllEntries( U32 unit ) {
  using Strategy::tcamAllocateAsChunk;
  using Strategy::tcamAllocateAtBeginning;
  KIV_ASSERT( strategy() == tcamAllocateAtBeginning() || strategy() == tcamAllocateAsChunk() );
  const U32 range = endEntry() - baseEntry();
  if ( entriesAvailable( unit ) < range ) {
    KIV_ASSERT( strategy() != tcamAllocateAtBeginning() );
    setExhausted( unit, true, false );
    return false;
  }
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  U32 entry = baseEntry();
  try {
    for ( ; entry < endEntry(); ++entry )
      createRangeEntry( unit, entry );
  } catch ( ... ) {
    while ( entry-- > baseEntry() )
      destroyEntryCopies( unit, entry, allCopies );
    throw;
  }
  entries->rangeCreatedIs( true );
  return true;
}

void MorvaneTcamEntryManager::createRangeEntry( U32 unit, U32 entry ) {
  U32 created = 0;
  try {
    createRangeEntryCopies( unit, entry, created );
    setPriorityForEntry( unit, entry, invalidPrio() );
  } catch ( ... ) {
    destroyEntryCopies( unit, entry, created );
    throw;
  }
}

void MorvaneTcamEntryManager::createRangeEntryCopies( U32 unit, U32 entry, U32 & created ) {
  const bool severalPipes = groupManager()->getNumPipe( group() ) >= 2;
  for ( const PipeCopy c : copies( unit ) ) {
    const U32 groupId = c.pipeGroup;
    const U32 entryId = c.entryId( entry );
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " "
                                 << "allocateAllEntries"
                                 << " group 0x" << Snaptrace::hex( groupId ) << " entry 0x"
                                 << Snaptrace::hex( entryId );
    SDK_CHECKED( bcm_field_entry_create_id( unit, groupId, entryId ) );
    FP_COMMAND() << "fp entry create " << groupId << " " << entryId;
    ++created;
    countsOf( c ).unitAllocatedInc( unit, 1 );
    if ( severalPipes )
      SDK_CHECKED( bcm_field_entry_prio_set( unit, entryId, defaultPrio( entry ) ) );
  }
}

void MorvaneTcamEntryManager::deallocateAllEntries( U32 unit ) {
  using Strategy::tcamAllocateAsChunk;
  using Strategy::tcamAllocateAtBeginning;
  KIV_ASSERT( strategy() == tcamAllocateAtBeginning() || strategy() == tcamAllocateAsChunk() );
  if ( groupManager()->getNumPipe( group() ) == 0 ) {
    setExhausted( unit, false, false );
    return;
  }
  const Kiv::ValidPtr< UnitEntriesCreated > entries = unitEntries( unit );
  bool sliceFreed = false;
  U32 destroyed = 0;
  try {
    for ( const PipeCopy c : copies( unit ) ) {
      for ( U32 entry = baseEntry(); entry < endEntry(); ++entry )
        if ( !entries->rangeEntryMissing( entry ) ) {
          sliceFreed = destroyEntryCopy( unit, c, c.entryId( entry ) ) || sliceFreed;
          ++destroyed;
        }
    }
  } catch ( ... ) {
    restoreRange( unit, *entries, destroyed );
    throw;
  }
  entries->rangeEntryMissingDelAll();
  entries->rangeCreatedIs( false );
  setExhausted( unit, false, sliceFreed );
}

// Makes the first `howMany` hardware entries again that giving the range back had destroyed.
void MorvaneTcamEntryManager::restoreRange( U32 unit, UnitEntriesCreated & entries, U32 howMany ) {
  for ( const PipeCopy c : copies( unit ) )
    for ( U32 entry = baseEntry(); entry < endEntry(); ++entry ) {
      if ( entries.rangeEntryMissing( entry ) )
        continue;
      if ( howMany-- == 0 )
        return;
      const U32 groupId = c.pipeGroup;
      const U32 entryId = c.entryId( entry );
      SDK_CHECKED( bcm_field_entry_create_id( unit, groupId, entryId ) );
      countsOf( c ).unitAllocatedInc( unit, 1 );
      SDK_CHECKED( bcm_field_entry_prio_set( unit, entryId, defaultPrio( entry ) ) );
    }
}

// True when the copy's count fell below a multiple of the slice size: a slice came free.
bool MorvaneTcamEntryManager::destroyEntryCopy( U32 unit, const PipeCopy & at, U32 entryId ) {
  SDK_CHECKED( bcm_field_entry_destroy( unit, entryId ) );
  FP_COMMAND() << "fp entry destroy " << entryId;
  const U32 left = countsOf( at ).unitAllocatedInc( unit, -1 );
  return ( left + 1 ) % sliceEntries == 0;
}

// Destroys the first `howMany` hardware copies of an entry.
void MorvaneTcamEntryManager::destroyEntryCopies( U32 unit, U32 entry, U32 howMany ) {
  for ( const PipeCopy c : copies( unit ) ) {
    if ( howMany-- == 0 )
      return;
    destroyEntryCopy( unit, c, c.entryId( entry ) );
  }
}

U32 MorvaneTcamEntryManager::entriesAvailable( U32 unit ) {
  const U32 range = endEntry() - baseEntry();
  const U32 used = unitEntries( unit )->entryCreatedSize();
  const U32 free = range - used;
  if ( strategy() == tcamAllocateAtBeginning )
    return free;
  if ( strategy() == tcamAllocateAsChunk ) {
    if ( used != 0 )
      return free;
    // A chunk that exists needs no room of the group.
    if ( unitEntries( unit )->rangeCreated() )
      return range;
    if ( groupManager()->entriesAvailable( unit, group() ) >= range )
      return range;
    setExhausted( unit, true, false );
    return 0;
  }
  const U32 groupFree = groupManager()->entriesAvailable( unit, group() );
  if ( groupFree == 0 )
    setExhausted( unit, true, false );
  return strategy() == tcamAllocateOnDemand ? std::min( groupFree, free ) : groupFree;
}

U32 MorvaneTcamEntryManager::entriesAllocated( U32 unit ) const {
  const Kiv::Ptr< UnitEntriesCreated > entries = internalUnitEntry( unit );
  const U32 used = entries ? entries->entryCreatedSize() : 0;
  const U32 range = endEntry() - baseEntry();
  if ( strategy() == tcamAllocateAtBeginning )
    return range;
  if ( strategy() == tcamAllocateAsChunk )
    return used != 0 || ( entries && entries->rangeCreated() ) ? range : 0;
  return used;
}

}  // namespace Morvane
