// The command morvane-sdk-check: checks a binding to an SDK. Exit status: 0 no check failed, 1 one
// did, 2 usage error or a library that cannot be loaded.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "cli/Completion.h"
#include "morvane/Version.h"
#include "sdkcheck/Checks.h"
#include "sdkcheck/SdkLibrary.h"
#include "sdkcheck/SoftwareChip.h"

namespace {

using namespace Kiv::Integers;

constexpr int exitPassed = 0;
constexpr int exitFailed = 1;
constexpr int exitUsage = 2;

struct Options {
  std::string library;
  std::string chip = "single";
  U32 unit = 0;
  U32 limit = 20000;
  std::vector< std::string > names;
  bool list = false;
};

void addOptions( CLI::App & app, Options & options ) {
  std::vector< std::string > names;
  for ( const SdkCheck::Check & check : SdkCheck::checks() )
    names.emplace_back( check.name );
  const std::vector< std::string > chips = SdkCheck::softwareChips();
  CLI::Option * const library =
      app.add_option( "--sdk", options.library,
                      chips.empty() ? "Shared library of the binding"
                                    : "Shared library of the binding; default: the software ASIC" );
  library->type_name( "LIB" );
  if ( !chips.empty() )
    app.add_option( "--chip", options.chip, "Chip of the software ASIC" )
        ->check( CLI::IsMember( chips ) )
        ->capture_default_str()
        ->excludes( library );
  app.add_option( "--unit", options.unit, "Unit, initialised and without groups" )
      ->capture_default_str();
  app.add_option( "--limit", options.limit, "Objects created at most to see one refused" )
      ->capture_default_str();
  app.add_option( "CHECK", options.names, "Checks to run; default: all" )
      ->check( CLI::IsMember( names ) )
      ->type_name( "" );
  app.add_flag( "--list", options.list, "List the checks" );
  app.set_version_flag( "--version", "morvane-sdk-check " MORVANE_VERSION,
                        "Print the version and exit" );
}

void list() {
  for ( const SdkCheck::Check & check : SdkCheck::checks() )
    std::printf( "%-24s  %s\n", check.name, check.what );
}

int runChecks( Shim::SdkShim & sdk, const Options & options ) {
  U32 counts[ 4 ] = {};
  for ( const SdkCheck::Check & check : SdkCheck::checks() ) {
    if ( !options.names.empty() && std::find( options.names.begin(), options.names.end(),
                                              check.name ) == options.names.end() )
      continue;
    const SdkCheck::Result result = SdkCheck::run( check, sdk, options.unit, options.limit );
    ++counts[ static_cast< U32 >( result.verdict ) ];
    std::printf( "%s\n", textOf( result ).c_str() );
    std::fflush( stdout );
  }
  std::printf( "%u ok, %u failed, %u not supported, %u not applicable\n", counts[ 0 ], counts[ 1 ],
               counts[ 2 ], counts[ 3 ] );
  return counts[ 1 ] == 0 ? exitPassed : exitFailed;
}

int check( const Options & options ) {
  if ( !options.library.empty() )
    return runChecks( SdkCheck::loadSdk( options.library ), options );
  const auto sdk = SdkCheck::softwareChip( options.chip, options.unit );
  if ( !sdk )
    throw std::runtime_error( "--sdk is missing: there is no software ASIC in this build" );
  return runChecks( *sdk, options );
}

}  // namespace

int main( int argc, char ** argv ) {
  Options options;
  CLI::App app( "Checks a binding to an SDK through the operations that the library makes",
                "morvane-sdk-check" );
  addOptions( app, options );
  std::string shell;
  CLI::App & completion = Cli::addCompletion( app, shell );
  try {
    app.parse( argc, argv );
  } catch ( const CLI::ParseError & error ) {
    completion.disabled();  // not in help
    return app.exit( error ) == 0 ? exitPassed : exitUsage;
  }
  if ( completion.parsed() ) {
    std::fputs( Cli::completionScript( app, shell ).c_str(), stdout );
    return exitPassed;
  }
  if ( options.list ) {
    list();
    return exitPassed;
  }
  try {
    return check( options );
  } catch ( const std::runtime_error & error ) {
    std::fprintf( stderr, "morvane-sdk-check: %s\n", error.what() );
    return exitUsage;
  }
}
