#include "morvane/MorvaneTcamManager/EntryAllocation.h"

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/EntryInstall.h"
#include "morvane/MorvaneTcamManager/EntryRange.h"
#include "morvane/MorvaneTcamManager/EntryRecords.h"
#include "morvane/MorvaneTcamManager/EntryStats.h"
#include "morvane/MorvaneTcamManager/GroupLife.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

// --- The group -------------------------------------------------------------------------------

namespace {

void readMaxPrio( MorvaneTcamEntryManager & user, U32 unit ) {
  const auto group = [ & ] { return user.group(); };
  bcm_field_group_status_s status = {};
  SDK_CHECKED( bcm_field_group_status_get( unit, group(), &status ) );
  user.maxPrioIs( static_cast< U32 >( Shim::Fields::groupPrioMax( status ) ) );
}

void qualifyMulticast( U32 unit, U32 entry, U32 group ) {
  if ( isIPv4( group ) ) {
    SDK_CHECKED( bcm_field_qualify_DstIp( unit, entry, 0xe0000000, 0xf0000000 ) );
  } else {
    bcm_ip6_t ip6_mask = {};
    bcm_ip6_t ip6_mcast_prefix = {};
    Shim::Fields::ip6ByteIs( ip6_mask, 0, 0xFF );
    Shim::Fields::ip6ByteIs( ip6_mcast_prefix, 0, 0xFF );
    SDK_CHECKED( bcm_field_qualify_DstIp6( unit, entry, ip6_mask, ip6_mcast_prefix ) );
  }
  FP_COMMAND() << "fp qual " << entry << " multicast";
}

void createMulticastWarEntry( MorvaneTcamEntryManager & user, U32 unit, Rollback & rollback ) {
  UnitEntriesCreated * const entries = user.unitEntries( unit ).get();
  // The placeholder keeps the allocator from acquiring the group again.
  entries->entryCreatedIs( anyEntry, "DUMMY" );
  Rollback placeholder( *user.groupManager() );
  placeholder.addRecord( [ entries ] { entries->entryCreatedDel( anyEntry ); } );
  const Kiv::String8 desc( "IP Multicast DUMMY Entry" );
  const Kiv::Ptr< StatTypes > statTypes = defaultStatTypes();
  const U32 entry = EntryAllocation( user, unit, anyEntry, desc, statTypes ).run( rollback );
  KIV_ASSERT( entry != 0 );
  qualifyMulticast( unit, entry, user.group() );
  EntryInstall install( user, unit );
  install.setPriority( entry, multicastWarPriority );
  install.install( entry );
  for ( const PipeCopy c : user.copies( unit ) )
    rollback.add( unit, { cleanupUninstallEntry, c.entryId( entry ) } );
  rollback.addRecord( [ entries ] { entries->multicastWarEntryIs( 0 ); } );
  entries->multicastWarEntryIs( entry );
  placeholder.undo();
}

}  // namespace

bool acquireGroup( MorvaneTcamEntryManager & user, U32 unit, Rollback & rollback ) {
  MorvaneTcamGroupManager & groups = *user.groupManager();
  GroupReferences taken;
  if ( !GroupLife( groups, unit ).acquire( user.group(), rollback, taken ) ) {
    user.setExhausted( unit, true, false );
    return false;
  }
  UnitEntriesCreated * const entries = user.unitEntries( unit ).get();
  if ( !taken.empty() ) {
    entries->groupReferencesIs( entries->groupReferences() + 1 );
    rollback.addRecord(
        [ entries ] { entries->groupReferencesIs( entries->groupReferences() - 1 ); } );
  }
  if ( user.maxPrio() == 0 )
    readMaxPrio( user, unit );
  if ( groups.modChipInfo( static_cast< U16 >( unit ) ).multicastWar &&
       groupRequiresMulticastWAR( user.group() ) && entries->multicastWarEntry() == 0 )
    createMulticastWarEntry( user, unit, rollback );
  return true;
}

