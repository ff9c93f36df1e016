// Range checkers: shared by interval, flags and unit; exhaustion, failures, two activities at once.

#include <stdexcept>

#include "snaptrace/BcmFpCmd.h"
#include "tests/morvane/TestSwitch.h"

namespace Test::RangeCheckers {

const RangeCheckerDesc a( 10, 20, BCM_FIELD_RANGE_SRCPORT ), b( 10, 20, BCM_FIELD_RANGE_DSTPORT ),
    c( 30, 40, BCM_FIELD_RANGE_SRCPORT );

struct Switch : TestSwitch {
  explicit Switch( const Chip & size ) : TestSwitch( size ) {
    platform.acl( 1, 4 );
    start();
  }
  MorvaneTcamEntryManager & user() { return manager( ipAclTcamGroup ); }
  // "id*users" of each record on each unit, "-" for none, then the units that are exhausted.
  std::string records() {
    std::string text;
    for ( const RangeCheckerDesc & desc : { a, b, c } ) {
      const auto data = groups->rangeChecker( desc );
      for ( U32 unit = 0; unit < chip.units; ++unit )
        text +=
            data ? fmt::format( "{}*{} ", data->unitId( unit ), data->unitRefCount( unit ) ) : "- ";
    }
    for ( U32 unit = 0; unit < chip.units; ++unit )
      text += user().rangeCheckersExhausted( unit ) ? "full" : "";
    return text;
  }
};

TEST( RangeCheckerTest, UsersShareTheCheckerOfTheirUnit ) {
  Switch sw( { .units = 2, .rangeCheckers = 2 } );
  const struct {
    const char * op;  // "+" get, "-" release
    U32 unit;
    const RangeCheckerDesc & desc;
    U32 id;     // answered
    U32 calls;  // of the SDK
    const char * records;
  } steps[] = {
      { "+", 0, a, 1, 1, "1*1 0*0 - - - - " },
      { "+", 0, a, 1, 0, "1*2 0*0 - - - - " },
      { "+", 1, a, 1, 1, "1*2 1*1 - - - - " },
      { "+", 0, b, 2, 1, "1*2 1*1 2*1 0*0 - - " },
      { "+", 0, c, 0, 1, "1*2 1*1 2*1 0*0 0*0 0*0 full" },
      { "-", 0, a, 0, 0, "1*1 1*1 2*1 0*0 0*0 0*0 full" },
      { "-", 0, a, 0, 1, "0*0 1*1 2*1 0*0 0*0 0*0 " },
      { "+", 1, c, 2, 1, "0*0 1*1 2*1 0*0 0*0 2*1 " },
      { "-", 1, c, 0, 1, "0*0 1*1 2*1 0*0 - - " },
      { "+", 0, a, 1, 1, "1*1 1*1 2*1 0*0 - - " },
      { "-", 1, a, 0, 1, "1*1 0*0 2*1 0*0 - - " },
      { "-", 0, a, 0, 1, "- - 2*1 0*0 - - " },
  };
  for ( const auto & step : steps ) {
    SCOPED_TRACE( step.records );
    sw.log.clear();
    U32 id = 0;
    if ( *step.op == '+' )
      id = sw.user().getRangeChecker( step.unit, step.desc );
    else
      sw.user().releaseRangeChecker( step.unit, step.desc );
    EXPECT_EQ( id, step.id );
    EXPECT_EQ( sw.log.records().size(), step.calls );
    EXPECT_EQ( sw.records(), step.records );
    EXPECT_EQ( sw.audit(), "" );
  }
  // Hardware forgets; so do the books, without a call.
  for ( const U32 unit : { 0, 1 } )
    sw.asic.reset( unit );
  sw.groups->doSdkReInit();
  EXPECT_EQ( sw.records(), "- - - - - - " );
  EXPECT_EQ( sw.user().getRangeChecker( 0, b ), 1U );
  EXPECT_EQ( sw.audit(), "" );
  sw.log.clear();
  sw.stop();
  EXPECT_EQ( sw.log.records().size(), 0U );
}

TEST( RangeCheckerTest, FailuresHaveTheirTextsAndLeaveEqualBooks ) {
  Switch sw( {} );
  MorvaneTcamEntryManager & user = sw.user();
  EXPECT_THAT( deathOf( [ & ] { user.releaseRangeChecker( 0, a ); } ), HasSubstr( "`data'" ) );
  EXPECT_THAT( callTexts( [ & ] { user.getRangeChecker( 0, a ); } ),
               ElementsAre( "bcm_field_range_create( unit, &id, desc.rangeFlags(), desc.low(), "
                            "desc.high() ) (rc:0)" ) );
  bcmFpCmd.enabledIs( true );
  bcmFpCmd.handle().ringBuf()->clear();
  user.releaseRangeChecker( 0, a );
  user.getRangeChecker( 0, a );
  EXPECT_THAT( bcmFpCmd.handle().lines(),
               testing::IsSupersetOf( { testing::EndsWith( "fp range destroy 1" ),
                                        testing::EndsWith( "fp range create 1 1 10 20" ) } ) );
  bcmFpCmd.enabledIs( false );
  const std::string before = sw.state();
  const auto bus = std::make_exception_ptr( std::runtime_error( "bus" ) );
  sw.faults.arm( { .exception = bus } );
  EXPECT_THROW( user.getRangeChecker( 0, b ), std::runtime_error );
  EXPECT_EQ( sw.state(), before );
  sw.faults.arm( { .exception = bus } );
  EXPECT_THROW( user.releaseRangeChecker( 0, a ), std::runtime_error );
  EXPECT_EQ( sw.state() + sw.audit(), before );
  sw.faults.arm( { .rc = -11 } );
  EXPECT_THAT( deathOf( [ & ] { user.getRangeChecker( 0, b ); } ), HasSubstr( " rc API ERROR:" ) );
  EXPECT_THAT( deathOf( [ & ] { user.releaseRangeChecker( 0, a ); } ),
               HasSubstr( " bcm_field_range_destroy( unit, data->unitId( unit ) ) API ERROR:" ) );
  sw.faults.disarm();
  user.getRangeChecker( 0, b );
  user.releaseRangeChecker( 0, a );
  EXPECT_THAT( deathOf( [ & ] { user.releaseRangeChecker( 1, b ); } ),
               HasSubstr( "data->unitRefCount( unit ) > 0" ) );
}

TEST( RangeCheckerTest, TwoActivitiesShareWhatBothMake ) {
  Switch sw( {} );
  MorvaneTcamEntryManager & user = sw.user();
  U32 other = 0;
  sw.meanwhile.arm( SdkOp::bcm_field_range_create,
                    [ & ] { other = user.getRangeChecker( 0, a ); } );
  EXPECT_EQ( user.getRangeChecker( 0, a ), other );
  EXPECT_EQ( sw.groups->rangeChecker( a )->unitRefCount( 0 ), 2U );
  EXPECT_EQ( sw.audit(), "" );
  // A checker that is on its way out serves nobody else.
  user.releaseRangeChecker( 0, a );
  sw.meanwhile.arm( SdkOp::bcm_field_range_destroy,
                    [ & ] { other = user.getRangeChecker( 0, a ); } );
  user.releaseRangeChecker( 0, a );
  EXPECT_EQ( sw.groups->rangeChecker( a )->unitId( 0 ), other );
  EXPECT_EQ( sw.groups->rangeChecker( a )->unitRefCount( 0 ), 1U );
  EXPECT_EQ( sw.audit(), "" );
}

}  // namespace Test::RangeCheckers
