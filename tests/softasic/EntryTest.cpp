// Entry states, id allocation, and the errors of each operation.
#include <gtest/gtest.h>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

class EntryTest : public testing::Test {
 protected:
  EntryTest() { chip.createGroup( groupConfig( 1, { dst, bcmFieldQualifyInPorts } ) ); }
  TestChip chip{ smallProfile() };
  Packet packet;
};

TEST_F( EntryTest, EachStateAllowsItsOperations ) {
  const auto reinstall = [ & ] { return chip.bcm_field_entry_reinstall( 0, 5 ); };
  const auto destroy = [ & ] { return chip.bcm_field_entry_destroy( 0, 5 ); };
  EXPECT_EQ( ( Codes{ chip.bcm_field_entry_create_id( 0, 1, 5 ), reinstall(),
                      chip.bcm_field_entry_install( 0, 5 ), destroy(),
                      chip.bcm_field_entry_enable_set( 0, 5, 0 ), reinstall() } ),
             ( Codes{ 0, BCM_E_NOT_FOUND, 0, BCM_E_BUSY, 0, 0 } ) );
  EXPECT_EQ( chip.winner( packet ), 0U );  // install does not enable
  EXPECT_EQ( ( Codes{ chip.bcm_field_entry_remove( 0, 5 ), destroy(), destroy() } ),
             ( Codes{ 0, 0, BCM_E_NOT_FOUND } ) );
}

