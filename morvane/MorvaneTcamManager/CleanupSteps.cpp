// The steps of rollbacks, releases and unfinished cleanup.

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/EntryInstall.h"
#include "morvane/MorvaneTcamManager/GroupLife.h"
#include "morvane/MorvaneTcamManager/Managers.h"
#include "morvane/MorvaneTcamManager/OvidTwins.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

// The user that has the entry installed on the unit; null if none has.
Kiv::Ptr< MorvaneTcamEntryManager > installerOf( const MorvaneTcamGroupManager & manager, U32 unit,
                                                 U32 entry ) {
  Kiv::Ptr< MorvaneTcamEntryManager > installer;
  forEachEntryManager( manager, [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
    const Kiv::Ptr< UnitEntriesCreated > entries = user->internalUnitEntry( unit );
    if ( entries && entries->entryInstalled( entry ) )
      installer = user;
  } );
  return installer;
}

// Keeps the traced texts of the calls, which name the records that held the id.
struct IdHolder {
  U32 id;

  U32 unitId( U32 ) const { return id; }
  S32 key() const { return static_cast< S32 >( id ); }
};

void destroyEntry( U32 unit, U32 entryId ) {
  SDK_CHECKED( bcm_field_entry_destroy( unit, entryId ) );
  FP_COMMAND() << "fp entry destroy " << entryId;
}

// Entry `from` still has the former priority of `entryId`.
void copyPriority( U32 unit, U32 entryId, U32 from ) {
  U32 priority = 0;
  SDK_CHECKED( bcm_field_entry_prio_get( unit, from, &priority ) );
  SDK_CHECKED( bcm_field_entry_prio_set( unit, entryId, priority ) );
  FP_COMMAND() << "fp entry prio " << entryId << " " << priority;
}

// Policer `from` still has the former configuration of `policerId`.
void copyPolicer( U32 unit, U32 policerId, U32 from ) {
  bcm_policer_config_t config = {};
  SDK_CHECKED( bcm_policer_get( unit, from, &config ) );
  SDK_CHECKED( bcm_policer_set( unit, policerId, &config ) );
  FP_COMMAND() << "fp policer set " << policerId;
}

bool makeEntryStep( MorvaneTcamGroupManager & manager, U32 unit, CleanupStep & step ) {
  const U32 entryId = step.id;
  switch ( step.action ) {
    case cleanupRemoveEntry: {
      const U32 tcamEntryId = step.id;
      SDK_CHECKED( bcm_field_entry_remove( unit, tcamEntryId ) );
      FP_COMMAND() << "fp entry remove " << tcamEntryId;
      MORVANE_TRACE( traceEntry ) << "removeEntry"
                                  << " Entry removed: " << tcamEntryId;
      return true;
    }
    case cleanupUninstallEntry:
      SDK_CHECKED( bcm_field_entry_remove( unit, entryId ) );
      FP_COMMAND() << "fp entry remove " << entryId;
      return true;
    case cleanupRemoveAction:
      SDK_CHECKED(
          bcm_field_action_remove( unit, entryId, static_cast< bcm_field_action_t >( step.a ) ) );
      FP_COMMAND() << "fp action remove " << entryId << " " << step.a;
      return true;
    case cleanupClearRule:
      SDK_CHECKED( bcm_field_qualify_clear( unit, entryId ) );
      FP_COMMAND() << "fp qual clear " << entryId;
      SDK_CHECKED( bcm_field_action_remove_all( unit, entryId ) );
      FP_COMMAND() << "fp action remove " << entryId;
      return true;
    case cleanupReinstallEntry:
      if ( const auto installer = installerOf( manager, unit, entryId ) )
        EntryInstall( *installer, unit ).reinstallCopies( entryId );
      return true;
    case cleanupRewriteTwin:
      if ( const auto installer = installerOf( manager, unit, entryId ) )
        OvidTwins( *installer, unit ).rewrite( entryId );
      return true;
    case cleanupEnableEntry: {
      const U32 tcamEntryId = step.id;
      const bool enable = step.a != 0;
      SDK_TOLERATED( static_cast< S32 >( step.b ),
                     bcm_field_entry_enable_set( unit, tcamEntryId, enable ) );
      FP_COMMAND() << "fp entry enable " << tcamEntryId << " " << U32( enable );
      return true;
    }
    case cleanupCopyPriority:
      copyPriority( unit, entryId, step.a );
      return true;
    case cleanupDestroyEntries:
      if ( step.a != 0 )
        destroyEntry( unit, step.id + step.a - 1 );
      return step.a == 0 || --step.a == 0;
    case cleanupAttachPolicer: {
      const U32 policerId = step.a;
      SDK_CHECKED( bcm_field_entry_policer_attach( unit, entryId, 0, policerId ) );
      FP_COMMAND() << "fp policer attach entry=" << entryId << " policer=" << policerId;
      return true;
    }
    case cleanupDetachPolicer:
      SDK_CHECKED( bcm_field_entry_policer_detach( unit, entryId, 0 ) );
      FP_COMMAND() << "fp policer detach entry=" << entryId;
      return true;
    case cleanupDetachAllPolicers:
      SDK_CHECKED( bcm_field_entry_policer_detach_all( unit, entryId ) );
      FP_COMMAND() << "fp policer detach entry=" << entryId << " all";
      return true;
    default:
      return false;
  }
}

