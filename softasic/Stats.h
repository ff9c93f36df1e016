// Stat objects: packet and byte counters of an entry.
//
// Chip rules
// - Each stage instance has a pool; an object comes from the pool of a group's instance and can be
//   attached to any entry of that instance. BCM_E_RESOURCE if the pool is empty.
// - Ids are unique in the unit, never 0, lowest free first.
// - An object has the counter types it was created with. Reading another type returns BCM_E_PARAM;
//   setting one has no effect.
// - The packet and byte counters count every packet that the entry wins, by frame length without
//   FCS; the colour counters only those of the colour. Without a policer packets count as green.
// - An object is attached to one entry at a time: BCM_E_EXISTS if the entry has one, BCM_E_BUSY if
//   it is attached to another entry, BCM_E_PARAM if it belongs to another instance. BCM_E_BUSY for
//   destroying an attached one, BCM_E_NOT_FOUND for an unknown one.
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
  // `table`: instance of the entry's group.
  int attach( Entry & entry, const StageTable & table, U32 id );
  int detach( Entry & entry, U32 id );
  int get( U32 id, bcm_field_stat_t type, U64 * value ) const;
  int set( U32 id, bcm_field_stat_t type, U64 value );

  void count( U32 id, U64 bytes, Colour colour );

  std::vector< StatView > views() const;
  // Null if unknown.
  const StageTable * table( U32 id ) const {
    return known( id ) ? objects_[ id - 1 ].table : nullptr;
  }
  StatView view( U32 id ) const;  // must exist

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
