// The steps of rollbacks, releases and unfinished cleanup.

#include <array>

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

// --- Entries ---------------------------------------------------------------------------------

void removeEntry( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 tcamEntryId = step.id;
  SDK_CHECKED( bcm_field_entry_remove( unit, tcamEntryId ) );
  FP_COMMAND() << "fp entry remove " << tcamEntryId;
  MORVANE_TRACE( traceEntry ) << "removeEntry"
                              << " Entry removed: " << tcamEntryId;
}

void uninstallEntry( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 entryId = step.id;
  SDK_CHECKED( bcm_field_entry_remove( unit, entryId ) );
  FP_COMMAND() << "fp entry remove " << entryId;
}

void removeAction( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 entryId = step.id;
  SDK_CHECKED(
      bcm_field_action_remove( unit, entryId, static_cast< bcm_field_action_t >( step.a ) ) );
  FP_COMMAND() << "fp action remove " << entryId << " " << step.a;
}

void clearRule( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 entryId = step.id;
  SDK_CHECKED( bcm_field_qualify_clear( unit, entryId ) );
  FP_COMMAND() << "fp qual clear " << entryId;
  SDK_CHECKED( bcm_field_action_remove_all( unit, entryId ) );
  FP_COMMAND() << "fp action remove " << entryId;
}

void reinstallEntry( MorvaneTcamGroupManager & manager, U32 unit, CleanupStep & step ) {
  if ( const auto installer = installerOf( manager, unit, step.id ) )
    EntryInstall( *installer, unit ).reinstallCopies( step.id );
}

void rewriteTwin( MorvaneTcamGroupManager & manager, U32 unit, CleanupStep & step ) {
  if ( const auto installer = installerOf( manager, unit, step.id ) )
    OvidTwins( *installer, unit ).rewrite( step.id );
}

void enableEntry( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 tcamEntryId = step.id;
  const bool enable = step.a != 0;
  SDK_TOLERATED( static_cast< S32 >( step.b ),
                 bcm_field_entry_enable_set( unit, tcamEntryId, enable ) );
  FP_COMMAND() << "fp entry enable " << tcamEntryId << " " << U32( enable );
}

// Entry `from` still has the former priority of `entryId`.
void copyPriority( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 entryId = step.id;
  const U32 from = step.a;
  U32 priority = 0;
  SDK_CHECKED( bcm_field_entry_prio_get( unit, from, &priority ) );
  SDK_CHECKED( bcm_field_entry_prio_set( unit, entryId, priority ) );
  FP_COMMAND() << "fp entry prio " << entryId << " " << priority;
}

// Counts down, so that entries which are destroyed are not destroyed again.
void destroyEntries( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  for ( ; step.a != 0; --step.a ) {
    const U32 entryId = step.id + step.a - 1;
    SDK_CHECKED( bcm_field_entry_destroy( unit, entryId ) );
    FP_COMMAND() << "fp entry destroy " << entryId;
  }
}

void attachPolicer( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 entryId = step.id;
  const U32 policerId = step.a;
  SDK_CHECKED( bcm_field_entry_policer_attach( unit, entryId, 0, policerId ) );
  FP_COMMAND() << "fp policer attach entry=" << entryId << " policer=" << policerId;
}

void detachPolicer( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 entryId = step.id;
  SDK_CHECKED( bcm_field_entry_policer_detach( unit, entryId, 0 ) );
  FP_COMMAND() << "fp policer detach entry=" << entryId;
}

void detachAllPolicers( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 entryId = step.id;
  SDK_CHECKED( bcm_field_entry_policer_detach_all( unit, entryId ) );
  FP_COMMAND() << "fp policer detach entry=" << entryId << " all";
}

// --- Objects that entries refer to -----------------------------------------------------------

void detachStats( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 entryId = step.id;
  const U32 statsId = step.a;
  MORVANE_TRACE( traceDetail ) << "Unit: " << unit << " Attempting to detach statId " << statsId;
  SDK_CHECKED( bcm_field_entry_stat_detach( unit, entryId, statsId ) );
  FP_COMMAND() << "fp stat detach entry=" << entryId << " StatId=" << statsId;
}

void destroyStats( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 statsId = step.id;
  SDK_CHECKED( bcm_field_stat_destroy( unit, statsId ) );
  FP_COMMAND() << "fp stat destroy StatId= " << statsId;
}

void destroyPolicer( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 policerId = step.id;
  MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " removePolicer"
                              << "(policerId=0x" << Snaptrace::hex( policerId ) << ")";
  SDK_CHECKED( bcm_policer_destroy( unit, ( bcm_policer_t )policerId ) );
  FP_COMMAND() << "fp policer destroy " << policerId;
}

// Policer `from` still has the former configuration of `policerId`.
void copyPolicer( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 policerId = step.id;
  const U32 from = step.a;
  bcm_policer_config_t config = {};
  SDK_CHECKED( bcm_policer_get( unit, from, &config ) );
  SDK_CHECKED( bcm_policer_set( unit, policerId, &config ) );
  FP_COMMAND() << "fp policer set " << policerId;
}

