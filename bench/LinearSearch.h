// Ternary rules, searched one after the other, eight at a time where the processor has AVX2.
#pragma once

#include <array>
#include <bit>
#include <vector>

#ifdef __x86_64__
#include <immintrin.h>
#endif

#include "kiv/Types.h"

namespace Bench {

using namespace Kiv::Integers;

class LinearSearch {
 public:
  using Key = std::array< U32, 4 >;

  // In the order of precedence; `number` not 0.
  void add( const Key & value, const Key & mask, U32 number ) {
    for ( U32 i = 0; i < 4; ++i ) {
      values_[ i ].push_back( value[ i ] & mask[ i ] );
      masks_[ i ].push_back( mask[ i ] );
    }
    numbers_.push_back( number );
  }
  // Call after the last add(): fills the last eight up with rules that match nothing.
  void finish() {
    while ( numbers_.size() % 8 != 0 ) {
      add( {}, {}, 0 );
      values_[ 0 ].back() = 1;
    }
  }

  // Number of the first rule that matches; 0: none.
#ifdef __x86_64__
  __attribute__( ( target( "avx2" ) ) ) U32 lookup( const Key & key ) const {
    for ( size_t at = 0; at < numbers_.size(); at += 8 ) {
      __m256i differ = _mm256_setzero_si256();
      for ( U32 i = 0; i < 4; ++i ) {
        const auto load = [ & ]( const std::vector< U32 > & column )
            __attribute__( ( target( "avx2" ) ) ) {
          return _mm256_loadu_si256( reinterpret_cast< const __m256i * >( &column[ at ] ) );
        };
        const __m256i masked = _mm256_and_si256(
            _mm256_set1_epi32( static_cast< int >( key[ i ] ) ), load( masks_[ i ] ) );
        differ = _mm256_or_si256( differ, _mm256_xor_si256( masked, load( values_[ i ] ) ) );
      }
      const __m256i equal = _mm256_cmpeq_epi32( differ, _mm256_setzero_si256() );
      const auto hits = static_cast< U32 >( _mm256_movemask_ps( _mm256_castsi256_ps( equal ) ) );
      if ( hits != 0 )
        return numbers_[ at + static_cast< U32 >( std::countr_zero( hits ) ) ];
    }
    return 0;
  }
#endif

 private:
  std::vector< U32 > values_[ 4 ], masks_[ 4 ];
  std::vector< U32 > numbers_;
};

}  // namespace Bench
