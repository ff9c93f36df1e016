// Policers: meters that drop red packets, and that entries can share.
//
// Chip rules
// - Each pipe has a pool, and policer ids have the pipe in bits 24 and 25; chips whose pipes share
//   their tables have one pool. The number in an id is 1 to the pool size. BCM_E_RESOURCE if the
//   pool is empty, BCM_E_UNAVAIL if the chip has no policers.
// - The chip chooses the lowest free number of pipe 0. BCM_POLICER_WITH_ID requests the given id,
//   the only way to use the pool of another pipe: BCM_E_PARAM for an invalid id, BCM_E_EXISTS for
//   one in use.
// - BCM_E_PARAM for a configuration that Meter::accepts rejects. A new configuration refills the
//   buckets. Set ignores the with-id flag.
// - An entry has at most one policer (BCM_E_EXISTS), at level 0 and in the pipe of its table
//   (BCM_E_PARAM); single-instance tables use pipe 0. Detach returns BCM_E_NOT_FOUND if none is
//   attached, detach-all does not. Attach and detach take effect at once.
// - BCM_E_BUSY for destroying an attached policer, BCM_E_NOT_FOUND for an unknown one.
#pragma once

#include <map>

#include "softasic/Entry.h"
#include "softasic/Meter.h"

namespace SoftAsic {

class Policers {
 public:
  // `perPool` policers in each of `pools` pools.
  Policers( U32 pools, U32 perPool ) : pools_( pools ), perPool_( perPool ) {}

  int create( bcm_policer_config_t * config, U32 * id, U64 now );
  int set( U32 id, const bcm_policer_config_t * config, U64 now );
  int get( U32 id, bcm_policer_config_t * config ) const;
  int destroy( U32 id );

  // `pipe`: pipe of the entry's table.
  int attach( Entry & entry, U32 pipe, int level, U32 id );
  int detach( Entry & entry, int level );
  int detachAll( Entry & entry );

  // The policer must exist.
  Colour mark( U32 id, Colour before, U64 bytes, U64 now ) {
    return policers_.find( id )->second.meter.mark( before, bytes, now );
  }

  // By id.
  template < class F >
  void forEach( F && fn ) const {
    for ( const auto & [ id, policer ] : policers_ )
      fn( id, policer.meter.config() );
  }

 private:
  struct Policer {
    Meter meter;
    U32 users = 0;  // attached entries
  };

  int chooseId( U32 & id ) const;
  bool names( U32 id ) const;  // true if the id is within a pool

  U32 pools_;
  U32 perPool_;
  std::map< U32, Policer > policers_;
};

}  // namespace SoftAsic
