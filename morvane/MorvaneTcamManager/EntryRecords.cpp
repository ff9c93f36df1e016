#include "morvane/MorvaneTcamManager/EntryRecords.h"

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/EntryStats.h"
#include "morvane/MorvaneTcamManager/Managers.h"

namespace Morvane {

bool isTaken( const UnitEntriesCreated & records, U32 entry ) {
  return records.installedMark( entry ) != nullptr ||
         ( entry == anyEntry && records.entryCreatedHas( entry ) );
}

bool assertTaken( const UnitEntriesCreated & records, U32 entry ) {
  const bool * const installed = records.installedMark( entry );
  KIV_ASSERT( ( installed || isTaken( records, entry ) ) && "The entry is not handed out" );
  return installed && *installed;
}

void EntryRecords::add( U32 entry, const Kiv::String8 & desc ) {
  entries().entryCreatedIs( entry, desc );
  entries().entryInstalledIs( entry, false );
  for ( const PipeCopy c : copies() )
    entries().groupIdIs( c.entryId( entry ), c.pipeGroup );
}

void EntryRecords::registerOwner( U32 entry ) {
  groups_.tcamManagerForEntryIs( entry, Kiv::Ptr< MorvaneTcamEntryManager >( &user_ ) );
}

void EntryRecords::forget( U32 entry ) {
  dropOwner( entry );
  EntryStats stats( *this );
  for ( const PipeCopy c : copies() )
    stats.forget( c.entryId( entry ) );
  dropRest( entry );
}

void EntryRecords::dropRest( U32 entry ) {
  UnitEntriesCreated & records = entries();
  for ( const PipeCopy c : copies() ) {
    const U32 entryId = c.entryId( entry );
    records.groupIdDel( entryId );
    if ( records.entryInPortsSize() != 0 )
      records.entryInPortsDel( entryId );
  }
  if ( records.tcamEntryBcmPbmpSize() != 0 )
    records.tcamEntryBcmPbmpDel( entry );
  if ( records.loopbackPortRedirectActionSize() != 0 )
    records.loopbackPortRedirectActionDel( entry );
  if ( records.outportsBcmPbmpSize() != 0 )
    records.outportsBcmPbmpDel( entry );
  if ( records.loopbackRedirectSize() != 0 )
    records.loopbackRedirectDel( entry );
  if ( records.entryDisabledSize() != 0 )
    records.entryDisabledDel( entry );
  if ( records.ovidTwinIdleSize() != 0 )
    records.ovidTwinIdleDel( entry );
  if ( records.multicastWarEntry() == entry )
    records.multicastWarEntryIs( 0 );
  records.entryInstalledDel( entry );
  records.entryCreatedDel( entry );
}

// Entry ids, and so their owners, are shared by all units.
void EntryRecords::dropOwner( U32 entry ) {
  if ( !groups_.isOwner( user_, entry ) )
    return;
  if ( groups_.modChipInfoSize() == 1 ) {
    groups_.tcamManagerForEntryDel( entry );
    return;
  }
  for ( auto it = user_.internalUnitEntryIterConst(); it; ++it )
    if ( it.key() != unit_ && it.member()->entryCreatedHas( entry ) )
      return;
  // An id that the SDK chose may belong to another manager on another unit: it becomes the owner.
  Kiv::Ptr< MorvaneTcamEntryManager > heir;
  forEachEntryManager( groups_, [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & other ) {
    for ( auto it = other->internalUnitEntryIterConst(); it && !heir; ++it )
      if ( other.rawPtr_ != &user_ && it.member()->entryCreatedHas( entry ) )
        heir = other;
  } );
  if ( heir )
    groups_.tcamManagerForEntryIs( entry, heir );
  else
    groups_.tcamManagerForEntryDel( entry );
}

}  // namespace Morvane
