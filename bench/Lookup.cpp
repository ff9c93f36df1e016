// Insertion and search of the software ASIC's index.

#include <array>
#include <random>

#include "bench/Compare.h"
#include "softasic/TernaryIndex.h"

namespace {

using namespace Kiv::Integers;
using SoftAsic::IndexItem;
using SoftAsic::TernaryIndex;

constexpr U32 words = 2;  // addresses; protocol and ports

// Rules as access lists have them: a few prefix lengths, exact or free ports.
class Rules {
 public:
  explicit Rules( U32 count ) : items_( count ), keys_( count ) {
    std::mt19937_64 random( 1 );
    for ( U32 i = 0; i < count; ++i ) {
      const auto prefix = []( U32 length ) {
        return length == 0 ? 0 : ~U64{ 0 } << ( 32 - length ) & 0xFFFFFFFF;
      };
      constexpr U32 lengths[] = { 32, 32, 24, 24, 28, 16, 32, 0 };
      const U64 addresses =
          prefix( lengths[ random() % 8 ] ) << 32 | prefix( lengths[ random() % 8 ] );
      const U64 ports = random() % 4 == 0 ? 0xFF0000 : 0xFFFFFF;
      keys_[ i ] = { random() & addresses, random() & ports, addresses, ports };
      items_[ i ].rank = i;
      items_[ i ].key = keys_[ i ].data();
    }
    std::shuffle( items_.begin(), items_.end(), random );
  }
  std::vector< IndexItem > & items() { return items_; }

 private:
  std::vector< IndexItem > items_;
  std::vector< std::array< U64, 2 * words > > keys_;
};

struct Insertion {
  double mean, worst;  // nanoseconds
};

Insertion insertAll( U32 count ) {
  Rules rules( count );
  TernaryIndex index( words );
  double worst = 0, sum = 0;
  for ( IndexItem & item : rules.items() ) {
    const double taken = Bench::nanoseconds( 1, [ & ] { index.insert( item ); } );
    worst = std::max( worst, taken );
    sum += taken;
  }
  return { sum / count, worst };
}

void meanInsert( benchmark::State & state ) {
  std::vector< double > means;
  for ( auto _ : state ) {
    means.push_back( insertAll( 10000 ).mean );
    state.SetIterationTime( means.back() * 1e-9 );
  }
  Bench::report( state, Bench::median( means ), 500 );
}
BENCHMARK( meanInsert )
    ->Name( "chip insert, mean of 10,000, ns" )
    ->Iterations( 20 )
    ->UseManualTime();

// The least of several runs, so that a preemption does not count.
void worstInsert( benchmark::State & state ) {
  double least = 1e18;
  for ( auto _ : state ) {
    least = std::min( least, insertAll( static_cast< U32 >( state.range( 0 ) ) ).worst );
    state.SetIterationTime( least * 1e-9 );
  }
  Bench::report( state, least / 1000, 200 );
}
BENCHMARK( worstInsert )
    ->Name( "chip insert, worst of 10,000, us" )
    ->Arg( 10000 )
    ->Iterations( 5 )
    ->UseManualTime();
BENCHMARK( worstInsert )
    ->Name( "chip insert, worst of 100,000, us" )
    ->Arg( 100000 )
    ->Iterations( 3 )
    ->UseManualTime();
BENCHMARK( worstInsert )
    ->Name( "chip insert, worst of 1,000,000, us" )
    ->Arg( 1000000 )
    ->Iterations( 2 )
    ->UseManualTime();

}  // namespace
