#include "morvane/MorvaneTcamManager/Policers.h"

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamManager/EntryRecords.h"
#include "morvane/MorvaneTcamManager/Rollback.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

U32 Policers::ofPipe( U32 pipe, U32 basePolicerId ) const {
  return Shim::sdkShim().kelmor_field_shared_by_pipes( unit_ )
             ? basePolicerId
             : pipePolicerId( basePolicerId, pipe );
}

U32 Policers::create( U8 * policerCfg ) const {
  KIV_ASSERT( __null != policerCfg && "Invalid parameter, policer config is empty" );
  const U32 unit = unit_;
  bcm_policer_config_t * const polCfg = ( bcm_policer_config_t * )policerCfg;
  U32 basePolicerId{};
  Rollback rollback( manager_ );
  for ( U32 pipe = 0; pipe < manager_.numPipe(); ++pipe ) {
    U32 policerId{};
    if ( pipe == 0 ) {
      SDK_CHECKED( bcm_policer_create( unit, polCfg, ( bcm_policer_t * )&basePolicerId ) );
      policerId = basePolicerId;
    } else {
      policerId = ofPipe( pipe, basePolicerId );
      Shim::Fields::policerFlagsIs( *polCfg,
                                    Shim::Fields::policerFlags( *polCfg ) | BCM_POLICER_WITH_ID );
      SDK_CHECKED( bcm_policer_create( unit, polCfg, ( bcm_policer_t * )&policerId ) );
    }
    FP_COMMAND() << "fp policer create " << policerId;
    rollback.add( unit, { cleanupDestroyPolicer, policerId } );
    MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " createPolicer"
                                << "(policerId=0x" << Snaptrace::hex( policerId ) << ")";
  }
  rollback.commit();
  return basePolicerId;
}

void Policers::set( U32 basePolicerId, U8 * policerCfg ) const {
  KIV_ASSERT( __null != policerCfg && "Invalid parameter, policer config is empty" );
  const U32 unit = unit_;
  Rollback rollback( manager_ );
  for ( U32 pipe = 0; pipe < manager_.numPipe(); ++pipe ) {
    const U32 policerId = ofPipe( pipe, basePolicerId );
    MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " setPolicer"
                                << "policerId=0x" << Snaptrace::hex( policerId ) << ")";
    // If this pipe fails, it still has the former configuration, for the others to be restored
    // from.
    rollback.sourceIs( policerId );
    SDK_CHECKED( bcm_policer_set( unit, policerId, ( bcm_policer_config_t * )policerCfg ) );
    FP_COMMAND() << "fp policer set " << policerId;
    rollback.add( unit, { cleanupCopyPolicer, policerId } );
  }
  rollback.commit();
}

void Policers::remove( U32 basePolicerId ) const {
  Release release( manager_, unit_ );
  for ( U32 pipe = 0; pipe < manager_.numPipe(); ++pipe )
    release.add( { cleanupDestroyPolicer, ofPipe( pipe, basePolicerId ) } );
  release.run();
}

namespace {

// Calls fn( entryId, policerId ) for each copy of the entry; it returns the step that undoes it.
template < class F >
void changePolicer( const MorvaneTcamEntryManager & user, U32 unit, U32 entry, U32 basePolicerId,
                    const Policers & policers, F fn ) {
  assertTaken( *user.unitEntries( unit ), entry );
  Rollback rollback( *user.groupManager() );
  for ( const PipeCopy c : user.copies( unit ) ) {
    const U32 policerId = policers.ofPipe( c.pipe, basePolicerId );
    const U32 entryId = c.entryId( entry );
    MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " " << user.name() << " attachPolicer"
                                << "(entry=0x" << Snaptrace::hex( entryId )
                                << " policerId=" << Snaptrace::hex( policerId ) << ")";
    rollback.add( unit, fn( entryId, policerId ) );
  }
  rollback.commit();
}

}  // namespace

void Policers::attach( const MorvaneTcamEntryManager & user, U32 entry, U32 basePolicerId ) const {
  const U32 unit = unit_;
  changePolicer( user, unit, entry, basePolicerId, *this, [ & ]( U32 entryId, U32 policerId ) {
    SDK_CHECKED( bcm_field_entry_policer_attach( unit, entryId, 0, policerId ) );
    FP_COMMAND() << "fp policer attach entry=" << entryId << " policer=" << policerId;
    return CleanupStep( cleanupDetachPolicer, entryId );
  } );
}

void Policers::detach( const MorvaneTcamEntryManager & user, U32 entry, U32 basePolicerId ) const {
  const U32 unit = unit_;
  changePolicer( user, unit, entry, basePolicerId, *this, [ & ]( U32 entryId, U32 policerId ) {
    SDK_CHECKED( bcm_field_entry_policer_detach( unit, entryId, 0 ) );
    FP_COMMAND() << "fp policer detach entry=" << entryId;
    return CleanupStep( cleanupAttachPolicer, entryId, policerId );
  } );
}

}  // namespace Morvane
