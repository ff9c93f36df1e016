// The entries of a unit, by id, and their way through the three states.
//
// Chip rules
// - Created: the entry has a row, an empty rule, priority 0, and is enabled. No row: -14. Unknown
//   group: -7. An id in use: -8. Id number 0, bits above the id, instance bits that differ from the
//   group's, or, on a shared chip, a copy bit: -4. Where the chip chooses the id it takes the
//   highest number free, from 0xFFFFFF down, with the group's instance bits; numbers that were
//   given back are used again first. No number: -14.
// - Installed: the rule as it stands is what packets match. Later changes of qualifiers and actions
//   wait for the next install or reinstall. Reinstall and remove need an installed entry (-7);
//   install works on one that is installed already, like reinstall.
// - Enabled: an installed entry that is disabled keeps its row and matches nothing.
// - Enable and priority count at once. Priority: 0 to 0x7FFFFFFF, else -4.
// - A qualifier that the group does not have: -4.
// - Copy: the rule (qualifiers and actions) as it stands now, not what is installed, nor priority,
//   statistics or state. The groups must store the same key, else -4.
// - Destroy: not while installed or with a statistics object or a policer (-10). It ends the rule's
//   use of range checkers, as clearing the qualifiers does.
// - Unknown entry: -7, for every operation.
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

  // In no order.
  template < class F >
  void forEach( F && fn ) const {
    for ( const auto & [ id, entry ] : entries_ )
      fn( entry );
  }

  // The entry's rule, to write to; it is the entry's own from then on.
  static Rule & edit( Entry & entry );

 private:
  // Numbers of one instance that the chip gives out by itself.
  struct Numbers {
    U32 lowest = idNumberMask + 1;  // numbers from here on have been given or passed over
    std::set< U32 > returned;       // free numbers at or above `lowest`
  };

  int add( Group & group, U32 id );
  U32 nextNumber( U32 instance );
  bool idFits( const Group & group, U32 id ) const;

  bool sharedByPipes_;
  std::unordered_map< U32, Entry > entries_;  // nodes stay in place
  std::array< Numbers, 8 > numbers_;          // by instance bits
};

}  // namespace SoftAsic
