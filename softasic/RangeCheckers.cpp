#include "softasic/RangeCheckers.h"

#include <algorithm>
#include <iterator>

namespace SoftAsic {

namespace {

constexpr struct {
  U32 flag;
  U32 qualifier;  // bcmFieldQualifyCount: the frame length
  U32 max;
} rangeFields[] = {
    { BCM_FIELD_RANGE_SRCPORT, bcmFieldQualifyL4SrcPort, 0xFFFF },
    { BCM_FIELD_RANGE_DSTPORT, bcmFieldQualifyL4DstPort, 0xFFFF },
    { BCM_FIELD_RANGE_OUTERVLAN, bcmFieldQualifyOuterVlanId, 0xFFF },
    { BCM_FIELD_RANGE_PACKETLEN, bcmFieldQualifyCount, 0xFFFF },
};

const FieldPlace * placeOf( U32 qualifier ) {
  const int index = fieldIndex( qualifier );
  return index < 0 ? nullptr : &keyFields()[ static_cast< U32 >( index ) ];
}

}  // namespace

int RangeCheckers::create( U32 * id, U32 flags, U32 low, U32 high ) {
  if ( checkers_.empty() )
    return BCM_E_UNAVAIL;
  const auto * field = std::find_if( std::begin( rangeFields ), std::end( rangeFields ),
                                     [ & ]( const auto & f ) { return f.flag == flags; } );
  if ( id == nullptr || field == std::end( rangeFields ) || low > high || high > field->max )
    return BCM_E_PARAM;
  const auto free = std::find( checkers_.begin(), checkers_.end(), nullptr );
  if ( free == checkers_.end() )
    return BCM_E_RESOURCE;
  *id = static_cast< U32 >( free - checkers_.begin() ) + 1;
  *free = std::make_shared< RangeChecker >(
      RangeChecker{ *id, flags, low, high, placeOf( field->qualifier ) } );
  return BCM_E_NONE;
}

int RangeCheckers::destroy( U32 id ) {
  if ( find( id ) == nullptr )
    return BCM_E_NOT_FOUND;
  if ( checkers_[ id - 1 ].use_count() > 1 )
    return BCM_E_BUSY;
  checkers_[ id - 1 ].reset();
  return BCM_E_NONE;
}

RangeUse RangeCheckers::find( U32 id ) const {
  return id == 0 || id > checkers_.size() ? nullptr : checkers_[ id - 1 ];
}

void RangeCheckers::evaluate( PacketKey & key, size_t length ) const {
  const U64 valid = key.words[ metaWord ];
  forEach( [ & ]( const RangeChecker & checker ) {
    if ( ( valid & checker.needs() ) != checker.needs() )
      return;
    const U64 value = checker.field == nullptr ? length : fieldOf( key, *checker.field );
    if ( value >= checker.low && value <= checker.high )
      putField( key.words[ checkWord ], checker.place(), 1 );
  } );
}

}  // namespace SoftAsic
