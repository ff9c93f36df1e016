// Comparisons for the table of tools/bench: each is a benchmark whose result is one figure, with
// the figure that is wanted.
//
// The two sides of a ratio run in alternating batches of one process, and the ratio is the median
// of those of the batches, so that other load of the machine hardly matters.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "bench/BenchSwitch.h"

namespace Bench {

using Clock = std::chrono::steady_clock;

// The median ignores batches with preemptions.
inline double median( std::vector< double > & values ) {
  const auto middle = values.begin() + static_cast< std::ptrdiff_t >( values.size() / 2 );
  std::nth_element( values.begin(), middle, values.end() );
  return *middle;
}

// Nanoseconds of each of `count` runs of the work.
template < class Work >
double nanoseconds( int count, Work && work ) {
  const Clock::time_point start = Clock::now();
  for ( int i = 0; i < count; ++i )
    work();
  return std::chrono::duration< double, std::nano >( Clock::now() - start ).count() / count;
}

// The result, and the most that is wanted; 0: nothing is.
inline void report( benchmark::State & state, double measured, double wanted ) {
  state.counters[ "measured" ] = measured;
  state.counters[ "wanted" ] = wanted;
}

// The main function of the programs, which run beside a second thread. null: the usual report.
inline int runBenchmarks( int argc, char ** argv,
                          benchmark::BenchmarkReporter * reporter = nullptr ) {
  const SecondThread other;
  benchmark::Initialize( &argc, argv );
  if ( benchmark::ReportUnrecognizedArguments( argc, argv ) )
    return 2;
  benchmark::RunSpecifiedBenchmarks( reporter );
  return 0;
}

template < class Ours, class Theirs >
void compare( benchmark::State & state, int batch, double wanted, Ours && ours, Theirs && theirs ) {
  std::vector< double > ratios;
  for ( auto _ : state ) {
    const double mine = nanoseconds( batch, ours );
    ratios.push_back( mine / nanoseconds( batch, theirs ) );
    state.SetIterationTime( mine * 1e-9 * batch );
  }
  report( state, median( ratios ), wanted );
}

}  // namespace Bench
