// Changes and search of the software ASIC's index.

#include <array>
#include <numeric>
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

enum class Change { insert, remove };

// Nanoseconds of each insert and, in another order, of each remove.
std::vector< double > timesOf( U32 count, Change timed ) {
  Rules rules( count );
  TernaryIndex index( words );
  std::vector< double > times[ 2 ];
  for ( IndexItem & item : rules.items() )
    times[ 0 ].push_back( Bench::nanoseconds( 1, [ & ] { index.insert( item ); } ) );
  std::vector< IndexItem * > order;
  for ( IndexItem & item : rules.items() )
    order.push_back( &item );
  std::shuffle( order.begin(), order.end(), std::mt19937_64( 2 ) );
  for ( IndexItem * item : order )
    times[ 1 ].push_back( Bench::nanoseconds( 1, [ & ] { index.remove( *item ); } ) );
  return times[ timed == Change::insert ? 0 : 1 ];
}

void meanInsert( benchmark::State & state ) {
  std::vector< double > means;
  for ( auto _ : state ) {
    const std::vector< double > times = timesOf( 10000, Change::insert );
    means.push_back( std::accumulate( times.begin(), times.end(), 0.0 ) / times.size() );
    state.SetIterationTime( means.back() * 1e-9 );
  }
  Bench::report( state, Bench::median( means ), 500 );
}
BENCHMARK( meanInsert )
    ->Name( "chip insert, mean of 10,000, ns" )
    ->Iterations( 20 )
    ->UseManualTime();

// Of each insert the least time of all runs, which are alike, so that a preemption does not count;
// of these the most.
void worst( benchmark::State & state, Change timed ) {
  std::vector< double > least;
  for ( auto _ : state ) {
    const std::vector< double > times = timesOf( static_cast< U32 >( state.range( 0 ) ), timed );
    least.resize( times.size(), 1e18 );
    for ( size_t i = 0; i < times.size(); ++i )
      least[ i ] = std::min( least[ i ], times[ i ] );
    state.SetIterationTime( 1e-9 * times[ 0 ] );
  }
  Bench::report( state, *std::max_element( least.begin(), least.end() ) / 1000, 200 );
}
BENCHMARK_CAPTURE( worst, insert, Change::insert )
    ->Name( "chip insert, worst (of each: least of 5 runs), us, of" )
    ->Arg( 10000 )
    ->Arg( 100000 )
    ->Arg( 1000000 )
    ->Iterations( 5 )
    ->UseManualTime();
BENCHMARK_CAPTURE( worst, remove, Change::remove )
    ->Name( "chip remove, worst (of each: least of 5 runs), us, of" )
    ->Arg( 10000 )
    ->Arg( 100000 )
    ->Arg( 1000000 )
    ->Iterations( 5 )
    ->UseManualTime();

}  // namespace
