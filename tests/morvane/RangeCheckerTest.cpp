// Range checkers: every record and mark step by step, and failures.

#include <algorithm>
#include <stdexcept>

#include "tests/morvane/TestSwitch.h"

namespace Test::RangeCheckers {

const RangeCheckerDesc a( 10, 20, BCM_FIELD_RANGE_SRCPORT ), b( 10, 20, BCM_FIELD_RANGE_DSTPORT ),
    c( 10, 21, BCM_FIELD_RANGE_SRCPORT );

struct Switch : TestSwitch {
  explicit Switch( const Chip & size ) : TestSwitch( size ) {
    platform.acl( 1, 4 );
    start();
  }
  MorvaneTcamEntryManager & user() { return manager( ipAclTcamGroup ); }
};

TEST( RangeCheckerTest, RecordsAndMarksStepByStep ) {
  Switch sw( { .units = 2, .rangeCheckers = 2 } );
  // "range/flags unit:id*users ...; ..." of every record, then the unit's mark: X exhausted.
  const auto records = [ & ] {
    std::vector< std::string > all;
    for ( auto it = sw.groups->rangeCheckerIterConst(); it; ++it ) {
      const RangeCheckerData & data = *it.member();
      EXPECT_EQ( data.name().value(), Kiv::valueToStrep( data.desc() ) );
      all.push_back(
          fmt::format( "{}-{}/{}", it.key().low(), it.key().high(), it.key().rangeFlags() ) );
      for ( const U32 unit : { 0U, 1U } )
        if ( data.unitIdHas( unit ) || data.unitRefCountHas( unit ) )
          all.back() +=
              fmt::format( " {}:{}*{}", unit, data.unitId( unit ), data.unitRefCount( unit ) );
    }
    std::sort( all.begin(), all.end() );
    std::string text = fmt::format( "{} ", fmt::join( all, "; " ) );
    for ( const U32 unit : { 0U, 1U } ) {
      text += sw.groups->rangeCheckersExhausted( unit ) ? "X" : ".";
      EXPECT_EQ( sw.user().rangeCheckersExhausted( unit ), text.back() == 'X' );
    }
    return text;
  };
  const struct {
    bool get;
    U32 unit;
    RangeCheckerDesc desc;
    U32 id;
    const char * after;
  } rows[] = {
      { true, 0, a, 1, "10-20/1 0:1*1 .." },
      { true, 0, a, 1, "10-20/1 0:1*2 .." },
      { true, 1, a, 1, "10-20/1 0:1*2 1:1*1 .." },
      { true, 0, b, 2, "10-20/1 0:1*2 1:1*1; 10-20/2 0:2*1 .." },
      { true, 0, c, 0, "10-20/1 0:1*2 1:1*1; 10-20/2 0:2*1; 10-21/1 X." },
      { true, 1, b, 2, "10-20/1 0:1*2 1:1*1; 10-20/2 0:2*1 1:2*1; 10-21/1 X." },
      { true, 1, c, 0, "10-20/1 0:1*2 1:1*1; 10-20/2 0:2*1 1:2*1; 10-21/1 XX" },
      { false, 0, a, 0, "10-20/1 0:1*1 1:1*1; 10-20/2 0:2*1 1:2*1; 10-21/1 XX" },
      { false, 1, a, 0, "10-20/1 0:1*1 1:0*0; 10-20/2 0:2*1 1:2*1; 10-21/1 X." },
      { false, 0, a, 0, "10-20/2 0:2*1 1:2*1; 10-21/1 .." },
      { true, 0, c, 1, "10-20/2 0:2*1 1:2*1; 10-21/1 0:1*1 .." },
      { false, 0, b, 0, "10-20/2 0:0*0 1:2*1; 10-21/1 0:1*1 .." },
      { true, 0, b, 2, "10-20/2 0:2*1 1:2*1; 10-21/1 0:1*1 .." },
      { false, 0, c, 0, "10-20/2 0:2*1 1:2*1 .." },
      { false, 0, b, 0, "10-20/2 0:0*0 1:2*1 .." },
      { false, 1, b, 0, " .." },
  };
  for ( const auto & row : rows ) {
    U32 id = 0;
    if ( row.get )
      id = sw.user().getRangeChecker( row.unit, row.desc );
    else
      sw.user().releaseRangeChecker( row.unit, row.desc );
    EXPECT_EQ( id, row.id ) << &row - rows;
    EXPECT_EQ( records() + sw.audit(), row.after ) << &row - rows;
  }
}

TEST( RangeCheckerTest, RangesOfOuterVlansNeedAFieldProcessorOfEachPipe ) {
  for ( const bool shared : { false, true } ) {
    Switch sw( { .pipes = 2, .shared = shared } );
    const RangeCheckerDesc vlans( 1, 2, BCM_FIELD_RANGE_OUTERVLAN );
    EXPECT_EQ( sw.user().getRangeChecker( 0, vlans ), shared ? 0U : 1U );
    EXPECT_EQ( sw.groups->rangeCheckerSize(), shared ? 0U : 1U );
    EXPECT_NE( sw.user().getRangeChecker( 0, a ), 0U );
  }
}

TEST( RangeCheckerTest, FailuresHaveTheirTextsAndKeepRecordsEqual ) {
  Switch sw( {} );
  MorvaneTcamEntryManager & user = sw.user();
  EXPECT_THAT( deathOf( [ & ] { user.releaseRangeChecker( 0, a ); } ), HasSubstr( "`data'" ) );
  EXPECT_THAT( callTexts( [ & ] { user.getRangeChecker( 0, a ); } ),
               ElementsAre( "bcm_field_range_create( unit, &id, desc.rangeFlags(), desc.low(), "
                            "desc.high() ) (rc:0)" ) );
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
  EXPECT_THAT( deathOf( [ & ] { user.releaseRangeChecker( 1, b ); } ),
               HasSubstr( "data->unitRefCount( unit ) > 0" ) );
  // A release makes the steps that are waiting as well as its own.
  sw.faults.arm( { .exception = bus } );
  EXPECT_THROW( user.releaseRangeChecker( 0, a ), std::runtime_error );
  sw.faults.disarm();
  user.releaseRangeChecker( 0, b );
  EXPECT_EQ( sw.groups->unfinishedCleanup( 0 ), 0U );
}

}  // namespace Test::RangeCheckers
