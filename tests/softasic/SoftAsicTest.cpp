// Units, locking, operations that a chip lacks, call log and fault injector.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>

#include "softasic/CallLog.h"
#include "softasic/FaultInjector.h"
#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

using Shim::SdkOp;
using ::SoftAsic::CallLog;
using ::SoftAsic::FaultInjector;

TEST( ChipProfileTest, ValidateNamesTheBadField ) {
  EXPECT_EQ( bigProfile().validate(), "" );
  const std::pair< const char *, void ( * )( ChipProfile & ) > faults[] = {
      { "pipes:", []( ChipProfile & p ) { p.pipes = 5; } },
      { "secondCopy:", []( ChipProfile & p ) { p.sharedByPipes = true; } },
      { "rangeCheckers:", []( ChipProfile & p ) { p.rangeCheckers = 49; } },
      { "stages: IFP", []( ChipProfile & p ) { p.stages[ 1 ].kind = StageKind::ifp; } },
      { "stage EFP.slices[0].count:",
        []( ChipProfile & p ) { p.stages[ 2 ].slices[ 0 ].count = 65; } },
      { "stage VFP.keyBits[40]:",
        []( ChipProfile & p ) { p.stages[ 1 ].keyBits[ bcmFieldQualifyRangeCheck ] = 1; } },
  };
  for ( const auto & [ start, change ] : faults ) {
    ChipProfile profile = bigProfile();
    change( profile );
    EXPECT_EQ( profile.validate().substr( 0, std::strlen( start ) ), start );
  }
}

TEST( SoftAsicTest, UnitsAreIndependentAndResetToTheirProfile ) {
  TestChip chip( smallProfile() );
  chip.addUnit( 7, bigProfile() );
  EXPECT_THROW( chip.addUnit( 7, bigProfile() ), std::invalid_argument );
  ChipProfile bad = smallProfile();
  bad.pipes = 0;
  EXPECT_THROW( chip.addUnit( 8, bad ), std::invalid_argument );
  EXPECT_EQ( chip.units(), ( std::vector< U32 >{ 0, 7 } ) );

  bcm_field_group_config_t config = groupConfig( 1, { bcmFieldQualifyDstIp } );
  ASSERT_EQ( chip.bcm_field_group_config_create( 7, &config ), BCM_E_NONE );
  EXPECT_FALSE( chip.group( 0, 1 ).has_value() );
  EXPECT_EQ( chip.bcm_field_group_config_create( 1, &config ), BCM_E_UNIT );
  EXPECT_THROW( ( void )chip.groups( 1 ), std::out_of_range );

  ASSERT_EQ( chip.bcm_field_control_set( 7, bcmFieldControlRedirectExcludeSrcPort, 1 ), 0 );
  EXPECT_EQ( chip.bcm_port_control_set( 7, 16, bcmPortControlFilterLookup, 1 ), BCM_E_PORT );
  EXPECT_EQ( chip.controls( 7 ).controls.at( bcmFieldControlRedirectExcludeSrcPort ), 1U );

  chip.reset( 7 );
  EXPECT_TRUE( chip.groups( 7 ).empty() && chip.controls( 7 ).controls.empty() );
  EXPECT_EQ( chip.tables( 7 ).size(), 1U + 4 + 1 );
}

TEST( SoftAsicTest, CountsCallsWithoutTheLock ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  ::SoftAsic::SoftAsic chip;
  chip.addUnit( 0, smallProfile() );
  bcm_port_config_t ports = {};
  chip.sdkLock();
  EXPECT_TRUE( chip.sdkLockHeld() );
  chip.bcm_port_config_get( 0, &ports );
  EXPECT_EQ( chip.lockViolations(), 0U );
  // Held by another thread.
  std::thread( [ & ] { chip.bcm_port_config_get( 0, &ports ); } ).join();
  EXPECT_EQ( chip.lockViolations(), 1U );
  chip.sdkUnlock();
  EXPECT_EQ( chip.bcm_port_config_get( 0, &ports ), BCM_E_NONE );
  EXPECT_EQ( chip.lockViolations(), 2U );
  EXPECT_TRUE( chip.groups( 0 ).empty() );  // inspection takes the lock
  EXPECT_FALSE( chip.sdkLockHeld() );
}

