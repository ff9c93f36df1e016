// The entry cycle (release, getEntry, install, setPriority, remove) against the same direct SDK
// calls, in alternating batches of one run. Results are medians over the batches, so that the ratio
// hardly depends on other load of the machine.

#include <algorithm>
#include <string>
#include <vector>

#include "bench/BenchSwitch.h"
#include "bench/Compare.h"
#include "bench/HeapCount.h"

namespace {

using Bench::median;

constexpr int batch = 200;

template < class Work >
double nanoseconds( Work work ) {
  return Bench::nanoseconds( batch, work );
}

// Arguments: live entries, pipes, copies, units, other users.
Bench::BenchShape shape( const benchmark::State & state ) {
  const auto argument = [ & ]( size_t i ) { return static_cast< Kiv::U32 >( state.range( i ) ); };
  return { argument( 0 ), argument( 1 ), argument( 2 ), argument( 3 ), argument( 4 ) };
}

void entryCycle( benchmark::State & state ) {
  Bench::BenchSwitch bench( shape( state ) );
  // The cycle leaves entries removed: bring all of them to that state.
  for ( int64_t i = 0; i < state.range( 0 ) * state.range( 3 ); ++i )
    bench.libraryCycle();
  const Kiv::U64 callsBefore = bench.sdkCalls();
  bench.libraryCycle();
  const Kiv::U64 libraryCalls = bench.sdkCalls() - callsBefore;
  bench.directCycle();
  const Kiv::U64 directCalls = bench.sdkCalls() - callsBefore - libraryCalls;

  std::vector< double > library, direct, ratio;
  for ( auto _ : state ) {
    library.push_back( nanoseconds( [ & ] { bench.libraryCycle(); } ) );
    direct.push_back( nanoseconds( [ & ] { bench.directCycle(); } ) );
    ratio.push_back( library.back() / direct.back() );
    state.SetIterationTime( library.back() * 1e-9 );
  }
  state.counters[ "library_ns" ] = median( library );
  state.counters[ "direct_ns" ] = median( direct );
  state.counters[ "ratio" ] = median( ratio );
  state.counters[ "sdk_calls" ] = static_cast< double >( libraryCalls );
  state.counters[ "direct_calls" ] = static_cast< double >( directCalls );
  state.counters[ "bytes_per_entry" ] = bench.bytesPerEntry();
  state.counters[ "get_allocs" ] = bench.allocationsPerEntry();
}

// Heap allocations per operation on a live entry.
void allocations( benchmark::State & state ) {
  Bench::BenchSwitch bench( shape( state ) );
  Morvane::MorvaneTcamEntryManager & manager = bench.manager();
  const auto counted = []( auto && work ) {
    const std::uint64_t before = Bench::heapUse().allocations;
    work();
    return static_cast< double >( Bench::heapUse().allocations - before );
  };
  double get = 0, install = 0, priority = 0, remove = 0;
  for ( auto _ : state ) {
    const Kiv::U32 entry = bench.nextEntry();
    manager.releaseEntry( 0, entry );
    get = std::max( get, counted( [ & ] { bench.get( entry ); } ) );
    install += counted( [ & ] { manager.installEntry( 0, entry ); } );
    priority += counted( [ & ] { manager.setPriorityForEntry( 0, entry, 1000 ); } );
    remove += counted( [ & ] { manager.removeEntry( 0, entry ); } );
  }
  state.counters[ "get_most" ] = get;
  state.counters[ "install" ] = install;
  state.counters[ "priority" ] = priority;
  state.counters[ "remove" ] = remove;
}

const std::vector< std::string > argumentNames = { "live", "pipes", "copies", "units", "others" };

void sizes( benchmark::internal::Benchmark * bench ) {
  for ( const int64_t live : { 128, 1000, 10000, 100000 } ) {
    bench->Args( { live, 1, 1, 1, 0 } );
    bench->Args( { live, 4, 2, 1, 0 } );
  }
  bench->Args( { 1000, 1, 1, 2, 0 } );
  bench->Args( { 1000, 1, 1, 1, 32 } );
}

BENCHMARK( entryCycle )
    ->Apply( sizes )
    ->ArgNames( argumentNames )
    ->UseManualTime()
    ->Iterations( 400 );
BENCHMARK( allocations )
    ->Args( { 1000, 1, 1, 1, 0 } )
    ->Args( { 1000, 4, 2, 1, 0 } )
    ->ArgNames( argumentNames )
    ->Iterations( 2000 );

}  // namespace

int main( int argc, char ** argv ) {
  return Bench::runBenchmarks( argc, argv );
}
