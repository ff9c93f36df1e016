// Row moves of the software ASIC for entries that get their priority after creation.

#include <memory>
#include <numeric>
#include <random>

#include "bench/Compare.h"
#include "softasic/RowAllocator.h"

namespace {

using namespace Kiv::Integers;
using namespace SoftAsic;

enum class Order { random, ascending, descending, clustered };

// The priorities from 1 to `count` in the order in which entries get them.
std::vector< U32 > prioritiesOf( U32 count, Order order ) {
  std::vector< U32 > priorities( count );
  std::iota( priorities.begin(), priorities.end(), 1U );
  std::mt19937 random( 1 );
  if ( order == Order::random )
    std::shuffle( priorities.begin(), priorities.end(), random );
  if ( order == Order::descending )
    std::reverse( priorities.begin(), priorities.end() );
  if ( order == Order::clustered ) {  // 50 descending ones at a time
    constexpr U32 run = 50;
    std::vector< U32 > first( ( count + run - 1 ) / run );
    std::iota( first.begin(), first.end(), 0U );
    std::shuffle( first.begin(), first.end(), random );
    priorities.clear();
    for ( const U32 cluster : first )
      for ( U32 i = std::min( run, count - cluster * run ); i > 0; --i )
        priorities.push_back( cluster * run + i );
  }
  return priorities;
}

// Row moves an entry.
double movesOf( const std::vector< U32 > & priorities, const SliceProfile & slices ) {
  StageProfile stage;
  stage.slices = { slices };
  SlicePool pool( stage, false );
  U64 moves = 0;
  RowAllocator rows( pool, { slices.keyBits }, moves );
  rows.allocateFirstSlice();
  auto entries = std::make_unique< Entry[] >( priorities.size() );
  for ( U32 i = 0; i < priorities.size(); ++i ) {
    entries[ i ].rank = entryRank( 0, i );
    rows.insert( entries[ i ] );
    rows.rerank( entries[ i ], entryRank( priorities[ i ], i ) );
  }
  return static_cast< double >( moves ) / static_cast< double >( priorities.size() );
}

// Arguments: entries, slices, percentage of their rows that is used in the end.
void moves( benchmark::State & state, Order order ) {
  const auto count = static_cast< U32 >( state.range( 0 ) );
  const auto slices = static_cast< U32 >( state.range( 1 ) );
  const auto used = static_cast< U32 >( state.range( 2 ) );
  const std::vector< U32 > priorities = prioritiesOf( count, order );
  double result = 0;
  for ( auto _ : state )
    result = movesOf( priorities, { slices, count * 100 / used / slices, 160, false } );
  Bench::report( state, result, 0 );
}

void arguments( benchmark::internal::Benchmark * benchmark ) {
  benchmark->ArgNames( { "entries", "slices", "used" } )->Iterations( 1 );
  for ( const S64 entries : { 1000, 10000, 100000 } )
    for ( const S64 used : { 50, 90, 100 } )
      benchmark->Args( { entries, 1, used } );
  benchmark->Args( { 10000, 10, 100 } )->Args( { 100000, 10, 100 } )->Args( { 100000, 100, 100 } );
}
BENCHMARK_CAPTURE( moves, random, Order::random )->Name( "row moves, random" )->Apply( arguments );
BENCHMARK_CAPTURE( moves, clustered, Order::clustered )
    ->Name( "row moves, clustered" )
    ->Apply( arguments );
BENCHMARK_CAPTURE( moves, ascending, Order::ascending )
    ->Name( "row moves, ascending" )
    ->Apply( arguments );
BENCHMARK_CAPTURE( moves, descending, Order::descending )
    ->Name( "row moves, descending" )
    ->Apply( arguments );

}  // namespace
