// Policers: one logical policer is one hardware policer per pipe, attached to the entry copies of
// that pipe. Internal. There are no records: the pipes' ids follow from the client's base id.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

class Policers {
 public:
  Policers( const MorvaneTcamGroupManager & manager, U32 unit )
      : manager_( manager ), unit_( unit ) {}

  // As the managers' createPolicer, setPolicer, removePolicer and attachPolicer.
  U32 create( U8 * policerCfg ) const;
  void set( U32 basePolicerId, U8 * policerCfg ) const;
  void remove( U32 basePolicerId ) const;
  void attach( const MorvaneTcamEntryManager & user, U32 entry, U32 basePolicerId ) const;
  void detach( const MorvaneTcamEntryManager & user, U32 entry, U32 basePolicerId ) const;
  // The policer of one pipe.
  U32 ofPipe( U32 pipe, U32 basePolicerId ) const;

 private:
  const MorvaneTcamGroupManager & manager_;
  const U32 unit_;
};

}  // namespace Morvane