void destroyRange( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const IdHolder held{ step.id };
  const IdHolder * const data = &held;
  SDK_CHECKED( bcm_field_range_destroy( unit, data->unitId( unit ) ) );
  FP_COMMAND() << "fp range destroy " << step.id;
}

// --- Groups ----------------------------------------------------------------------------------

void compressEntries( MorvaneTcamGroupManager & manager, U32 unit, CleanupStep & ) {
  forEachEntryManager(
      manager,
      [ & ]( const Kiv::Ptr< MorvaneTcamEntryManager > & user ) {
        EntryInstall( *user, unit ).compress();
      } );
}

void compressGroup( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 groupId = step.id;
  SDK_UNCHECKED( bcm_field_group_compress( unit, groupId ) );
  FP_COMMAND() << "fp group compress " << groupId;
}

void compressMarkedGroup( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const IdHolder groupIter{ step.id };
  SDK_UNCHECKED( bcm_field_group_compress( unit, groupIter.key() ) );
  FP_COMMAND() << "fp group compress " << step.id;
}

void destroyGroup( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 groupId = step.id;
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " Destroying group " << groupId;
  SDK_CHECKED( bcm_field_group_destroy( unit, groupId ) );
  FP_COMMAND() << "fp group destroy " << groupId;
}

void destroyPreselector( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const U32 preselId = step.id;
  MORVANE_TRACE( traceGroup ) << "Unit: " << unit << " doDestroyGroupPreselId " << preselId;
  SDK_CHECKED( bcm_field_presel_destroy( unit, preselId ) );
  FP_COMMAND() << "fp presel destroy " << preselId;
}

void narrowGroupBy( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  narrowGroup( unit, step.id, step.a );
}

void deleteFormat( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  deleteUdfPackets( unit, static_cast< S32 >( step.id ), static_cast< UdfOffsetBase >( step.a ),
                    step.b );
}

void destroyQualifier( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const S32 udfQualId = static_cast< S32 >( step.id );
  SDK_CHECKED( bcm_field_data_qualifier_destroy( unit, udfQualId ) );
  FP_COMMAND() << "fp data qualifier destroy " << udfQualId;
}

void deleteFlowFormat( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const IdHolder grpQualIter{ step.id };
  bcm_field_data_packet_format_s udfQualPktType = ipv4PacketFormat();
  SDK_CHECKED(
      bcm_field_data_qualifier_packet_format_delete( unit, grpQualIter.key(), &udfQualPktType ) );
  FP_COMMAND() << "fp data qualifier format delete " << step.id;
}

void destroyFlowQualifier( MorvaneTcamGroupManager &, U32 unit, CleanupStep & step ) {
  const IdHolder grpQualIter{ step.id };
  SDK_CHECKED( bcm_field_data_qualifier_destroy( unit, grpQualIter.key() ) );
  FP_COMMAND() << "fp data qualifier destroy " << step.id;
}

// What makes a step, by its action.
using Maker = void ( * )( MorvaneTcamGroupManager &, U32, CleanupStep & );
constexpr auto makers = [] {
  std::array< Maker, cleanupDestroyFlowQualifier + 1 > of{};
  of[ cleanupRemoveEntry ] = removeEntry;
  of[ cleanupUninstallEntry ] = uninstallEntry;
  of[ cleanupRemoveAction ] = removeAction;
  of[ cleanupClearRule ] = clearRule;
  of[ cleanupReinstallEntry ] = reinstallEntry;
  of[ cleanupRewriteTwin ] = rewriteTwin;
  of[ cleanupEnableEntry ] = enableEntry;
  of[ cleanupCopyPriority ] = copyPriority;
  of[ cleanupDestroyEntries ] = destroyEntries;
  of[ cleanupAttachPolicer ] = attachPolicer;
  of[ cleanupDetachPolicer ] = detachPolicer;
  of[ cleanupDetachAllPolicers ] = detachAllPolicers;
  of[ cleanupDetachStats ] = detachStats;
  of[ cleanupDestroyStats ] = destroyStats;
  of[ cleanupDestroyPolicer ] = destroyPolicer;
  of[ cleanupCopyPolicer ] = copyPolicer;
  of[ cleanupDestroyRange ] = destroyRange;
  of[ cleanupCompressEntries ] = compressEntries;
  of[ cleanupCompressGroup ] = compressGroup;
  of[ cleanupCompressMarkedGroup ] = compressMarkedGroup;
  of[ cleanupDestroyGroup ] = destroyGroup;
  of[ cleanupDestroyPreselector ] = destroyPreselector;
  of[ cleanupNarrowGroup ] = narrowGroupBy;
  of[ cleanupDeleteFormat ] = deleteFormat;
  of[ cleanupDestroyQualifier ] = destroyQualifier;
  of[ cleanupDeleteFlowFormat ] = deleteFlowFormat;
  of[ cleanupDestroyFlowQualifier ] = destroyFlowQualifier;
  return of;
}();

}  // namespace

void makeCleanupStep( MorvaneTcamGroupManager & manager, U32 unit, CleanupStep & step ) {
  makers[ step.action ]( manager, unit, step );
}

}  // namespace Morvane
