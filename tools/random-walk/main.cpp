// The random walk as a program. Exit status: 0 no findings, 1 findings, 2 wrong usage.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <optional>
#include <thread>

#include "tools/random-walk/Jobs.h"

namespace {

using namespace Test::RandomWalk;

struct Options {
  U64 operations = 1'000'000;
  Plan plan;
  std::string shape;
  U32 jobs = std::max( 1U, std::thread::hardware_concurrency() );
  std::optional< U64 > stretch;
};

void addOptions( CLI::App & app, Options & options ) {
  std::vector< std::string > names;
  for ( const Shape & shape : shapes() )
    names.emplace_back( shape.name );
  app.add_option( "--operations", options.operations, "Operations of the whole walk" );
  app.add_option( "--seed", options.plan.seed, "Everything follows from it" );
  app.add_option( "--shape", options.shape, "The chip; without it all take turns" )
      ->check( CLI::IsMember( names ) );
  app.add_flag( "!--no-threads", options.plan.mix.threads,
                "No second activity arrives in the middle of operations" );
  app.add_flag( "!--no-troubles", options.plan.mix.troubles, "No SDK call fails" );
  app.add_option( "--jobs", options.jobs, "Processes at a time" )->check( CLI::Range( 1, 256 ) );
  app.add_option( "--stretch", options.stretch, "Plays this stretch of the walk again, alone" );
}

std::string summary( const Tally & tally ) {
  return fmt::format( "{} operations, {} exceptions, {} codes, {} second-activity arrivals",
                      tally.operations, tally.exceptions, tally.codes, tally.arrivals );
}

// Every few seconds, if standard error is a terminal.
class Progress {
 public:
  void operator()( const Tally & tally ) {
    const auto now = std::chrono::steady_clock::now();
    if ( isatty( STDERR_FILENO ) == 0 || now < next_ )
      return;
    next_ = now + std::chrono::seconds( 3 );
    fmt::print( stderr, "{}\n", summary( tally ) );
  }

 private:
  std::chrono::steady_clock::time_point next_ =
      std::chrono::steady_clock::now() + std::chrono::seconds( 3 );
};

void print( const Options & options, const Finding & finding ) {
  const Stretch stretch = makeStretch( options.plan, finding.stretch );
  fmt::print(
      "Finding in stretch {}, a {} chip, at step {}:\n{}\nPlay again: tools/walk --seed {} "
      "--stretch {}{}{}{}\n",
      finding.stretch, stretch.shape, finding.step, finding.text, options.plan.seed,
      finding.stretch, options.shape.empty() ? "" : " --shape " + options.shape,
      options.plan.mix.threads ? "" : " --no-threads",
      options.plan.mix.troubles ? "" : " --no-troubles" );
  std::fflush( stdout );
  fmt::print( "Shortest script:\n{}\n", shrink( stretch ) );
}

int walk( const Options & options ) {
  Jobs jobs( options.plan, options.jobs );
  const std::vector< Finding > findings = options.stretch
                                              ? jobs.runOne( *options.stretch )
                                              : jobs.run( options.operations, Progress() );
  for ( const Finding & finding : findings )
    print( options, finding );
  fmt::print( "{}, {} findings\n", summary( jobs.total() ), findings.size() );
  return findings.empty() ? 0 : 1;
}

}  // namespace

int main( int argc, char ** argv ) {
  CLI::App app( "Random operations on switches of the software ASIC, audited as they go", "walk" );
  Options options;
  addOptions( app, options );
  try {
    app.parse( argc, argv );
  } catch ( const CLI::CallForHelp & help ) {
    return app.exit( help );
  } catch ( const CLI::ParseError & error ) {
    fmt::print( stderr, "walk: {}\n", error.what() );
    return 2;
  }
  for ( const Shape & shape : shapes() )
    if ( options.shape == shape.name )
      options.plan.shape = &shape;
  return walk( options );
}
