// Range checkers: compare a packet field with an interval; shared by the rules of a unit.
//
// Chip rules
// - One pool per unit; ids are 1 to the pool size, lowest free first. BCM_E_RESOURCE if none is
//   free, BCM_E_UNAVAIL if the chip has none.
// - A checker compares one field (BCM_FIELD_RANGE_...) and hits if the packet has the field and its
//   value is in [low, high]. BCM_E_PARAM unless exactly one field is given, for an unknown flag,
//   low above high, or high above the field's maximum.
// - The results are key bits, one per checker, in the keys of ingress groups with the RangeCheck
//   qualifier. A rule with a checker requires the field and the bit set, or the bit clear if
//   inverted. Several checkers in one rule must all match.
// - BCM_E_BUSY for destroying a checker that a pending or installed rule uses.
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
  const FieldPlace * field;  // null: the frame length

  // Location of the result in the key.
  FieldPlace place() const { return { 0, checkWord, static_cast< U8 >( id - 1 ), 1, 0 }; }
  // Validity bits required with the result.
  U32 needs() const { return field == nullptr ? 0 : field->needs; }
};

// A rule's reference to a checker. The checker is in use if the pool's is not the only one.
using RangeUse = std::shared_ptr< const RangeChecker >;

class RangeCheckers {
 public:
  explicit RangeCheckers( U32 count ) : checkers_( count ) {}

  int create( U32 * id, U32 flags, U32 low, U32 high );
  int destroy( U32 id );

  RangeUse find( U32 id ) const;  // null: no such checker

  // Adds the results for a frame of `length` bytes to its key.
  void evaluate( PacketKey & key, size_t length ) const;

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
