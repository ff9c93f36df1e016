// Policers: one logical policer is one in every pipe; an entry has its pipe's on every copy.

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamEntryManager.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/EntryAllocation.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "shim/SdkCall.h"

namespace Morvane {

U32 MorvaneTcamGroupManager::getPipePolicerId( U32 unit, U32 pipe, U32 basePolicerId ) const {
  return Shim::sdk_->kelmor_field_shared_by_pipes( unit ) ? basePolicerId
                                                          : pipePolicerId( basePolicerId, pipe );
}

U32 MorvaneTcamGroupManager::createPolicer( U32 unit, U8 * policerCfg ) const {
  KIV_ASSERT( __null != policerCfg && "Invalid parameter, policer config is empty" );
  bcm_policer_config_t * const polCfg = ( bcm_policer_config_t * )policerCfg;
  U32 basePolicerId = 0;
  U32 created = 0;
  try {
    for ( U32 pipe = 0; pipe < numPipe(); ++pipe ) {
      U32 policerId = 0;
      if ( pipe == 0 ) {
        SDK_CHECKED( bcm_policer_create( unit, polCfg, ( bcm_policer_t * )&basePolicerId ) );
        policerId = basePolicerId;
      } else {
        policerId = getPipePolicerId( unit, pipe, basePolicerId );
        polCfg->flags |= BCM_POLICER_WITH_ID;
        SDK_CHECKED( bcm_policer_create( unit, polCfg, ( bcm_policer_t * )&policerId ) );
      }
      ++created;
      MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " createPolicer"
                                  << "(policerId=0x" << Snaptrace::hex( policerId ) << ")";
    }
  } catch ( ... ) {
    destroyPolicers( unit, basePolicerId, created );
    throw;
  }
  return basePolicerId;
}

void MorvaneTcamGroupManager::setPolicer( U32 unit, U32 basePolicerId, U8 * policerCfg ) const {
  KIV_ASSERT( __null != policerCfg && "Invalid parameter, policer config is empty" );
  for ( U32 pipe = 0; pipe < numPipe(); ++pipe ) {
    const U32 policerId = getPipePolicerId( unit, pipe, basePolicerId );
    MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " setPolicer"
                                << "policerId=0x" << Snaptrace::hex( policerId ) << ")";
    SDK_CHECKED( bcm_policer_set( unit, policerId, ( bcm_policer_config_t * )policerCfg ) );
  }
}

void MorvaneTcamGroupManager::removePolicer( U32 unit, U32 basePolicerId ) const {
  destroyPolicers( unit, basePolicerId, numPipe() );
}

// Destroys the policers of the first `pipes` pipes.
void MorvaneTcamGroupManager::destroyPolicers( U32 unit, U32 basePolicerId, U32 pipes ) const {
  for ( U32 pipe = 0; pipe < pipes; ++pipe ) {
    const U32 policerId = getPipePolicerId( unit, pipe, basePolicerId );
    MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " removePolicer"
                                << "(policerId=0x" << Snaptrace::hex( policerId ) << ")";
    SDK_CHECKED( bcm_policer_destroy( unit, ( bcm_policer_t )policerId ) );
  }
}

void MorvaneTcamEntryManager::attachPolicer( U32 unit, U32 entry, U32 basePolicerId,
                                             bool attach ) const {
  U32 done = 0;
  try {
    attachPolicerCopies( unit, entry, basePolicerId, attach, allCopies, done );
  } catch ( ... ) {
    U32 undone = 0;
    attachPolicerCopies( unit, entry, basePolicerId, !attach, done, undone );
    throw;
  }
}

// Goes over the first `howMany` hardware copies, and counts in `done` how many of them it has done.
void MorvaneTcamEntryManager::attachPolicerCopies( U32 unit, U32 entry, U32 basePolicerId,
                                                   bool attach, U32 howMany, U32 & done ) const {
  for ( const PipeCopy c : groupManager()->pipeCopies( unit, group() ) ) {
    if ( done == howMany )
      return;
    const U32 policerId = groupManager()->getPipePolicerId( unit, c.pipe, basePolicerId );
    const U32 entryId = getPipeEntryId( unit, c.pipe, entry, c.copy );
    MORVANE_TRACE( traceEntry ) << "Unit: " << unit << " " << name() << " attachPolicer"
                                << "(entry=0x" << Snaptrace::hex( entryId )
                                << " policerId=" << Snaptrace::hex( policerId ) << ")";
    if ( attach )
      SDK_CHECKED( bcm_field_entry_policer_attach( unit, entryId, 0, policerId ) );
    else
      SDK_CHECKED( bcm_field_entry_policer_detach( unit, entryId, 0 ) );
    ++done;
  }
}

}  // namespace Morvane
