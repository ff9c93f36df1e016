// Range checkers: failures. RandomWalkTest shares and exhausts them.

#include <stdexcept>

#include "snaptrace/BcmFpCmd.h"
#include "tests/morvane/TestSwitch.h"

namespace Test::RangeCheckers {

const RangeCheckerDesc a( 10, 20, BCM_FIELD_RANGE_SRCPORT ), b( 10, 20, BCM_FIELD_RANGE_DSTPORT );

struct Switch : TestSwitch {
  explicit Switch( const Chip & size ) : TestSwitch( size ) {
    platform.acl( 1, 4 );
    start();
  }
  MorvaneTcamEntryManager & user() { return manager( ipAclTcamGroup ); }
};

TEST( RangeCheckerTest, FailuresHaveTheirTextsAndKeepRecordsEqual ) {
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
  // A release that throws has happened; the next operation destroys the checker.
  sw.faults.arm( { .exception = bus } );
  EXPECT_THROW( user.releaseRangeChecker( 0, a ), std::runtime_error );
  EXPECT_EQ( sw.audit(), "" );
  EXPECT_EQ( sw.groups->unfinishedCleanup( 0 ), 1U );
  sw.faults.disarm();
  EXPECT_EQ( user.getRangeChecker( 0, a ), 1U );
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

}  // namespace Test::RangeCheckers
