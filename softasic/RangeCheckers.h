// Range checkers: comparators of a packet field with an interval, shared by the rules of a unit.
//
// Chip rules
// - A unit has one pool; ids are 1 up to the pool's size, lowest free first. None free: -14. A chip
//   without any: -16.
// - A checker looks at one field (BCM_FIELD_RANGE_...) and answers yes when the packet has the
//   field and its value lies in [low, high]. Not exactly one field, an unknown flag, low above
//   high, or high above what the field can hold: -4.
// - The answers to a packet are key bits, one per checker, in the keys of ingress groups that match
//   on RangeCheck. A rule that qualifies on a checker demands its bit and the field; an inverted
//   one demands the field and that the bit is not set. Several checkers of one rule must all agree.
// - A checker that a rule uses, as qualified now or as installed, cannot be destroyed: -10.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "softasic/KeyLayout.h"

namespace SoftAsic {

struct RangeChecker {
  U32 id;
  U32 flags;
  U32 low;
  U32 high;
  const FieldPlace * field;  // null: the length of the frame

  // Place of its answer in the key.
  FieldPlace place() const { return { 0, checkWord, static_cast< U8 >( id - 1 ), 1, 0 }; }
  // Validity bits of the field.
  U32 needs() const { return field == nullptr ? 0 : field->needs; }
};

// How a rule holds on to a checker; the checker is in use while more than its pool holds it.
using RangeUse = std::shared_ptr< const RangeChecker >;

class RangeCheckers {
 public:
  explicit RangeCheckers( U32 count ) : checkers_( count ) {}

  int create( U32 * id, U32 flags, U32 low, U32 high );
  int destroy( U32 id );

  RangeUse find( U32 id ) const;  // null: no such checker

  // Adds the answers to the key of a packet whose frame has `length` bytes.
  void answer( PacketKey & key, size_t length ) const;

  template < class F >
  void forEach( F && fn ) const {
    for ( const RangeUse & checker : checkers_ )
      if ( checker != nullptr )
        fn( *checker );
  }

 private:
  std::vector< RangeUse > checkers_;  // by id - 1; null: free
};

}  // namespace SoftAsic
