// Runs library cycles among live entries, for an instruction counter: the difference between two
// runs is the cost of the cycles.
//
//   cycle_probe LIVE CYCLES [PIPES COPIES]

#include <cstdio>
#include <cstdlib>

#include "bench/BenchSwitch.h"

int main( int argc, char ** argv ) {
  if ( argc < 3 ) {
    std::fprintf( stderr, "usage: cycle_probe LIVE CYCLES [PIPES COPIES]\n" );
    return 2;
  }
  const auto number = [ & ]( int i, int otherwise ) {
    return static_cast< Kiv::U32 >( argc > i ? std::atoi( argv[ i ] ) : otherwise );
  };
  const Bench::SecondThread other;
  Bench::BenchSwitch bench( number( 3, 1 ), number( 4, 1 ), number( 1, 1000 ) );
  for ( Kiv::U32 i = number( 2, 0 ); i != 0; --i )
    bench.libraryCycle();
  return 0;
}
