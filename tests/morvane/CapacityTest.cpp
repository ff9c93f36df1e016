// The capacity table: which rows are written when, and alarms with hysteresis.

#include "morvane/MorvaneTcamCapacitySm.h"
#include "tests/morvane/TestSwitch.h"

namespace Test::Capacity {

// Records the calls in short form.
struct Table : TcamCapacityTable {
  void rowIs( const TcamCapacityKey & key, const TcamCapacityRow & row ) override {
    text += fmt::format( "{}.{}={}/{}/{}/{} ", key.unit, key.stage, row.used, row.free,
                         row.maxLimit, row.highWatermark );
  }
  void rowDel( const TcamCapacityKey & key ) override {
    text += fmt::format( "{}.{} gone ", key.unit, key.stage );
  }
  void alarmIs( const TcamCapacityKey & key, bool raised ) override {
    text += fmt::format( "{}.{} {} ", key.unit, key.stage, raised ? "ALARM" : "clear" );
  }
  std::string text;
};

TEST( CapacityTest, RowsAreWrittenOnChangeAndAlarmsOnce ) {
  TestSwitch sw( { .units = 2, .slices = 1, .depth = 10 } );
  sw.platform.acl( 1, 10 );
  sw.start();
  Table table;
  const auto capacity =
      Kiv::make< MorvaneTcamCapacitySm >( Kiv::Name( "capacity" ), sw.groups, &table );
  const auto poll = [ & ] {
    table.text.clear();
    capacity->poll();
    return table.text;
  };
  EXPECT_EQ( poll(),
             "0.1=0/10/10/0 0.0=0/10/10/0 0.2=0/10/10/0 1.1=0/10/10/0 1.0=0/10/10/0 "
             "1.2=0/10/10/0 " )
      << "VFP, IFP and EFP of both units";
  EXPECT_EQ( poll(), "" );
  capacity->thresholdIs( { 0, 0 }, { 80, 50 } );
  capacity->thresholdIs( { 1, 0 }, { 20, 90 } );  // a clear threshold above it counts as 20
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  const auto fill = [ & ]( U32 unit, U32 wanted ) {
    for ( U32 i = acl.internalUnitEntry( unit )->entryCreatedSize(); i < wanted; ++i )
      acl.getEntry( unit, acl.baseEntry() + i, "rule" );
    for ( U32 i = acl.internalUnitEntry( unit )->entryCreatedSize(); i > wanted; --i )
      acl.releaseEntry( unit, acl.baseEntry() + i - 1 );
  };
  const struct {
    U32 unit, entries;
    const char * told;
  } rows[] = {
      { 0, 7, "0.0=7/3/10/7 " },           { 0, 8, "0.0=8/2/10/8 0.0 ALARM " },
      { 0, 9, "0.0=9/1/10/9 " },           { 0, 5, "0.0=5/5/10/9 " },
      { 0, 4, "0.0=4/6/10/9 0.0 clear " }, { 0, 5, "0.0=5/5/10/9 " },
      { 1, 2, "1.0=2/8/10/2 1.0 ALARM " }, { 1, 1, "1.0=1/9/10/2 1.0 clear " },
      { 0, 0, "0.0=0/10/10/9 " },
  };
  for ( const auto & row : rows ) {
    fill( row.unit, row.entries );
    EXPECT_EQ( poll(), row.told ) << "row " << &row - rows;
  }
  capacity->thresholdIs( { 0, 0 }, { 101, 0 } );
  fill( 0, 10 );
  EXPECT_EQ( poll(), "0.0=10/0/10/10 " );  // never reached
  fill( 0, 0 ), poll();
  table.text.clear();
  capacity->clearHighWatermarks();
  EXPECT_EQ( table.text, "0.0=0/10/10/0 1.0=1/9/10/1 " );
  fill( 1, 2 );
  EXPECT_EQ( poll(), "1.0=2/8/10/2 1.0 ALARM " );
  capacity->thresholdIs( { 1, 0 }, { 20, 0 } );  // so does a missing one
  fill( 1, 1 );
  EXPECT_EQ( poll(), "1.0=1/9/10/2 1.0 clear " );
  fill( 1, 3 );
  EXPECT_EQ( poll(), "1.0=3/7/10/3 1.0 ALARM " );
  // The unit is deleted during the read.
  fill( 1, 4 );
  fill( 0, 1 );
  sw.second.arm( 2, Arrival::afterCall, { [ & ] { sw.groups->modChipInfoDel( 1 ); } } );
  EXPECT_EQ( poll(), "0.0=1/9/10/1 1.0 clear 1.0 gone 1.1 gone 1.2 gone " );
  EXPECT_TRUE( capacity->rowHas( { 0, 0 } ) && !capacity->rowHas( { 1, 0 } ) );
}

TEST( CapacityTest, ReadsEachUnitOnceAndFailureEndsTheProcess ) {
  TestSwitch sw( { .units = 2, .slices = 1, .depth = 1024, .halfSize = true } );
  sw.start();
  Table table;
  const auto capacity =
      Kiv::make< MorvaneTcamCapacitySm >( Kiv::Name( "capacity" ), sw.groups, &table );
  const std::string call = "kelmor_bcm_tcam_capacity_info_get( unitIter.key(), &info )";
  EXPECT_THAT( callTexts( [ & ] { capacity->poll(); } ),
               ElementsAre( call + " (rc:0)", call + " (rc:0)" ) );
  EXPECT_EQ( capacity->row( { 1, 0 } ).maxLimit, 512U ) << "two rows for each ingress key";
  EXPECT_EQ( capacity->row( { 1, 0 } ).free, 512U );
  EXPECT_EQ( capacity->row( { 1, 1 } ).maxLimit, 1024U );
  sw.faults.arm( { .op = SdkOp::kelmor_bcm_tcam_capacity_info_get, .rc = -1 } );
  EXPECT_THAT( deathOf( [ & ] { capacity->poll(); } ), HasSubstr( call + " API ERROR:" ) );
}

}  // namespace Test::Capacity
