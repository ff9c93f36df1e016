// Fuzzes the reader of records of SDK calls, and the software ASIC with the calls of those that can
// be read. A record that was read must read back from what it is written as, and no call may harm
// the chip. What fails is a record already: morvane-tcam replay FILE makes its calls again.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "sdkrecord/Player.h"

namespace {

void require( bool holds, const char * what ) {
  if ( !holds ) {
    std::fprintf( stderr, "%s\n", what );
    std::abort();
  }
}

std::string textOf( const SdkRecord::Recording & recording ) {
  std::string text = SdkRecord::headerText( recording.units );
  for ( const SdkRecord::Event & event : recording.events )
    text += eventText( event );
  return text;
}

// Large chips would only take time.
bool isSmall( const SdkRecord::Units & units ) {
  Kiv::U64 rows = 0;
  for ( const auto & [ unit, chip ] : units )
    for ( const SoftAsic::StageProfile & stage : chip.stages )
      for ( const SoftAsic::SliceProfile & slice : stage.slices )
        rows += Kiv::U64{ slice.count } * slice.depth;
  return rows < 10'000;
}

void play( const SdkRecord::Recording & recording ) {
  try {
    const auto chips = SdkRecord::chipsOf( recording.units );
    // Calls that fail must be harmless too: continue after a difference.
    for ( const SdkRecord::Event & event : recording.events )
      ( void )SdkRecord::play( { &event }, *chips, chips.get() );
  } catch ( const std::invalid_argument & ) {  // an inconsistent chip
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t * data, std::size_t size ) {
  SdkRecord::Recording recording;
  try {
    recording = SdkRecord::parseRecording( { reinterpret_cast< const char * >( data ), size } );
  } catch ( const SdkRecord::LineError & ) {
    return 0;
  }
  const std::string text = textOf( recording );
  require( textOf( SdkRecord::parseRecording( text ) ) == text, "a record is written otherwise" );
  if ( isSmall( recording.units ) )
    play( recording );
  return 0;
}
