// Runs the comparisons and prints a line for each: what was measured, what is wanted, and whether
// it falls short.

#include <cstdio>
#include <string>

#include "bench/Compare.h"

namespace {

class TableReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext( const Context & ) override { return true; }
  void ReportRuns( const std::vector< Run > & runs ) override {
    for ( const Run & run : runs ) {
      if ( run.error_occurred ) {
        std::printf( "%s: %s\n", run.run_name.function_name.c_str(), run.error_message.c_str() );
        continue;
      }
      const double measured = run.counters.at( "measured" ), wanted = run.counters.at( "wanted" );
      const std::string name = run.run_name.function_name + " " + run.run_name.args;
      std::printf( "%-62s %9.4g", name.c_str(), measured );
      if ( wanted != 0 )
        std::printf( " %9.4g  %s", wanted, measured <= wanted ? "met" : "SHORT" );
      std::printf( "\n" );
      std::fflush( stdout );
    }
  }
};

}  // namespace

int main( int argc, char ** argv ) {
  TableReporter table;
  return Bench::runBenchmarks( argc, argv, &table );
}
