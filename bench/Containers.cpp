// The maps of kiv against those that could stand in their place.

#include <map>
#include <numeric>
#include <random>

#ifdef MORVANE_ABSL
#include <absl/container/flat_hash_map.h>
#endif

#include "bench/Compare.h"
#include "kiv/HashMap.h"
#include "kiv/RbTreeMap.h"

namespace {

using namespace Kiv::Integers;

constexpr int rounds = 60;

// The numbers from 0 to size - 1 in random order, the same in every run.
std::vector< U32 > shuffled( U32 size ) {
  std::vector< U32 > keys( size );
  std::iota( keys.begin(), keys.end(), 0U );
  std::shuffle( keys.begin(), keys.end(), std::mt19937( 1 ) );
  return keys;
}

// Calls the work with one key after the other.
template < class Work >
auto onEach( const std::vector< U32 > & keys, Work work ) {
  return [ &keys, work, at = size_t{ 0 } ]() mutable {
    work( keys[ at ] );
    at = at + 1 == keys.size() ? 0 : at + 1;
  };
}

#ifdef MORVANE_ABSL
void hashFind( benchmark::State & state, U32 size ) {
  const std::vector< U32 > keys = shuffled( size );
  Kiv::HashMap< U32, U32 > ours;
  absl::flat_hash_map< U32, U32 > theirs;
  for ( const U32 key : keys )
    ours.insert( key, key ), theirs.emplace( key, key );
  Bench::compare(
      state, 20000, 2,
      onEach( keys, [ & ]( U32 key ) { benchmark::DoNotOptimize( ours.find( key ) ); } ),
      onEach( keys, [ & ]( U32 key ) { benchmark::DoNotOptimize( theirs.find( key ) ); } ) );
}
BENCHMARK_CAPTURE( hashFind, 1_000, 1000 )
    ->Name( "hash map: find among 1,000, against a flat hash map" )
    ->Iterations( rounds )
    ->UseManualTime();
BENCHMARK_CAPTURE( hashFind, 100_000, 100000 )
    ->Name( "hash map: find among 100,000, against a flat hash map" )
    ->Iterations( rounds )
    ->UseManualTime();
#endif

using Tree = Kiv::RbTreeMap< U32, U32 >;
using Standard = std::map< U32, U32 >;

void treeInsert( benchmark::State & state, const std::vector< U32 > & keys ) {
  Bench::compare(
      state, 1, 1,
      [ & ] {
        Tree map;
        for ( const U32 key : keys )
          map.insert( key, key );
      },
      [ & ] {
        Standard map;
        for ( const U32 key : keys )
          map.emplace( key, key );
      } );
}

void treeFind( benchmark::State & state, U32 size ) {
  const std::vector< U32 > keys = shuffled( size );
  Tree ours;
  Standard theirs;
  for ( const U32 key : keys )
    ours.insert( key, key ), theirs.emplace( key, key );
  Bench::compare(
      state, 20000, 1,
      onEach( keys, [ & ]( U32 key ) { benchmark::DoNotOptimize( ours.find( key ) ); } ),
      onEach( keys, [ & ]( U32 key ) { benchmark::DoNotOptimize( theirs.find( key ) ); } ) );
}

// Every second member is erased while all are visited.
void treeErase( benchmark::State & state, U32 size ) {
  std::vector< double > ratios;
  for ( auto _ : state ) {
    Tree ours;
    Standard theirs;
    for ( U32 key = 0; key < size; ++key )
      ours.insert( key, key ), theirs.emplace( key, key );
    const double mine = Bench::nanoseconds(
        1,
        [ & ] {
          for ( auto it = ours.iter(); it; ++it )
            if ( it.key() % 2 == 0 )
              ours.erase( it.key() );
        } );
    const double standard = Bench::nanoseconds( 1, [ & ] {
      for ( auto it = theirs.begin(); it != theirs.end(); )
        it = it->first % 2 == 0 ? theirs.erase( it ) : std::next( it );
    } );
    ratios.push_back( mine / standard );
    state.SetIterationTime( mine * 1e-9 );
  }
  Bench::report( state, Bench::median( ratios ), 1 );
}

std::vector< U32 > ascending( U32 size ) {
  std::vector< U32 > keys( size );
  std::iota( keys.begin(), keys.end(), 0U );
  return keys;
}

BENCHMARK_CAPTURE( treeInsert, ascending, ascending( 1000 ) )
    ->Name( "ordered map: insert 1,000 ascending, against std::map" )
    ->Iterations( rounds )
    ->UseManualTime();
BENCHMARK_CAPTURE( treeInsert, random, shuffled( 1000 ) )
    ->Name( "ordered map: insert 1,000 in random order, against std::map" )
    ->Iterations( rounds )
    ->UseManualTime();
BENCHMARK_CAPTURE( treeInsert, random_100_000, shuffled( 100000 ) )
    ->Name( "ordered map: insert 100,000 in random order, against std::map" )
    ->Iterations( rounds / 6 )
    ->UseManualTime();
BENCHMARK_CAPTURE( treeFind, 1_000, 1000 )
    ->Name( "ordered map: find among 1,000, against std::map" )
    ->Iterations( rounds )
    ->UseManualTime();
BENCHMARK_CAPTURE( treeFind, 100_000, 100000 )
    ->Name( "ordered map: find among 100,000, against std::map" )
    ->Iterations( rounds )
    ->UseManualTime();
BENCHMARK_CAPTURE( treeErase, 1_000, 1000 )
    ->Name( "ordered map: erase in a walk of 1,000, against std::map" )
    ->Iterations( rounds )
    ->UseManualTime();

}  // namespace
