// Cost of range checkers and user-defined fields, and savings by range checkers when an access list
// is programmed.
//
// Range checkers are measured on a no-op SDK (BenchSwitch.h), the other two including the software
// ASIC.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>

#include "agent/feature/AclFeature.h"
#include "agent/read/AclFiles.h"
#include "agent/session/SwitchSession.h"
#include "bench/BenchSwitch.h"
#include "bench/Compare.h"
#include "kiv/Lock.h"
#include "morvane/AclType.h"
#include "platform/PlatformLoader.h"

namespace {

using namespace Kiv::Integers;
using Clock = std::chrono::steady_clock;

double secondsSince( Clock::time_point start ) {
  return std::chrono::duration< double >( Clock::now() - start ).count();
}

// Get and release; `shared`: the checker has another user.
void rangeChecker( benchmark::State & state, bool shared ) {
  Bench::BenchSwitch bench( { .live = 2 } );
  Morvane::MorvaneTcamEntryManager & manager = bench.manager();
  const Morvane::RangeCheckerDesc desc( 1024, 65535, BCM_FIELD_RANGE_DSTPORT );
  if ( shared )
    manager.getRangeChecker( 0, desc );
  const U64 before = bench.sdkCalls();
  for ( auto _ : state ) {
    benchmark::DoNotOptimize( manager.getRangeChecker( 0, desc ) );
    manager.releaseRangeChecker( 0, desc );
  }
  state.counters[ "sdk_calls" ] = benchmark::Counter(
      static_cast< double >( bench.sdkCalls() - before ), benchmark::Counter::kAvgIterations );
}

// SDK calls of a session so far.
U64 totalCalls( const Agent::SwitchSession & session ) {
  U64 total = 0;
  for ( const auto & [ name, count ] : session.sdkCalls() )
    total += count;
  return total;
}

// Adds a user of a field to an existing mirroring group and removes it again. `shared`: the field
// has another user. Only the addition is timed.
void udfAdd( benchmark::State & state, bool shared ) {
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  Agent::SwitchSession session( Platform::loadPlatform( "small" ) );
  constexpr U32 unit = Agent::SwitchSession::unit;
  const Kiv::Ptr< Morvane::MorvaneBoundedTcamEntryManager > manager =
      session.groupManager().entryManager( Morvane::mirroringAclTcamGroup1 );
  session.groupManager().groupMirroringAclTypeIs( static_cast< U8 >( manager->group() ),
                                                  Morvane::Acl::ip() );
  const auto use = [ & ]( bool add ) {
    return manager->setMirroringAclUdf( unit, Morvane::Acl::ip(), 0xFFFFFFFF,
                                        Morvane::UdfBaseL3HeaderStart, 40, 4, add );
  };
  U64 calls = 0;
  for ( auto _ : state ) {
    manager->initializeGroup( unit );
    if ( shared )
      use( true );
    const U64 before = totalCalls( session );
    const Clock::time_point start = Clock::now();
    benchmark::DoNotOptimize( use( true ) );
    state.SetIterationTime( secondsSince( start ) );
    calls += totalCalls( session ) - before;
    session.groupManager().uninitializeGroup( unit, manager->group() );
    session.groupManager().groupMirroringAclTypeIs( static_cast< U8 >( manager->group() ),
                                                    Morvane::Acl::ip() );
  }
  state.counters[ "sdk_calls" ] =
      benchmark::Counter( static_cast< double >( calls ), benchmark::Counter::kAvgIterations );
}

struct Programmed {
  double seconds = 0;
  U64 entries = 0;
  U64 calls = 0;
};

Programmed program( const Agent::Acl & acl, Agent::PortMethod ports ) {
  Agent::SwitchSession session( Platform::loadPlatform( "large" ) );
  Agent::AclFeature feature( session.groupManager(), Agent::SwitchSession::unit, session.platform(),
                             ports );
  Programmed result;
  const U64 before = totalCalls( session );
  const Clock::time_point start = Clock::now();
  if ( feature.addAcl( acl ) )
    return result;
  result.seconds = secondsSince( start );
  result.calls = totalCalls( session ) - before;
  for ( U32 rule = 0; rule < acl.rules.size(); ++rule )
    result.entries += feature.find( { 0, rule } )->entries.size();
  return result;
}

// Programs a list alternately with range checkers and prefixes; the time is with checkers.
void ports( benchmark::State & state ) {
  const std::string file = std::string( MORVANE_TEST_DATA ) + "/classbench/fw4_10k";
  if ( access( file.c_str(), R_OK ) != 0 ) {
    state.SkipWithError( "the rule set is absent" );
    return;
  }
  const Kiv::LockGuard activity( Kiv::ActivityUnlockAnchor::lock() );
  const Agent::AclDocument document = Agent::readAclFile( { "fw4_10k" }, file, nullptr );
  const Agent::Acl & acl = document.lists.front();
  Programmed checkers, prefixes;
  double checkersTime = 0, prefixesTime = 0;
  for ( auto _ : state ) {
    checkers = program( acl, Agent::PortMethod::automatic );
    prefixes = program( acl, Agent::PortMethod::expand );
    checkersTime += checkers.seconds;
    prefixesTime += prefixes.seconds;
    state.SetIterationTime( checkers.seconds );
  }
  if ( checkers.entries == 0 || prefixes.entries == 0 ) {
    state.SkipWithError( "the list does not fit" );
    return;
  }
  const auto ratio = []( U64 a, U64 b ) {
    return static_cast< double >( a ) / static_cast< double >( b );
  };
  state.counters[ "entries" ] = static_cast< double >( checkers.entries );
  state.counters[ "entries_expanded" ] = static_cast< double >( prefixes.entries );
  state.counters[ "entries_ratio" ] = ratio( checkers.entries, prefixes.entries );
  state.counters[ "calls" ] = static_cast< double >( checkers.calls );
  state.counters[ "calls_expanded" ] = static_cast< double >( prefixes.calls );
  state.counters[ "calls_ratio" ] = ratio( checkers.calls, prefixes.calls );
  state.counters[ "time_ratio" ] = checkersTime / prefixesTime;
}

BENCHMARK_CAPTURE( rangeChecker, shared, true );
BENCHMARK_CAPTURE( rangeChecker, fresh, false );
BENCHMARK_CAPTURE( udfAdd, shared, true )->UseManualTime()->Iterations( 200 );
BENCHMARK_CAPTURE( udfAdd, fresh, false )->UseManualTime()->Iterations( 200 );
BENCHMARK( ports )->UseManualTime()->Iterations( 2 )->Unit( benchmark::kMillisecond );

}  // namespace

int main( int argc, char ** argv ) {
  return Bench::runBenchmarks( argc, argv );
}
