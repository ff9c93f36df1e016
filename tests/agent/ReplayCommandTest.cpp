// The command replay, and the option --record.

#include <gmock/gmock.h>

#include <cstdlib>

#include "tests/agent/CommandRunner.h"

namespace Agent {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class ReplayCommandTest : public CommandRunner {
 protected:
  ReplayCommandTest() {
    EXPECT_EQ( run( "run --platform small --random 50 --show detail --record " + file ).status, 0 );
  }
  Outcome replay( const std::string & options ) { return run( "replay " + options ); }

  const std::string file = folder_ + "/calls.rec";
  const std::string fewest = folder_ + "/fewest.rec";
};

TEST_F( ReplayCommandTest, OnTheChipOfTheRecordAndOnOthers ) {
  const Outcome same = replay( file );
  EXPECT_EQ( same.status, 0 ) << same.error;
  EXPECT_THAT( same.out, StartsWith( "every result is the recorded one: " ) );
  EXPECT_THAT( same.out, EndsWith( " calls\n" ) );

  const std::string other = file + " --platform shared";
  const Outcome ports = replay( other );
  EXPECT_EQ( ports.status, 1 );
  EXPECT_EQ( ports.out, file +
                            ":12: call 7 differs\n"
                            "  bcm_port_config_get unit=0 -> 0 config.all=[0-47] "
                            "config.pipe0=[0-47]\n"
                            "  config.all: recorded [0-47], got [0-63]\n" );

  const std::string ignoring = " --platform shared --ignore bcm_port_config_get";
  const Outcome room = replay( file + ignoring + " --minimise " + fewest );
  EXPECT_EQ( room.status, 1 );
  EXPECT_THAT( room.out, HasSubstr( "status.entries_free: recorded 5120, got 7680\n2 of " ) );
  EXPECT_THAT( read( "fewest.rec" ), HasSubstr( "\nbcm_field_group_config_create unit=0 " ) );
  // The file is a record of its own.
  EXPECT_EQ( replay( fewest ).status, 0 );
  EXPECT_THAT( replay( fewest + ignoring ).out, HasSubstr( "recorded 5120, got 7680\n" ) );
}

TEST_F( ReplayCommandTest, OnABinding ) {
  const std::string onBinding = file + " --sdk " MORVANE_TEST_BINDING_FILE;
  const Outcome same = replay( onBinding );
  EXPECT_EQ( same.status, 0 ) << same.out << same.error;
  EXPECT_THAT( same.out, EndsWith( "; 50 packets were left out, and counters not compared after "
                                   "the first\n" ) );
  setenv( "MORVANE_TEST_BINDING", "", 1 );
  const Outcome ended = replay( onBinding + " --minimise " + fewest );
  unsetenv( "MORVANE_TEST_BINDING" );
  EXPECT_EQ( ended.status, 1 );
  EXPECT_THAT( ended.out, HasSubstr( "  bcm_field_entry_install unit=0 entry=" ) );
  EXPECT_THAT(
      ended.out,
      HasSubstr( "result: recorded a return, got the process ended with signal 6\n3 of " ) );
}

TEST_F( ReplayCommandTest, RefusesWhatItCannotPlay ) {
  const std::string broken = write( "broken.rec", "sdk-record 1\n\nbcm_field_group_get unit=x\n" );
  const std::string noChip =
      write( "none.rec", "sdk-record 1\nbcm_field_group_destroy unit=0 group=1 -> 0\n" );
  const std::string badChip = write( "bad.rec", [ & ] {
    std::string text = read( "calls.rec" );
    return text.replace( text.find( "pipes=1" ), 7, "pipes=9" );
  }() );
  const std::string reset = write( "reset.rec", "sdk-record 1\nreset unit=0\n" );
  const std::pair< std::string, std::string > wrong[] = {
      { broken, broken + ":3: unit: \"x\" is not a number\n" },
      { noChip, "has no chip: --platform or --sdk is needed\n" },
      { badChip, badChip + ": chip profile K48: pipes" },
      { reset + " --sdk " MORVANE_TEST_BINDING_FILE,
        "a unit is reset, which only a software ASIC can be\n" },
      { file + " --sdk ./none.so", "--sdk: ./none.so: cannot open" },
      { file + " --ignore nothing", "--ignore: there is no operation nothing\n" } };
  for ( const auto & [ options, message ] : wrong ) {
    const Outcome outcome = replay( options );
    EXPECT_EQ( outcome.status, 2 ) << options;
    EXPECT_THAT( outcome.error, HasSubstr( message ) ) << options;
  }
  EXPECT_THAT( run( "run --record /no/file" ).error, StartsWith( "/no/file: No such file" ) );
  const Outcome full = run( "run --record /dev/full" );
  EXPECT_EQ( full.status, 2 );
  EXPECT_EQ( full.error, "/dev/full: No space left on device\n" );
}

}  // namespace
}  // namespace Agent
