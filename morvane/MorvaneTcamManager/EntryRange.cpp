#include "morvane/MorvaneTcamManager/EntryRange.h"

#include <algorithm>

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/EntryInstall.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

// The strategies as functions, as the assertion texts write them.
namespace Strategy {
constexpr TcamAllocationStrategy tcamAllocateAsChunk() {
  return Morvane::tcamAllocateAsChunk;
}
constexpr TcamAllocationStrategy tcamAllocateAtBeginning() {
  return Morvane::tcamAllocateAtBeginning;
}
}  // namespace Strategy

void assertNotAtBeginning( const MorvaneTcamEntryManager & user ) {
  using Strategy::tcamAllocateAtBeginning;
  const auto strategy = [ & ] { return user.strategy(); };
  KIV_ASSERT( strategy() != tcamAllocateAtBeginning() );
}

}  // namespace

void assertHasRange( const MorvaneTcamEntryManager & user ) {
  using Strategy::tcamAllocateAsChunk;
  using Strategy::tcamAllocateAtBeginning;
  const auto strategy = [ & ] { return user.strategy(); };
  KIV_ASSERT( strategy() == tcamAllocateAtBeginning() || strategy() == tcamAllocateAsChunk() );
}

bool uncountEntries( GroupCounts & counts, U32 unit, U32 howMany ) {
  const U32 before = counts.unitAllocated( unit );
  const U32 after = counts.unitAllocatedInc( unit, -static_cast< S32 >( howMany ) );
  return before / sliceEntries * sliceEntries > after;
}

bool EntryRange::create( Rollback & rollback ) {
  assertHasRange( user_ );
  if ( user_.entriesAvailable( unit_ ) < size() ) {
    // After start-up a range that a rebuild of its group has destroyed may no longer fit.
    if ( !user_.initialized() )
      assertNotAtBeginning( user_ );
    user_.setExhausted( unit_, true, false );
    return false;
  }
  // One step for each copy, extended with every entry.
  Rollback part( groups_ );
  U32 steps = 0;
  for ( const PipeCopy c : copies() ) {
    part.add( unit_, { cleanupDestroyEntries, c.entryId( user_.baseEntry() ), 0, c.pipeGroup } );
    part.addRecord( [ counts = &user_.countsOf( c ), unit = unit_, all = &part, index = steps++ ] {
      counts->unitAllocatedInc( unit, -static_cast< S32 >( all->step( index ).a ) );
    } );
  }
  for ( U32 entry = user_.baseEntry(); entry < user_.endEntry(); ++entry )
    createEntry( entry, part );
  part.commit();
  for ( const PipeCopy c : copies() ) {
    rollback.add( unit_,
                  { cleanupDestroyEntries, c.entryId( user_.baseEntry() ), size(), c.pipeGroup } );
    rollback.addRecord( [ counts = &user_.countsOf( c ), unit = unit_, all = size() ] {
      counts->unitAllocatedInc( unit, -static_cast< S32 >( all ) );
    } );
  }
  entries().rangeCreatedIs( true );
  rollback.addRecord( [ records = &entries() ] { records->rangeCreatedIs( false ); } );
  return true;
}

void EntryRange::createEntry( U32 entry, Rollback & rollback ) {
  const U32 unit = unit_;
  const bool severalPipes = groups_.getNumPipe( user_.group() ) >= 2;
  U32 index = 0;
  for ( const PipeCopy c : copies() ) {
    const U32 groupId = c.pipeGroup;
    const U32 entryId = c.entryId( entry );
    MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " "
                                 << "allocateAllEntries"
                                 << " group 0x" << Snaptrace::hex( groupId ) << " entry 0x"
                                 << Snaptrace::hex( entryId );
    SDK_CHECKED( bcm_field_entry_create_id( unit, groupId, entryId ) );
    FP_COMMAND() << "fp entry create " << groupId << " " << entryId;
    user_.countsOf( c ).unitAllocatedInc( unit, 1 );
    ++rollback.step( index++ ).a;
    const auto defaultPrio = [ & ]( U32 of ) { return user_.defaultPrio( of ); };
    if ( severalPipes ) {
      SDK_CHECKED( bcm_field_entry_prio_set( unit, entryId, defaultPrio( entry ) ) );
      FP_COMMAND() << "fp entry prio " << entryId << " " << defaultPrio( entry );
    }
  }
  EntryInstall( *this ).writePriority( entry, user_.invalidPrio(), nullptr );
}

bool EntryRange::drop( Release & release ) {
  bool sliceFreed = false;
  for ( const PipeCopy & c : CopiesBackwards( copies() ) ) {
    const U32 dropped = dropCopy( c, release );
    sliceFreed = uncountEntries( user_.countsOf( c ), unit_, dropped ) || sliceFreed;
  }
  entries().rangeEntryMissingDelAll();
  entries().rangeCreatedIs( false );
  return sliceFreed;
}

// One step for each run of existing entries, the last run first. Returns how many entries exist.
U32 EntryRange::dropCopy( const PipeCopy & at, Release & release ) {
  U32 dropped = 0;
  U32 end = user_.endEntry();
  while ( end > user_.baseEntry() ) {
    U32 begin = end;
    while ( begin > user_.baseEntry() && !entries().rangeEntryMissing( begin - 1 ) )
      --begin;
    if ( begin != end )
      release.add( { cleanupDestroyEntries, at.entryId( begin ), end - begin, at.pipeGroup } );
    dropped += end - begin;
    end = begin > user_.baseEntry() ? begin - 1 : begin;
  }
  return dropped;
}

U32 EntryRange::available() {
  const U32 free = size() - entries().entryCreatedSize();
  switch ( user_.strategy() ) {
    case tcamAllocateAtBeginning:
      return entries().rangeCreated() || !user_.initialized() ? free : roomFor( size() );
    case tcamAllocateAsChunk:
      // An existing chunk needs no further room.
      if ( entries().entryCreatedSize() != 0 || entries().rangeCreated() )
        return free;
      return roomFor( size() );
    case tcamAllocateOnDemand:
      return std::min( roomFor( 1 ), free );
    default:
      return roomFor( 1 );
  }
}

// Entries that the group can still take; 0, and the unit exhausted, when that is less than the
// range.
U32 EntryRange::roomFor( U32 range ) {
  const U32 room = groups_.entriesAvailable( unit_, user_.group() );
  if ( room < range ) {
    user_.setExhausted( unit_, true, false );
    return 0;
  }
  return user_.strategy() == tcamAllocateAsChunk || user_.strategy() == tcamAllocateAtBeginning
             ? range
             : room;
}

}  // namespace Morvane