// Objects that entries refer to.
void makeResourceStep( U32 unit, const CleanupStep & step ) {
  switch ( step.action ) {
    case cleanupDetachStats: {
      const U32 entryId = step.id;
      const U32 statsId = step.a;
      MORVANE_TRACE( traceDetail )
          << "Unit: " << unit << " Attempting to detach statId " << statsId;
      SDK_CHECKED( bcm_field_entry_stat_detach( unit, entryId, statsId ) );
      FP_COMMAND() << "fp stat detach entry=" << entryId << " StatId=" << statsId;
      return;
    }
    case cleanupDestroyStats: {
      const U32 statsId = step.id;
      SDK_CHECKED( bcm_field_stat_destroy( unit, statsId ) );
      FP_COMMAND() << "fp stat destroy StatId= " << statsId;
      return;
    }
    case cleanupDestroyPolicer: {
      const U32 policerId = step.id;
      MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " removePolicer"
                                  << "(policerId=0x" << Snaptrace::hex( policerId ) << ")";
      SDK_CHECKED( bcm_policer_destroy( unit, ( bcm_policer_t )policerId ) );
      FP_COMMAND() << "fp policer destroy " << policerId;
      return;
    }
    case cleanupCopyPolicer:
      copyPolicer( unit, step.id, step.a );
      return;
    case cleanupDestroyRange: {
      const IdHolder held{ step.id };
      const IdHolder * const data = &held;
      SDK_CHECKED( bcm_field_range_destroy( unit, data->unitId( unit ) ) );
      FP_COMMAND() << "fp range destroy " << step.id;
      return;
    }
    default:
      KIV_ASSERT( !"a cleanup step is made by nobody" );
  }
}

bool makeGroupStep( MorvaneTcamGroupManager & manager, U32 unit, const CleanupStep & step ) {
  const U32 groupId = step.id;
  switch ( step.action ) {
    case cleanupCompressEntries:
      forEachEntryManager( manager, [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
        EntryInstall( *user, unit ).compress();
      } );
      return true;
    case cleanupCompressGroup:
      SDK_UNCHECKED( bcm_field_group_compress( unit, groupId ) );
      FP_COMMAND() << "fp group compress " << groupId;
      return true;
    case cleanupCompressMarkedGroup: {
      const IdHolder groupIter{ step.id };
      SDK_UNCHECKED( bcm_field_group_compress( unit, groupIter.key() ) );
      FP_COMMAND() << "fp group compress " << step.id;
      return true;
    }
    case cleanupDestroyGroup:
      MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " Destroying group " << groupId;
      SDK_CHECKED( bcm_field_group_destroy( unit, groupId ) );
      FP_COMMAND() << "fp group destroy " << groupId;
      return true;
    case cleanupDestroyPreselector: {
      const U32 preselId = step.id;
      MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " doDestroyGroupPreselId " << preselId;
      SDK_CHECKED( bcm_field_presel_destroy( unit, preselId ) );
      FP_COMMAND() << "fp presel destroy " << preselId;
      return true;
    }
    case cleanupNarrowGroup:
      narrowGroup( unit, groupId, step.a );
      return true;
    case cleanupDeleteFormat:
      deleteUdfPackets( unit, static_cast< S32 >( step.id ), static_cast< UdfOffsetBase >( step.a ),
                        step.b );
      return true;
    case cleanupDestroyQualifier: {
      const S32 udfQualId = static_cast< S32 >( step.id );
      SDK_CHECKED( bcm_field_data_qualifier_destroy( unit, udfQualId ) );
      FP_COMMAND() << "fp data qualifier destroy " << udfQualId;
      return true;
    }
    case cleanupDeleteFlowFormat: {
      const IdHolder grpQualIter{ step.id };
      bcm_field_data_packet_format_s udfQualPktType = ipv4PacketFormat();
      SDK_CHECKED( bcm_field_data_qualifier_packet_format_delete( unit, grpQualIter.key(),
                                                                  &udfQualPktType ) );
      FP_COMMAND() << "fp data qualifier format delete " << step.id;
      return true;
    }
    case cleanupDestroyFlowQualifier: {
      const IdHolder grpQualIter{ step.id };
      SDK_CHECKED( bcm_field_data_qualifier_destroy( unit, grpQualIter.key() ) );
      FP_COMMAND() << "fp data qualifier destroy " << step.id;
      return true;
    }
    default:
      return false;
  }
}

}  // namespace

bool makeCleanupStep( MorvaneTcamGroupManager & manager, U32 unit, CleanupStep & step ) {
  if ( step.action <= cleanupDetachAllPolicers )
    return makeEntryStep( manager, unit, step );
  if ( !makeGroupStep( manager, unit, step ) )
    makeResourceStep( unit, step );
  return true;
}

}  // namespace Morvane
