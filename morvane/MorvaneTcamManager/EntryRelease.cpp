#include "morvane/MorvaneTcamManager/EntryRelease.h"

#include "morvane/MorvaneTcamManager/EntryRange.h"
#include "morvane/MorvaneTcamManager/EntryRecords.h"
#include "morvane/MorvaneTcamManager/EntryStats.h"
#include "morvane/MorvaneTcamManager/GroupLife.h"
#include "morvane/MorvaneTcamManager/OvidTwins.h"
#include "morvane/MorvaneTcamManager/Trace.h"

namespace Morvane {

EntryRelease::~EntryRelease() {
  if ( freed_ )
    user_.setExhausted( unit_, false, sliceFreed_ );
}

void EntryRelease::drop( U32 entry ) {
  MORVANE_TRACE( traceEntry ) << "Unit: " << unit_ << " " << user_.name() << " releaseEntry"
                              << "(entry=0x" << Snaptrace::hex( entry ) << ")";
  const bool installed = assertTaken( entries(), entry );
  EntryRecords records( *this );
  const CopiesBackwards all( copies() );

  if ( installed )
    for ( const PipeCopy & c : all )
      release_.add( { cleanupRemoveEntry, c.entryId( entry ) } );
  if ( groups_.ovidWar( user_.group() ) )
    OvidTwins( *this ).forget( entry );
  const bool range = user_.holdsRange();
  if ( range )
    enableCopies( all, entry );
  // The records do not say whether the entry has a policer, and a busy entry cannot be destroyed.
  for ( const PipeCopy & c : all )
    release_.add( { cleanupDetachAllPolicers, c.entryId( entry ) } );
  records.dropOwner( entry );
  if ( user_.allocateStatsPerEntry() )
    dropStats( all, entry );
  records.dropRest( entry );
  for ( const PipeCopy & c : all ) {
    const U32 entryId = c.entryId( entry );
    if ( range ) {
      release_.add( { cleanupClearRule, entryId } );
      continue;
    }
    release_.add( { cleanupDestroyEntries, entryId, 1, c.pipeGroup } );
    sliceFreed_ = uncountEntries( user_.countsOf( c ), unit_, 1 ) || sliceFreed_;
  }
  freed_ = true;
}

void EntryRelease::dropStats( const CopiesBackwards & all, U32 entry ) {
  EntryStats stats( *this );
  for ( const PipeCopy & c : all )
    stats.drop( c.entryId( entry ), release_ );
}

// A range keeps its hardware entries, which must be enabled for their next use.
void EntryRelease::enableCopies( const CopiesBackwards & all, U32 entry ) {
  const bool disabled = entries().entryDisabled( entry );
  const bool twinIdle = entries().ovidTwinIdle( entry );
  for ( const PipeCopy & c : all )
    if ( disabled || ( twinIdle && c.pipe != 0 ) )
      release_.add( { cleanupEnableEntry, c.entryId( entry ), 1 } );
}

void EntryRelease::dropIdle() {
  const U32 warEntry = entries().multicastWarEntry();
  if ( warEntry != 0 && entries().entryCreatedSize() == 1 )
    drop( warEntry );
  if ( entries().entryCreatedSize() != 0 )
    return;
  if ( user_.strategy() == tcamAllocateAsChunk && entries().rangeCreated() )
    dropRange();
  const U32 kept = entries().rangeCreated() ? 1 : 0;
  while ( entries().groupReferences() > kept ) {
    entries().groupReferencesIs( entries().groupReferences() - 1 );
    GroupLife( groups_, unit_ ).dropAll( user_.group(), release_ );
  }
}

void EntryRelease::dropAll() {
  for ( auto it = entries().entryCreatedIterConst(); it; ++it )
    drop( it.key() );
  if ( entries().rangeCreated() )
    dropRange();
}

void EntryRelease::dropRange() {
  sliceFreed_ = EntryRange( *this ).drop( release_ ) || sliceFreed_;
  freed_ = true;
}

}  // namespace Morvane
