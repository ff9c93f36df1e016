#include "agent/command/ReplayCommand.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

#include "agent/command/LoadedSdk.h"
#include "agent/command/UsageError.h"
#include "agent/report/OutputFile.h"
#include "agent/report/Progress.h"
#include "platform/InputError.h"
#include "platform/PlatformLoader.h"
#include "sdkrecord/Minimise.h"

namespace Agent {

namespace {

using namespace Kiv::Integers;
using SdkRecord::Difference;
using SdkRecord::Events;
using SdkRecord::Played;

SdkRecord::Recording readRecording( const std::string & file ) {
  try {
    return SdkRecord::parseRecording( Platform::readFile( file ) );
  } catch ( const SdkRecord::LineError & error ) {
    throw Platform::InputError( file, error.line(), error.what() );
  }
}

SdkRecord::Units chipsToPlayOn( const SdkRecord::Recording & recording,
                                const ReplayOptions & options ) {
  SdkRecord::Units units = recording.units;
  if ( !options.platform.empty() ) {
    const SoftAsic::ChipProfile chip = Platform::loadPlatform( options.platform ).chip;
    units.clear();
    for ( const SdkRecord::Event & event : recording.events )
      units.emplace( event.unit, chip );
  }
  if ( units.empty() && options.sdk.empty() && !recording.events.empty() )
    throw UsageError(
        fmt::format( "{} has no chip: --platform or --sdk is needed", options.file ) );
  return units;
}

SdkRecord::PlayOptions howToPlay( const ReplayOptions & options ) {
  SdkRecord::PlayOptions how;
  how.exactIds = options.exactIds;
  for ( const std::string & name : options.ignored ) {
    const SdkRecord::Operation * const operation = SdkRecord::operationNamed( name );
    if ( operation == nullptr )
      throw UsageError( fmt::format( "--ignore: there is no operation {}", name ) );
    how.ignored.insert( operation->op );
  }
  return how;
}

class Replaying {
 public:
  Replaying( const SdkRecord::Recording & recording, const ReplayOptions & options )
      : options_( options ),
        units_( chipsToPlayOn( recording, options ) ),
        how_( howToPlay( options ) ) {}

  Played play( const Events & events ) const {
    if ( !options_.sdk.empty() )
      return playOnLibrary( events, options_.sdk, how_ );
    try {
      const auto chips = SdkRecord::chipsOf( units_ );
      return SdkRecord::play( events, *chips, chips.get(), how_ );
    } catch ( const std::invalid_argument & error ) {
      throw Platform::InputError( options_.file, 0, error.what() );
    }
  }
  Events minimised( const Events & events, const Difference & difference ) const {
    Progress progress( "minimising" );
    const U64 most = 2 * ( difference.event + 1 );  // usually, if none can be left out
    U64 done = 0;
    return SdkRecord::minimise( events, difference, [ & ]( const Events & some ) {
      progress.at( std::min( ++done, most ), most );
      return play( some ).difference;
    } );
  }

 private:
  const ReplayOptions & options_;
  const SdkRecord::Units units_;
  const SdkRecord::PlayOptions how_;
};

std::string countText( const Played & played ) {
  std::string text = fmt::format( "{} call{}", played.calls, played.calls == 1 ? "" : "s" );
  if ( played.packetsLeftOut != 0 )
    text += fmt::format( "; {} packets were left out, and counters not compared after the first",
                         played.packetsLeftOut );
  return text;
}

std::string differenceText( const ReplayOptions & options, const Events & events,
                            const Played & played ) {
  const Difference & difference = *played.difference;
  const SdkRecord::Event & event = *events[ difference.event ];
  return fmt::format( "{}:{}: call {} differs\n  {}  {}: recorded {}, got {}\n", options.file,
                      event.line, played.calls, eventText( event ), difference.where,
                      difference.recorded, difference.got );
}

std::string minimiseTo( const std::string & file, const SdkRecord::Recording & recording,
                        const Events & fewest, size_t all ) {
  std::string text = SdkRecord::headerText( recording.units );
  for ( const SdkRecord::Event * const event : fewest )
    text += eventText( *event );
  writeFile( file, text );
  return fmt::format( "{} of {} lines written to {}\n", fewest.size(), all, file );
}

}  // namespace

void addReplayOptions( CLI::App & app, ReplayOptions & options ) {
  app.add_option( "FILE", options.file, "Record of SDK calls, of --record" )->required();
  CLI::Option * const library = app.add_option(
      "--sdk", options.sdk,
      "Make the calls on a binding, in a shared library; default: the software ASIC, with the "
      "chips of the record" );
  library->type_name( "LIB" );
  app.add_option( "--platform", options.platform,
                  "Make them on the software ASIC with the chip of a built-in platform or a "
                  "platform file" )
      ->excludes( library );
  app.add_flag( "--exact-ids", options.exactIds,
                "Ids that the SDK chooses must be the recorded ones" );
  app.add_option( "--ignore", options.ignored,
                  "Do not compare the results of an operation, such as bcm_port_config_get; "
                  "repeatable" )
      ->type_name( "OPERATION" )
      ->take_all()
      ->allow_extra_args( false );
  app.add_option( "--minimise", options.minimised,
                  "Write the fewest calls that still differ to a file" )
      ->type_name( "FILE" );
}

bool replayCommand( const ReplayOptions & options ) {
  const SdkRecord::Recording recording = readRecording( options.file );
  const Replaying replaying( recording, options );
  const Events events = SdkRecord::eventsOf( recording );
  const Played played = replaying.play( events );
  if ( !played.difference ) {
    printOutput( fmt::format( "every result is the recorded one: {}\n", countText( played ) ) );
    return true;
  }
  printOutput( differenceText( options, events, played ) );
  if ( !options.minimised.empty() )
    printOutput( minimiseTo( options.minimised, recording,
                             replaying.minimised( events, *played.difference ), events.size() ) );
  return false;
}

}  // namespace Agent