void EntryStart::run( Rollback & rollback ) {
  user_.internalUnitEntryIs( unit_ );
  user_.exhaustedIs( unit_, false );
  if ( Shim::sdkShim().kelmor_field_udf_short( unit_ ) )
    user_.maxUdfLengthIs( 28 );
  const MorvaneCentral::Attributes & agent = MorvaneCentral::morvaneAttributes();
  if ( !doAllocAtBeginning( user_.strategy(), user_.group(), agent.allocAtBeginning,
                            agent.pdpModeEnabled,
                            Shim::sdkShim().kelmor_field_alloc_at_beginning( unit_ ) ) )
    return;
  Rollback attempt( *user_.groupManager() );
  const auto initializeGroup = [ & ]( U32 unit ) { return acquireGroup( user_, unit, attempt ); };
  const U32 unit = unit_;
  KIV_ASSERT( initializeGroup( unit ) );
  // A chunk that does not fit marks the unit exhausted and is retried at its first use.
  if ( EntryRange( user_, unit ).create( attempt ) )
    rollback.take( attempt );
  else
    attempt.undo();
}

// --- One attempt -----------------------------------------------------------------------------

U32 EntryAllocation::run( Rollback & rollback ) {
  MORVANE_TRACE( traceEntry ) << "Unit: " << unit_ << " " << user_.name() << " getEntryBase"
                              << "(entry=0x" << Snaptrace::hex( entry_ ) << ")";
  const bool entryDesc = !desc_.empty();
  KIV_ASSERT( entryDesc );
  if ( entries().entryCreatedSize() == 0 ) {
    if ( !prepare( rollback ) ) {
      rollback.undo();
      return 0;
    }
  } else if ( user_.strategy() != tcamAllocateUnbounded && isTaken( entries(), entry_ ) ) {
    return 0;
  }
  if ( !createCopies( rollback ) ) {
    rollback.undo();
    return 0;
  }
  record( rollback );
  if ( user_.allocateStatsPerEntry() && !attachStats( rollback ) ) {
    user_.setExhausted( unit_, true, false );
    rollback.undo();
    loseRangeEntry();
    return 0;
  }
  handOver();
  return entry_;
}

// For the first entry of a unit: the group, and the range if entries are created all at once.
bool EntryAllocation::prepare( Rollback & rollback ) {
  if ( !acquireGroup( user_, unit_, rollback ) )
    return false;
  madeRange_ = user_.holdsRange() && !entries().rangeCreated();
  return !madeRange_ || EntryRange( *this ).create( rollback );
}

bool EntryAllocation::createCopies( Rollback & rollback ) {
  PipeCopies copies = user_.copies( unit_ );
  KIV_ASSERT( !copies.empty() );
  // An entry of a range exists, unless its statistics could not be created.
  const bool missing = user_.holdsRange() && entries().rangeEntryMissing( entry_ );
  const bool creates = !user_.holdsRange() || missing;
  const bool ordersEntries = groups_.managedPriority( user_.group() );
  for ( const PipeCopy c : copies ) {
    const int rc = creates ? createCopy( c, rollback ) : BCM_E_NONE;
    MORVANE_TRACE( traceEntry ) << "Unit: " << unit_ << " getEntryBase"
                                << " Entry created with entryId: 0x"
                                << Snaptrace::hex( c.entryId( entry_ ) )
                                << " in group: " << c.pipeGroup;
    if ( rc < 0 ) {
      refuse( c, rc );
      return false;
    }
    if ( ordersEntries ) {
      const U32 unit = unit_;
      const U32 entryId = c.entryId( entry_ );
      const U32 defPrio = user_.defaultPrio( entry_ );
      SDK_CHECKED( bcm_field_entry_prio_set( unit, entryId, defPrio ) );
      FP_COMMAND() << "fp entry prio " << entryId << " " << defPrio;
    }
  }
  if ( missing ) {
    entries().rangeEntryMissingDel( entry_ );
    rollback.addRecord(
        [ records = entries_, entry = entry_ ] { records->rangeEntryMissingIs( entry, true ); } );
  }
  return true;
}

