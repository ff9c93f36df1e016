// SDK calls through the funnel, and reports, against the least that any implementation must do.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstring>
#include <ctime>
#include <string>

#include "bench/BenchSwitch.h"
#include "bench/Compare.h"
#include "shim/SdkCall.h"

namespace {

using namespace Kiv::Integers;

constexpr int rounds = 300;
constexpr int batch = 1000;
constexpr U32 unit = 0, entryId = 7;

void throughFunnel() {
  SDK_CHECKED( bcm_field_entry_install( unit, entryId ) );
}

// The lock protocol of a call and nothing else.
void bareCall() KIV_NO_THREAD_SAFETY_ANALYSIS {
  Shim::SdkShim & sdk = Shim::sdkShim();
  Kiv::Lock & activity = Kiv::ActivityUnlockAnchor::lock();
  activity.unlock();
  sdk.sdkLock();
  const int rc = sdk.bcm_field_entry_install( unit, entryId );
  sdk.sdkUnlock();
  activity.lock();
  if ( rc < 0 )
    std::abort();
}

void funnel( benchmark::State & state ) {
  const Bench::BenchSwitch bench( { .live = 1 } );
  Bench::compare( state, batch, 1.03, throughFunnel, bareCall );
}
BENCHMARK( funnel )
    ->Name( "SDK call through the funnel, against the bare protocol" )
    ->Iterations( rounds )
    ->UseManualTime();

// A line with a time stamp in a ring of fixed slots.
class HandMadeRing {
 public:
  void write( const char * text, int rc ) {
    timespec now;
    clock_gettime( CLOCK_MONOTONIC, &now );
    std::array< char, 128 > & line = lines_[ next_++ % lines_.size() ];
    char * at = std::to_chars( line.data(), line.data() + 20, now.tv_sec ).ptr;
    at = std::to_chars( at, at + 20, now.tv_nsec ).ptr;
    const std::size_t size = std::strlen( text );
    std::memcpy( at, text, size );
    at = std::to_chars( at + size, at + size + 11, rc ).ptr;
    *at = '\n';
    benchmark::ClobberMemory();
  }

 private:
  std::array< std::array< char, 128 >, 1024 > lines_;
  std::size_t next_ = 0;
};

void tracedFunnel( benchmark::State & state ) {
  const Bench::BenchSwitch bench( { .live = 1 } );
  const auto ring = std::make_unique< HandMadeRing >();
  const auto handMade = [ & ] {
    ring->write( "bcm_field_entry_install( unit, entryId ) (rc:", 0 );
  };
  std::vector< double > ratios;
  for ( auto _ : state ) {
    bcmFpCmd.enabledIs( true );
    const double traced = Bench::nanoseconds( batch, throughFunnel );
    bcmFpCmd.enabledIs( false );
    const double plain = Bench::nanoseconds( batch, throughFunnel );
    ratios.push_back( ( traced - plain ) / Bench::nanoseconds( batch, handMade ) );
    state.SetIterationTime( traced * 1e-9 * batch );
  }
  Bench::report( state, Bench::median( ratios ), 1.5 );
}
BENCHMARK( tracedFunnel )
    ->Name( "its line in the ring, against a hand-made line with time stamp" )
    ->Iterations( rounds )
    ->UseManualTime();

// Writes the lines of the detail report from a vector, with the counters read as the library does.
class HandMadeReport {
 public:
  explicit HandMadeReport( U32 entries ) {
    for ( U32 i = 0; i < entries; ++i )
      ids_.push_back( 0x10000 + i );
  }

  void write( int fd ) {
    std::string text;
    for ( const U32 id : ids_ ) {
      char line[ 64 ];
      char * at = std::copy_n( "    ", 4, line );
      at = fill( std::to_chars( at, at + 10, id ).ptr, line + 14 );
      char digits[ 20 ];
      const char * const end = std::to_chars( digits, digits + 20, packets() ).ptr;
      at = fill( at + 1, line + 27 - ( end - digits ) );
      at = std::copy( static_cast< const char * >( digits ), end, at );
      text.append( line, at ).append( " hits - " ).append( "rule" ).append( "\n" );
      if ( text.size() >= 65536 )
        flush( fd, text );
    }
    flush( fd, text );
  }

 private:
  static char * fill( char * from, char * to ) { return std::fill_n( from, to - from, ' ' ); }
  static void flush( int fd, std::string & text ) {
    if ( ::write( fd, text.data(), text.size() ) < 0 )
      std::abort();
    text.clear();
  }
  static U64 packets() KIV_NO_THREAD_SAFETY_ANALYSIS {
    Shim::SdkShim & sdk = Shim::sdkShim();
    Kiv::Lock & activity = Kiv::ActivityUnlockAnchor::lock();
    U64 count = 0;
    activity.unlock();
    sdk.sdkLock();
    sdk.bcm_field_stat_get( unit, 1, bcmFieldStatPackets, &count );
    sdk.sdkUnlock();
    activity.lock();
    return count;
  }

  std::vector< U32 > ids_;
};

void detailReport( benchmark::State & state ) {
  constexpr U32 entries = 100000;
  const Bench::BenchSwitch bench( { .live = entries } );
  const int fd = open( "/dev/null", O_WRONLY | O_CLOEXEC );
  HandMadeReport handMade( entries );
  Bench::compare(
      state, 1, 3,
      [ & ] { bench.groups().showTcamUsage( "bench", static_cast< U32 >( fd ), true, unit, -1 ); },
      [ & ] { handMade.write( fd ); } );
  close( fd );
}
BENCHMARK( detailReport )
    ->Name( "detail report of 100,000 lines, against a hand-made one" )
    ->Iterations( 20 )
    ->UseManualTime();

void bytesPerEntry( benchmark::State & state ) {
  const Bench::BenchSwitch bench( { .live = static_cast< U32 >( state.range( 0 ) ) } );
  for ( auto _ : state )
    state.SetIterationTime( 1e-9 );
  Bench::report( state, bench.bytesPerEntry(), 200 );
}
BENCHMARK( bytesPerEntry )
    ->Name( "heap bytes of an entry among 100,000" )
    ->Arg( 100000 )
    ->Iterations( 1 )
    ->UseManualTime();

}  // namespace
