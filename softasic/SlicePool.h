// The slices of one stage instance, and who may take which.
//
// Chip rules
// - A key as wide as a slice or narrower uses single mode. A wider one uses two rows of one slice
//   where the stage can, else a pair of slices, else it does not fit (-16).
// - Pairs are fixed: slices 2n and 2n+1 of equal geometry, both free when taken. The pair goes by
//   the even slice's number.
// - A group that was created with the large flag starts on a large slice and takes large ones first
//   when it grows; every other group takes large slices last. Otherwise lower numbers come first.
#pragma once

#include <deque>
#include <optional>

#include "softasic/Slice.h"

namespace SoftAsic {

// What a group asks of its slices.
struct SliceDemand {
  U32 keyBits = 0;
  WideMode mode = WideMode::single;
  bool large = false;
};

class SlicePool {
 public:
  // `halfSize`: every key takes two rows.
  SlicePool( const StageProfile & profile, bool halfSize );
  SlicePool( const SlicePool & ) = delete;
  SlicePool & operator=( const SlicePool & ) = delete;

  // The mode in which a key fits some slice, taken or free; absent: it fits none.
  std::optional< WideMode > modeFor( U32 keyBits ) const;
  // Whether a slice, taken or free, holds keys of a width in a mode.
  bool fits( const Slice & slice, U32 keyBits, WideMode mode ) const;
  // Whether some slice, taken or free, is large and holds the key.
  bool hasLarge( const SliceDemand & demand ) const;

  // Null when no slice that fits is free. `onlyLarge` passes over the others.
  Slice * take( const SliceDemand & demand, bool onlyLarge );
  void giveBack( Slice & slice, WideMode mode );

  // Entries that all free slices which a group could take would hold.
  U32 freeRows( const SliceDemand & demand ) const;
  U32 freeSlices() const;

  const std::deque< Slice > & slices() const { return slices_; }

 private:
  bool isFree( const Slice & slice, WideMode mode ) const;

  bool doubleWide_;
  bool halfSize_;
  bool paired_;
  std::deque< Slice > slices_;  // never moved: groups and entries point to them
};

}  // namespace SoftAsic
