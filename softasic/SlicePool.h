// Slice pool of one stage instance.
//
// Chip rules
// - A key that fits a slice uses single mode. A wider one uses two rows of one slice if the stage
//   supports it, else a pair of slices; if neither fits, BCM_E_UNAVAIL.
// - Pairs are fixed: slices 2n and 2n+1 of equal geometry, allocated together. A pair is identified
//   by the even slice's number.
// - A group created with the large flag starts on a large slice and prefers large ones when it
//   grows; other groups take large slices last. Otherwise the lowest number is taken first.
#pragma once

#include <deque>
#include <optional>

#include "softasic/Slice.h"

namespace SoftAsic {

// Slice requirements of a group.
struct SliceDemand {
  U32 keyBits = 0;
  WideMode mode = WideMode::single;
  bool large = false;
};

class SlicePool {
 public:
  // `halfSize`: every entry takes two rows.
  SlicePool( const StageProfile & profile, bool halfSize );
  SlicePool( const SlicePool & ) = delete;
  SlicePool & operator=( const SlicePool & ) = delete;

  // Mode for a key width, whether slices are taken or free; empty: fits no slice.
  std::optional< WideMode > modeFor( U32 keyBits ) const;

  bool fits( const Slice & slice, U32 keyBits, WideMode mode ) const;
  // True if the stage has a large slice that fits, taken or free.
  bool hasLarge( const SliceDemand & demand ) const;

  // Null if no slice that fits is free. `onlyLarge`: large slices only.
  Slice * take( const SliceDemand & demand, bool onlyLarge );
  void release( Slice & slice, WideMode mode );

  // Total capacity of the free slices that meet the demand.
  U32 freeRows( const SliceDemand & demand ) const;
  U32 freeSlices() const;

  const std::deque< Slice > & slices() const { return slices_; }

 private:
  bool isFree( const Slice & slice, WideMode mode ) const;

  bool doubleWide_;
  bool halfSize_;
  bool paired_;
  std::deque< Slice > slices_;  // stable addresses: groups and entries point to them
};

}  // namespace SoftAsic
