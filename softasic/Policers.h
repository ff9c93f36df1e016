// Policers: meters that entries share, and that drop what goes beyond their rates.
//
// Chip rules
// - Every pipe has a pool of its own, whose ids carry the pipe in bits 24 and 25; a chip whose
//   tables are shared by all pipes has one pool. The number in an id is 1 up to the pool's size.
//   Pool empty: -14. A chip without policers: -16.
// - The chip chooses the lowest free number of pipe 0. BCM_POLICER_WITH_ID takes the given id,
// which
//   is the way to the pools of other pipes: one that names no policer -4, one in use -8.
// - A configuration that Meter.h does not accept: -4. Setting a configuration starts the buckets
//   anew, full; it takes the with-id flag and does nothing about it.
// - An entry has one policer, at level 0 (others: -4), of the pipe of its table; tables that exist
//   once use pipe 0's. A second one: -8. One of another pipe: -4. Detaching where there is none:
//   -7; detaching all: fine. Several entries can share a policer. Attaching and detaching count at
//   once.
// - A policer that is attached cannot be destroyed (-10). Unknown policer: -7.
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
  int destroy( U32 id );

  // `pipe` is that of the entry's table.
  int attach( Entry & entry, U32 pipe, int level, U32 id );
  int detach( Entry & entry, int level );
  int detachAll( Entry & entry );

  // Colours a packet that an entry of the policer won; the policer exists.
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
    U32 users = 0;  // entries
  };

  int chooseId( U32 & id ) const;
  bool names( U32 id ) const;  // whether the id is one of the pools'

  U32 pools_;
  U32 perPool_;
  std::map< U32, Policer > policers_;
};

}  // namespace SoftAsic