int EntryAllocation::createCopy( const PipeCopy & at, Rollback & rollback ) {
  const U32 unit = unit_;
  const U32 groupId = at.pipeGroup;
  bcm_field_entry_t entryId = at.entryId( entry_ );
  int rc;
  if ( entry_ == anyEntry && user_.strategy() == tcamAllocateUnbounded ) {
    rc = SDK_CALL( bcm_field_entry_create( unit, groupId, &entryId ) );
    if ( rc >= 0 )
      entry_ = tcamNumberBits.get( entryId );
  } else {
    rc = SDK_CALL( bcm_field_entry_create_id( unit, groupId, entryId ) );
  }
  if ( rc >= 0 ) {
    FP_COMMAND() << "fp entry create " << groupId << " " << entryId;
    rollback.add( unit, { cleanupDestroyEntries, U32( entryId ), 1, groupId } );
    GroupCounts * const counts = &user_.countsOf( at );
    counts->unitAllocatedInc( unit, 1 );
    rollback.addRecord( [ counts, unit ] { counts->unitAllocatedInc( unit, -1 ); } );
  }
  return rc;
}

// Only pipe 0 may be full: a later pipe that differs means wrong records. A twin is in the table of
// its entry, which may have taken the last row.
void EntryAllocation::refuse( const PipeCopy & at, int rc ) {
  const U32 pipe = groups_.ovidWar( user_.group() ) ? 0 : at.pipe;
  KIV_ASSERT( pipe == 0 && "Failed to create per pipe entries" );
  MORVANE_TRACE( traceFailure ) << "Unit: " << unit_ << " getEntryBase"
                                << " Error " << rc << " for entry 0x"
                                << Snaptrace::hex( at.entryId( entry_ ) ) << " for " << desc_;
  if ( rc != BCM_E_RESOURCE && rc != BCM_E_EXISTS )
    SDK_RESULT( rc );
  MORVANE_TRACE( traceFailure ) << "Unit: " << unit_ << " " << user_.name()
                                << " failed to grab entry";
  if ( rc == BCM_E_RESOURCE )
    user_.setExhausted( unit_, true, false );
}

void EntryAllocation::record( Rollback & rollback ) {
  EntryRecords( *this ).add( entry_, desc_ );
  rollback.addRecord( [ user = &user_, unit = unit_, entry = entry_ ] {
    EntryRecords( *user, unit ).forget( entry );
  } );
}

bool EntryAllocation::attachStats( Rollback & rollback ) {
  static const StatTypesList usual( *defaultStatTypes() );
  const bool isUsual = !statTypes_ || statTypes_.rawPtr_ == defaultStatTypes().ptr().rawPtr_;
  const StatTypesList list = isUsual ? usual : StatTypesList( *statTypes_ );
  EntryStats stats( *this );
  for ( const PipeCopy c : copies() )
    if ( stats.install( c.pipeGroup, c.entryId( entry_ ), list, rollback ) == 0 )
      return false;
  return true;
}

// Destroys an entry of a range that got no statistics; its next use creates it again.
void EntryAllocation::loseRangeEntry() {
  if ( !user_.holdsRange() || !entries().rangeCreated() || entries().rangeEntryMissing( entry_ ) )
    return;
  Release release( groups_, unit_ );
  for ( const PipeCopy & c : CopiesBackwards( copies() ) ) {
    release.add( { cleanupDestroyEntries, c.entryId( entry_ ), 1, c.pipeGroup } );
    uncountEntries( user_.countsOf( c ), unit_, 1 );
  }
  entries().rangeEntryMissingIs( entry_, true );
  release.run();
}

void EntryAllocation::handOver() {
  const U32 unit = unit_;
  const U32 entryId = entry_;
  user_.setExhausted( unit, false, false );
  groups_.traceGroupStatus( unit, entries().groupId( entryId ) );
  const MorvaneCentral::Attributes & agent = MorvaneCentral::morvaneAttributes();
  if ( agent.dumpEntries && agent.dumpNewEntries )
    SDK_CHECKED( bcm_field_entry_dump( unit, entryId ) );
  KIV_ASSERT( entryId > 0 );
  EntryRecords( *this ).registerOwner( entryId );
  MORVANE_TRACE( traceEntry ) << "getEntryBase returning entryId: " << entryId
                              << " for : " << desc_;
}

}  // namespace Morvane