TEST_F( EntryTest, RuleChangesTakeEffectWithTheNextInstall ) {
  ASSERT_EQ( chip.addRule( 1, 5, 1, packet.dstIp, ~0U ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_qualify_DstIp( 0, 5, 0x01010101, ~0U ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_action_remove_all( 0, 5 ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_action_add( 0, 5, bcmFieldActionDrop, 0, 0 ), BCM_E_NONE );
  EXPECT_EQ( chip.winner( packet ), 5U );
  EXPECT_FALSE( chip.send( packet ).drop );
  EXPECT_NE( chip.entry( 0, 5 )->pending, chip.entry( 0, 5 )->effective );
  ASSERT_EQ( chip.bcm_field_entry_reinstall( 0, 5 ), BCM_E_NONE );
  EXPECT_EQ( chip.winner( packet ), 0U );
  packet.dstIp = 0x01010101;
  EXPECT_TRUE( chip.send( packet ).drop );

  ASSERT_EQ( chip.bcm_field_qualify_clear( 0, 5 ), BCM_E_NONE );
  packet.l3 = L3::none;
  EXPECT_EQ( chip.winner( packet ), 0U );
  ASSERT_EQ( chip.bcm_field_entry_install( 0, 5 ), BCM_E_NONE );
  EXPECT_EQ( chip.winner( packet ), 5U );  // neither qualifier nor required IPv4 header left
}

TEST_F( EntryTest, ChipChoosesIdsFromTheTopDown ) {
  const auto choose = [ this ] {
    U32 id = 0;
    EXPECT_EQ( chip.bcm_field_entry_create( 0, 1, &id ), BCM_E_NONE );
    return id;
  };
  ASSERT_EQ( chip.bcm_field_entry_create_id( 0, 1, 0xFFFFFE ), BCM_E_NONE );
  for ( const U32 expected : { 0xFFFFFFU, 0xFFFFFDU, 0xFFFFFCU } )
    EXPECT_EQ( choose(), expected );
  ASSERT_EQ( chip.bcm_field_entry_destroy( 0, 0xFFFFFD ), BCM_E_NONE );
  EXPECT_EQ( choose(), 0xFFFFFDU );
  EXPECT_EQ( choose(), 0xFFFFFBU );

  const auto create = [ this ]( U32 group, U32 id ) {
    return chip.bcm_field_entry_create_id( 0, group, id );
  };
  EXPECT_EQ(
      ( Codes{ create( 1, 0xFFFFFE ), create( 2, 3 ), create( 1, 0 ), create( 1, 3 | 1U << 24 ) } ),
      ( Codes{ BCM_E_EXISTS, BCM_E_NOT_FOUND, BCM_E_PARAM, BCM_E_PARAM } ) );

  TestChip big( bigProfile() );
  const U32 instance = 1U << 24 | 1U << 26;
  ASSERT_EQ( big.createGroup( perCopy( groupConfig( 1 | instance, { dst } ) ) ), BCM_E_NONE );
  U32 id = 0;
  ASSERT_EQ( big.bcm_field_entry_create( 0, 1 | instance, &id ), BCM_E_NONE );
  EXPECT_EQ( id, 0xFFFFFF | instance );
}

TEST_F( EntryTest, CopyTakesOnlyTheRule ) {
  ASSERT_EQ( chip.addRule( 1, 5, 40, packet.dstIp, ~0U, bcmFieldActionDrop ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_entry_create_id( 0, 1, 6 ), BCM_E_NONE );
  ASSERT_EQ( chip.kelmor_field_entry_copy_id( 0, 5, 6 ), BCM_E_NONE );
  EXPECT_EQ( chip.entry( 0, 6 )->pending, chip.entry( 0, 5 )->pending );
  EXPECT_EQ( chip.entry( 0, 6 )->priority, 0U );
  EXPECT_FALSE( chip.entry( 0, 6 )->installed );
  // The copy is independent of its source.
  ASSERT_EQ( chip.bcm_field_qualify_DstIp( 0, 6, 0, 0 ), BCM_E_NONE );
  EXPECT_EQ( chip.entry( 0, 5 )->pending, chip.entry( 0, 5 )->effective );
  EXPECT_NE( chip.entry( 0, 6 )->pending, chip.entry( 0, 5 )->pending );

  ASSERT_EQ( chip.createGroup( groupConfig( 2, { dst } ) ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_entry_create_id( 0, 2, 7 ), BCM_E_NONE );
  EXPECT_EQ( chip.kelmor_field_entry_copy_id( 0, 5, 7 ), BCM_E_PARAM );  // other key layout
  EXPECT_EQ( chip.kelmor_field_entry_copy_id( 0, 8, 5 ), BCM_E_NOT_FOUND );
}

TEST_F( EntryTest, ChecksQualifiersAndReadsThemBack ) {
  ASSERT_EQ( chip.bcm_field_entry_create_id( 0, 1, 5 ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_qualify_SrcIp( 0, 5, 1, 1 ), BCM_E_PARAM );  // not in the qualifier set
  EXPECT_EQ( chip.bcm_field_qualify_InPort( 0, 5, 1, 1 ), BCM_E_PARAM );
  EXPECT_EQ( chip.bcm_field_qualify_DstIp( 0, 6, 1, 1 ), BCM_E_NOT_FOUND );

  // A port outside the mask is not restricted.
  const bcm_pbmp_t mask = portSet( { 1, 2 } );
  bcm_pbmp_t data = {};
  bcm_pbmp_t dataMask = {};
  ASSERT_EQ( chip.bcm_field_qualify_InPorts( 0, 5, portSet( { 1 } ), mask ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_qualify_InPorts_get( 0, 5, &data, &dataMask ), BCM_E_NONE );
  EXPECT_TRUE( data == portSet( { 1 } ) && dataMask == mask );
  ASSERT_EQ( chip.bcm_field_entry_install( 0, 5 ), BCM_E_NONE );
  for ( const U32 port : { 1U, 2U, 3U } )
    EXPECT_EQ( chip.winner( packet, port ), port == 2 ? 0U : 5U );

  ASSERT_EQ(
      chip.createGroup( groupConfig( 2, { bcmFieldQualifyOuterVlanId, bcmFieldQualifyInPort } ) ),
      BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_entry_create_id( 0, 2, 8 ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_qualify_InPort( 0, 8, 256, ~0U ), BCM_E_PARAM );  // not port 0
  ASSERT_EQ( chip.bcm_field_qualify_InPort( 0, 8, 3, ~0U ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_qualify_OuterVlanId( 0, 8, 0, 0xFFFF ), BCM_E_NONE );
  using ::SoftAsic::QualifierView;
  EXPECT_EQ( chip.entry( 0, 8 )->pending.qualifiers,
             ( std::vector< QualifierView >{ { bcmFieldQualifyInPort, { 3 }, { 0xFF } },
                                             { bcmFieldQualifyOuterVlanId, { 0 }, { 0xFFF } } } ) );
}

}  // namespace
}  // namespace SoftAsicTest
