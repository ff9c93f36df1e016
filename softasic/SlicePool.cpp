#include "softasic/SlicePool.h"

#include <algorithm>

namespace SoftAsic {

SlicePool::SlicePool( const StageProfile & profile, bool halfSize )
    : doubleWide_( profile.doubleWide ), halfSize_( halfSize ), paired_( profile.paired ) {
  for ( const SliceProfile & slice : profile.slices )
    for ( U32 i = 0; i < slice.count; ++i )
      slices_.emplace_back( static_cast< U32 >( slices_.size() ), slice );
}

bool SlicePool::fits( const Slice & slice, U32 keyBits, WideMode mode ) const {
  switch ( mode ) {
    case WideMode::single:
      return !halfSize_ && keyBits <= slice.keyBits();
    case WideMode::doubleWide:
      return doubleWide_ && keyBits <= 2 * slice.keyBits() && slice.depth() >= 2;
    case WideMode::paired:
      break;
  }
  if ( !paired_ || slice.number() % 2 != 0 || slice.number() + 1 >= slices_.size() )
    return false;
  const Slice & second = slices_[ slice.number() + 1 ];
  return second.keyBits() == slice.keyBits() && second.depth() == slice.depth() &&
         second.large() == slice.large() && keyBits <= 2 * slice.keyBits();
}

bool SlicePool::isFree( const Slice & slice, WideMode mode ) const {
  return !slice.taken() && ( mode != WideMode::paired || !slices_[ slice.number() + 1 ].taken() );
}

std::optional< WideMode > SlicePool::modeFor( U32 keyBits ) const {
  for ( const WideMode mode : { WideMode::single, WideMode::doubleWide, WideMode::paired } )
    for ( const Slice & slice : slices_ )
      if ( fits( slice, keyBits, mode ) )
        return mode;
  return std::nullopt;
}

bool SlicePool::hasLarge( const SliceDemand & demand ) const {
  return std::any_of(
      slices_.begin(), slices_.end(),
      [ & ]( const Slice & slice ) {
        return slice.large() && fits( slice, demand.keyBits, demand.mode );
      } );
}

Slice * SlicePool::take( const SliceDemand & demand, bool onlyLarge ) {
  for ( const bool large : { demand.large, !demand.large } ) {
    if ( onlyLarge && !large )
      continue;
    for ( Slice & slice : slices_ ) {
      if ( slice.large() != large || !fits( slice, demand.keyBits, demand.mode ) ||
           !isFree( slice, demand.mode ) )
        continue;
      slice.take( demand.mode );
      if ( demand.mode == WideMode::paired )
        slices_[ slice.number() + 1 ].takeAsSecond();
      return &slice;
    }
  }
  return nullptr;
}

void SlicePool::release( Slice & slice, WideMode mode ) {
  slice.release();
  if ( mode == WideMode::paired )
    slices_[ slice.number() + 1 ].release();
}

U32 SlicePool::freeRows( const SliceDemand & demand ) const {
  U32 rows = 0;
  for ( const Slice & slice : slices_ )
    if ( fits( slice, demand.keyBits, demand.mode ) && isFree( slice, demand.mode ) )
      rows += slice.capacity( demand.mode );
  return rows;
}

U32 SlicePool::freeSlices() const {
  return static_cast< U32 >( std::count_if(
      slices_.begin(), slices_.end(), []( const Slice & s ) { return !s.taken(); } ) );
}

}  // namespace SoftAsic
