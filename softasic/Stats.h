// Statistics objects: counters that count the packets an entry wins.
//
// Chip rules
// - Every stage instance has a pool of its own; an object is taken from the pool of a group's
//   instance and serves any entry of that instance. Pool empty: -14.
// - Ids are unique in the unit, never 0, lowest free first.
// - An object has the counter types it was created with; reading another type: -4. Setting one
//   does nothing, since what is not counted has no value to lose.
//   Packets and bytes count every matching packet with its frame length, the others those of a
//   colour. An entry without a policer colours nothing: its packets count as green.
// - An object serves one entry at a time. Unknown object: -7. The entry has one already: -8. The
//   object serves another entry: -10. It belongs to another instance: -4. Destroying one that is
//   attached: -10.
#pragma once

#include <set>
#include <vector>

#include "softasic/Entry.h"
#include "softasic/Inspection.h"
#include "softasic/Meter.h"

namespace SoftAsic {

struct StageTable;

class Stats {
 public:
  int create( StageTable & table, int count, const bcm_field_stat_t * types, U32 * id );
  int destroy( U32 id );
  // `table` is the instance of the entry's group.
  int attach( Entry & entry, const StageTable & table, U32 id );
  int detach( Entry & entry, U32 id );
  int get( U32 id, bcm_field_stat_t type, U64 * value ) const;
  int set( U32 id, bcm_field_stat_t type, U64 value );

  // A packet of `bytes` bytes matched the entry that the object serves, and got a colour.
  void count( U32 id, U64 bytes, Colour colour );

  std::vector< StatView > views() const;
  // Null for an unknown object.
  const StageTable * table( U32 id ) const {
    return known( id ) ? objects_[ id - 1 ].table : nullptr;
  }
  StatView view( U32 id ) const;  // of an object that exists

 private:
  struct Object {
    StageTable * table = nullptr;  // null: free
    U32 owner = 0;                 // entry id; 0: none
    U32 types = 0;                 // bit by type
    U64 values[ BCM_FIELD_STAT_TYPES ] = {};
  };

  bool known( U32 id ) const {
    return id != 0 && id <= objects_.size() && objects_[ id - 1 ].table != nullptr;
  }
  static bool has( const Object & object, int type ) {
    return type >= 0 && type < BCM_FIELD_STAT_TYPES && ( object.types >> type & 1U ) != 0;
  }

  std::vector< Object > objects_;  // object id - 1
  std::set< U32 > freeIds_;
};

}  // namespace SoftAsic
