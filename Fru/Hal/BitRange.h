// Bit fields of 32-bit register values and hardware ids.
//
//   constexpr Fru::Hal::BitRange pipeBits{ 24, 2 };
//   U32 id = pipeBits.set( group, pipe );            // the other bits are kept
//   U32 pipe = pipeBits.get( id );
//
// Invariants: a range lies inside 32 bits (first + width <= 32); a width of 0 is an empty range
// that reads as 0. Everything is usable in constant expressions, where a value that does not fit
// does not compile; at run time it is asserted, since cutting an id short would address another
// object.
#pragma once

#include "kiv/Assert.h"
#include "kiv/Types.h"

namespace Fru::Hal {

using Kiv::U32;

struct BitRange {
  unsigned first;  // lowest bit, 0 to 31
  unsigned width;  // bits, 0 to 32

  // The largest value that fits.
  constexpr U32 max() const { return width == 0 ? 0 : ~U32( 0 ) >> ( 32 - width ); }
  // Ones in the range, in place.
  constexpr U32 mask() const { return width == 0 ? 0 : max() << first; }
  constexpr bool fits( U32 value ) const { return value <= max(); }

  constexpr U32 get( U32 word ) const { return width == 0 ? 0 : word >> first & max(); }
  // word with value in the range. Asserts that the value fits.
  constexpr U32 set( U32 word, U32 value ) const {
    KIV_ASSERT( fits( value ) );
    return ( word & ~mask() ) | ( width == 0 ? 0 : value << first );
  }

  friend constexpr bool operator==( BitRange, BitRange ) = default;
};

// A register's value, filled field by field.
//
//   U32 word = RegisterValue( 0 ).set( enableBit, 1 ).set( modeBits, mode ).word();
class RegisterValue {
 public:
  constexpr explicit RegisterValue( U32 word ) : word_( word ) {}

  constexpr U32 word() const { return word_; }
  constexpr U32 get( BitRange range ) const { return range.get( word_ ); }
  constexpr RegisterValue & set( BitRange range, U32 value ) {
    word_ = range.set( word_, value );
    return *this;
  }

 private:
  U32 word_;
};

}  // namespace Fru::Hal
