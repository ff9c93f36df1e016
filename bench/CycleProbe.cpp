// Runs library cycles among live entries, for an instruction counter: the difference between two
// runs is the cost of the cycles.
//
//   cycle_probe LIVE CYCLES [PIPES COPIES [UNITS [OTHER-USERS]]]

#include <cstdio>
#include <cstdlib>

#include "bench/BenchSwitch.h"

int main( int argc, char ** argv ) {
  if ( argc < 3 ) {
    std::fprintf( stderr, "usage: cycle_probe LIVE CYCLES [PIPES COPIES [UNITS [OTHER-USERS]]]\n" );
    return 2;
  }
  const auto number = [ & ]( int i, int otherwise ) {
    return static_cast< Kiv::U32 >( argc > i ? std::atoi( argv[ i ] ) : otherwise );
  };
  const Bench::SecondThread other;
  Bench::BenchSwitch bench( { .live = number( 1, 1000 ),
                              .pipes = number( 3, 1 ),
                              .copies = number( 4, 1 ),
                              .units = number( 5, 1 ),
                              .otherUsers = number( 6, 0 ) } );
  for ( Kiv::U32 i = number( 2, 0 ); i != 0; --i )
    bench.libraryCycle();
  return 0;
}
