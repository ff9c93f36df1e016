// Kiv::hash( value ): the one hash of map keys.
//
// Integers, bool and enumerations are mixed so that every input bit reaches the low bits (the maps
// use powers of two); types with a member hash() answer for themselves (String8, Name); value types
// (kiv/ValueType.h) combine their fields. Equal values hash equally, on both word sizes too. The
// numbers are not kept across releases of the library.
#pragma once

#include <concepts>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "kiv/Types.h"

namespace Kiv {

constexpr U32 hashMix( U32 bits ) {
  bits = ( bits ^ ( bits >> 16 ) ) * 0x85ebca6bu;
  bits = ( bits ^ ( bits >> 13 ) ) * 0xc2b2ae35u;
  return bits ^ ( bits >> 16 );
}

// Cheaper, for the ids that most maps are keyed by: the folds carry high bits, where ids hold their
// pipe and copy, down to the bits that choose a bucket.
constexpr U32 hashId( U32 id ) {
  id = ( id ^ ( id >> 16 ) ) * 0x9e3779b1u;
  return id ^ ( id >> 16 );
}

// Order matters: combining a then b differs from b then a.
constexpr U32 hashCombine( U32 seed, U32 next ) {
  return hashMix( seed * 31 + next + 0x9e3779b9u );
}

constexpr U32 hashBytes( std::string_view bytes ) {
  U32 hash = 0x811c9dc5u;
  for ( char byte : bytes )
    hash = ( hash ^ static_cast< U8 >( byte ) ) * 0x01000193u;
  return hashMix( hash );
}

template < class T >
constexpr U32 hash( const T & value ) {
  if constexpr ( requires {
                   { value.hash() } -> std::convertible_to< U32 >;
                 } ) {
    return value.hash();
  } else if constexpr ( std::is_enum_v< T > ) {
    return hash( static_cast< std::underlying_type_t< T > >( value ) );
  } else if constexpr ( std::integral< T > ) {
    auto bits = static_cast< U64 >( value );
    U32 low = hashId( static_cast< U32 >( bits ) );
    return sizeof( T ) > sizeof( U32 ) ? hashCombine( low, static_cast< U32 >( bits >> 32 ) ) : low;
  } else {
    U32 combined = 0;
    std::apply(
        [ & ]( const auto &... field ) {
          ( ( combined = hashCombine( combined, hash( value.*field.member ) ) ), ... );
        },
        T::fields() );
    return combined;
  }
}

}  // namespace Kiv