TEST( SoftAsicTest, RefusesOperationsThatTheChipLacks ) {
  TestChip chip( smallProfile() );
  bcm_field_range_t range = 0;
  EXPECT_EQ( chip.bcm_field_range_create( 0, &range, 0, 1, 2 ), BCM_E_UNAVAIL );
  EXPECT_EQ( chip.createGroup( groupConfig( 2, { bcmFieldQualifyRangeCheck } ) ), BCM_E_UNAVAIL );
  EXPECT_EQ( chip.bcm_policer_create( 0, nullptr, nullptr ), BCM_E_UNAVAIL );
  EXPECT_EQ( chip.bcm_field_data_qualifier_create( 0, nullptr ), BCM_E_UNAVAIL );
  EXPECT_STREQ( chip.sdkErrorText( 5 ), "Ok" );
  EXPECT_STREQ( chip.sdkErrorText( -99 ), "Unknown error" );
}

class DecoratorTest : public testing::Test {
 protected:
  DecoratorTest() {
    for ( const U32 bits : { 0U, pipe1 } ) {
      bcm_field_group_config_t config = groupConfig( 1 | bits, { bcmFieldQualifyDstIp } );
      log.bcm_field_group_config_create( 0, &config );
    }
  }
  int createEntry( U32 id ) { return log.bcm_field_entry_create_id( 0, 1 | ( id & pipe1 ), id ); }
  static constexpr U32 pipe1 = 1U << 24;
  static constexpr SdkOp createOp = SdkOp::bcm_field_entry_create_id;
  TestChip chip{ bigProfile() };
  FaultInjector faults{ chip };
  CallLog log{ faults };
};

TEST_F( DecoratorTest, LogRecordsOrderResultsExceptionsAndCounts ) {
  EXPECT_EQ( createEntry( 4 ), BCM_E_NONE );
  EXPECT_EQ( createEntry( 4 ), BCM_E_EXISTS );
  EXPECT_EQ( log.bcm_field_entry_install( 3, 4 ), BCM_E_UNIT );
  ASSERT_EQ( log.records().size(), 5U );
  EXPECT_EQ( log.records()[ 3 ],
             ( ::SoftAsic::CallRecord{ createOp, 0, 1, BCM_E_EXISTS, false } ) );
  EXPECT_EQ( callText( log.records()[ 4 ] ), "bcm_field_entry_install unit 3 id 0x4 rc -3" );
  EXPECT_EQ( log.count( createOp ), 2U );
  faults.arm( { .exception = std::make_exception_ptr( std::runtime_error( "cable cut" ) ) } );
  EXPECT_THROW( createEntry( 5 ), std::runtime_error );
  EXPECT_EQ( callText( log.records().back() ), "bcm_field_entry_create_id unit 0 id 0x1 threw" );
  log.clear();
  log.keepRecords( false );
  EXPECT_EQ( createEntry( 5 ), BCM_E_NONE );
  EXPECT_TRUE( log.records().empty() );
  EXPECT_EQ( log.total(), 1U );
}

TEST_F( DecoratorTest, FaultFailsOnlyTheSelectedCalls ) {
  for ( U32 nth = 1; nth <= 4; ++nth ) {
    faults.arm( { .op = createOp, .nth = nth, .rc = BCM_E_RESOURCE } );
    for ( U32 i = 1; i <= 3; ++i )
      EXPECT_EQ( createEntry( 10 * nth + i ), i == nth ? BCM_E_RESOURCE : BCM_E_NONE );
    EXPECT_EQ( faults.fired(), nth <= 3 );
    EXPECT_EQ( chip.entry( 0, 10 * nth + nth ).has_value(), false );  // did not reach the chip
  }
  faults.arm( { .op = createOp, .pipe = 1, .nth = 2, .times = 0, .rc = BCM_E_FULL } );
  EXPECT_EQ( createEntry( 100 | pipe1 ), BCM_E_NONE );
  EXPECT_EQ( createEntry( 100 ), BCM_E_NONE );
  for ( const U32 id : { 101U, 102U, 103U } )
    EXPECT_EQ( createEntry( id | pipe1 ), BCM_E_FULL );
  EXPECT_EQ( faults.selected(), 4U );
  faults.disarm();
  EXPECT_EQ( createEntry( 101 | pipe1 ), BCM_E_NONE );
  faults.arm( { .unit = 3 } );
  EXPECT_EQ( createEntry( 102 | pipe1 ), BCM_E_NONE );
}

}  // namespace
}  // namespace SoftAsicTest
