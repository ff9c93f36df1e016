// Units, and operations that a chip lacks.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

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
      { "stage VFP.keyBits[14]:",
        []( ChipProfile & p ) { p.stages[ 1 ].keyBits[ bcmFieldQualifyOutPort ] = 8; } },
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

}  // namespace
}  // namespace SoftAsicTest
