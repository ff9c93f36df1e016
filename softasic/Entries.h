// Entries of a unit by id, and their states.
//
// Chip rules
// - Create: the entry gets a row, an empty rule and priority 0, and is enabled. BCM_E_RESOURCE if
//   no row is free, BCM_E_NOT_FOUND for an unknown group, BCM_E_EXISTS for an id in use.
//   BCM_E_PARAM for id number 0, bits above the id, instance bits other than the group's, or a copy
//   bit where the pipes share their tables. An id chosen by the chip has the group's instance bits
//   and the highest free number, from 0xFFFFFF down; released numbers are reused first.
//   BCM_E_RESOURCE if no number is free.
// - Install: packets match the current rule. Later changes to qualifiers and actions take effect
//   with the next install or reinstall. Reinstall and remove return BCM_E_NOT_FOUND unless the
//   entry is installed; install acts as reinstall if it is.
// - Enable: a disabled entry stays installed and keeps its row, but matches nothing.
// - Enable and priority take effect at once. Priorities are 0 to 0x7FFFFFFF, else BCM_E_PARAM.
// - BCM_E_PARAM for a qualifier that is not in the group's qualifier set.
// - Copy takes the current rule (qualifiers and actions), not the installed one, and no priority,
//   statistics or state. BCM_E_PARAM unless both groups have the same key layout.
// - Destroy returns BCM_E_BUSY while the entry is installed or has a stat object or policer. It
//   releases the range checkers, as does clearing the qualifiers.
// - Every operation returns BCM_E_NOT_FOUND for an unknown entry.
#pragma once

#include <array>
#include <set>
#include <unordered_map>

#include "softasic/Entry.h"
#include "softasic/Group.h"

namespace SoftAsic {

class Entries {
 public:
  explicit Entries( bool sharedByPipes ) : sharedByPipes_( sharedByPipes ) {}

  int create( Group & group, U32 * id );
  int createId( Group & group, U32 id );
  int destroy( U32 id );

  int install( U32 id );
  int reinstall( U32 id );
  int remove( U32 id );
  int setEnabled( U32 id, bool enabled );
  int setPriority( U32 id, U32 priority );
  int copyRule( U32 from, U32 to );

  // Null: no such entry.
  Entry * find( U32 id );
  const Entry * find( U32 id ) const { return const_cast< Entries * >( this )->find( id ); }

  // Unordered.
  template < class F >
  void forEach( F && fn ) const {
    for ( const auto & [ id, entry ] : entries_ )
      fn( entry );
  }

  // Copy on write: returns a rule that no other entry shares.
  static Rule & edit( Entry & entry );

 private:
  // Allocator of the id numbers of one instance.
  struct Numbers {
    U32 lowest = idNumberMask + 1;  // numbers from here up were allocated or skipped
    std::set< U32 > returned;       // free numbers from `lowest` up
  };

  int add( Group & group, U32 id );
  U32 nextNumber( U32 instance );
  bool idFits( const Group & group, U32 id ) const;

  bool sharedByPipes_;
  std::unordered_map< U32, Entry > entries_;  // node-based: addresses are stable
  std::array< Numbers, 8 > numbers_;          // by instance bits
};

}  // namespace SoftAsic
