// Data qualifiers: resource limits, which packet bytes they match, and changes to groups in use.
#include <gtest/gtest.h>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

constexpr int start = bcmFieldDataOffsetBasePacketStart;
constexpr int l3 = bcmFieldDataOffsetBaseOuterL3Header;
constexpr int l4 = bcmFieldDataOffsetBaseOuterL4Header;
constexpr U16 any = BCM_FIELD_DATA_FORMAT_ANY;

class DataTest : public testing::Test {
 protected:
  // A key holds the address and one chunk, in double-wide mode the address and three.
  static ChipProfile profile() {
    ChipProfile profile = smallProfile();
    profile.stages[ 0 ].slices[ 0 ].keyBits = 72;
    profile.stages[ 0 ].doubleWide = true;
    profile.dataChunks = 6;
    profile.dataFormats = 5;
    return profile;
  }
  // Returns the id or the error.
  int create( int base, U32 offset, U32 length = 4 ) {
    bcm_field_data_qualifier_s record = { 0, -1, base, offset, length };
    const int rc = chip.bcm_field_data_qualifier_create( 0, &record );
    return rc == BCM_E_NONE ? record.qual_id : rc;
  }
  int addFormat( int id, U16 l2, U16 outerIp, U32 relative = 0, U16 tunnel = any ) {
    bcm_field_data_packet_format_s format = { relative, l2, any, outerIp, 0, tunnel, 0 };
    return chip.bcm_field_data_qualifier_packet_format_add( 0, id, &format );
  }
  int addEtherType( int id, U16 type, U32 relative = 0 ) {
    bcm_field_data_ethertype_s record = { relative, type, any, any, 0 };
    return chip.bcm_field_data_qualifier_ethertype_add( 0, id, &record );
  }
  int destroy( int id ) { return chip.bcm_field_data_qualifier_destroy( 0, id ); }
  bcm_field_group_config_t config( U32 group, std::initializer_list< U32 > qualifiers,
                                   std::initializer_list< int > data ) {
    bcm_field_group_config_t config = groupConfig( group, qualifiers );
    for ( const int id : data )
      EXPECT_EQ( chip.bcm_field_qset_data_qualifier_add( 0, &config.qset, id ), BCM_E_NONE );
    return config;
  }
  int set( U32 group, std::initializer_list< U32 > qualifiers, std::initializer_list< int > data ) {
    return chip.bcm_field_group_set( 0, group, config( group, qualifiers, data ).qset );
  }
  int qualify( U32 entry, int id, Frame value, Frame mask = {} ) {
    mask.resize( value.size(), 0xFF );
    return chip.bcm_field_qualify_data( 0, entry, id, value.data(), mask.data(),
                                        static_cast< U16 >( value.size() ) );
  }
  bool matches( const Frame & frame ) {
    return !chip.inject( 0, 0, frame.data(), frame.size() ).matches.empty();
  }
  TestChip chip{ profile() };
};

TEST_F( DataTest, RefusesWhatExceedsChunksIdsAndFormats ) {
  EXPECT_EQ( ( Codes{ create( 3, 0 ), create( -1, 0 ), create( l3, 128 ), create( l3, 0, 0 ),
                      create( l3, 0, 6 ), create( l3, 0, 20 ) } ),
             Codes( 6, BCM_E_PARAM ) );
  EXPECT_EQ( ( Codes{ create( l3, 127 ), create( start, 0, 16 ), create( l4, 0, 8 ),
                      create( l4, 0 ), create( l4, 0 ) } ),
             ( Codes{ 1, 2, BCM_E_RESOURCE, 3, BCM_E_RESOURCE } ) );
  bcm_field_data_qualifier_s record = {};
  ASSERT_EQ( chip.bcm_field_data_qualifier_get( 0, 2, &record ), BCM_E_NONE );
  EXPECT_TRUE( record.qual_id == 2 && record.length == 16 && record.offset_base == start );
  EXPECT_EQ(
      ( Codes{ addFormat( 1, any, 2 ), addFormat( 1, any, 2, 4 ), addEtherType( 1, 0x800 ),
               addFormat( 1, any, 2 ), addEtherType( 1, 0x800 ), addEtherType( 1, 0x5FF ),
               addFormat( 1, any, 7 ), addFormat( 1, any, any, 0, 1 ), addFormat( 9, any, 2 ) } ),
      ( Codes{ 0, 0, 0, BCM_E_EXISTS, BCM_E_EXISTS, BCM_E_PARAM, BCM_E_UNAVAIL, BCM_E_UNAVAIL,
               BCM_E_NOT_FOUND } ) );
  bcm_field_data_ethertype_s type = { 0, 0x800, any, any, 0 };
  const auto remove = [ & ] {
    return chip.bcm_field_data_qualifier_ethertype_delete( 0, 1, &type );
  };
  EXPECT_EQ( ( Codes{ addFormat( 3, 1, any ), addFormat( 3, 1, 2 ), addFormat( 3, 1, 3 ), remove(),
                      remove(), addFormat( 3, 1, 3 ), destroy( 1 ), addFormat( 3, any, 2 ),
                      addFormat( 3, any, 3 ), addFormat( 3, any, any ) } ),
             ( Codes{ 0, 0, BCM_E_RESOURCE, 0, BCM_E_NOT_FOUND, 0, 0, 0, 0, BCM_E_RESOURCE } ) );
}

TEST_F( DataTest, MatchesOnlyPacketsOfItsFormats ) {
  Packet plain;
  plain.srcPort = 0x0102;
  Packet odd = plain;  // two tags, IP options
  odd.tags = { 5, 6 };
  odd.options = 8;
  Packet six = plain;
  six.l3 = L3::ipv6;
  six.extensions = { 0 };
  Packet later = plain;
  later.part = Part::later;
  Packet arp;
  arp.l3 = L3::arp;
  const Packet packets[] = { plain, odd, six, later, arp };
  const Frame ports = { 1, 2, 0, 80 };
  const Frame address = { 10, 0, 0, 1 };
  struct Description {
    U16 type;  // EtherType, or L2 of a packet format
    U16 outerIp;
    U32 relative;
  };
  const struct {
    int base;
    U32 offset;
    std::vector< Description > descriptions;
    Frame value;
    std::string matches;  // by packet
  } cases[] = {
      { l4, 0, {}, ports, "-----" },
      { l4, 0, { { 0, 0, 0 } }, ports, "123--" },
      { l4, 0, { { any, 2, 0 } }, ports, "12---" },
      { l4, 0, { { any, 3, 0 } }, ports, "--3--" },
      { l4, 0, { { 0x86dd, 0, 0 } }, ports, "--3--" },
      { start, 0, { { any, any, 0 } }, { 2, 0, 0, 0, 0, 1, 2, 0 }, "12345" },
      { l3, 12, { { 1, 2, 0 } }, address, "12-4-" },
      // The first match sets the offset, formats before EtherTypes.
      { l3, 8, { { 0x0800, 0, 9 }, { 1, 3, 9 }, { 1, 2, 4 }, { 1, any, 5 } }, address, "12-4-" },
  };
  for ( const auto & [ base, offset, descriptions, value, expected ] : cases ) {
    ASSERT_EQ( create( base, offset, static_cast< U32 >( value.size() ) ), 1 );
    for ( const auto & [ type, outerIp, relative ] : descriptions )
      ASSERT_EQ( type > 1 && type != any ? addEtherType( 1, type, relative )
                                         : addFormat( 1, type, outerIp, relative ),
                 BCM_E_NONE );
    ASSERT_EQ( firstError( { chip.createGroup( config( 1, { dst }, { 1 } ) ),
                             chip.bcm_field_entry_create_id( 0, 1, 5 ), qualify( 5, 1, value ),
                             chip.bcm_field_entry_install( 0, 5 ) } ),
               BCM_E_NONE );
    EXPECT_EQ( chip.group( 0, 1 )->keyBits, 32 + 8 * value.size() );
    std::string matched = "-----";
    for ( U32 i = 0; i < 5; ++i )
      if ( matches( frameOf( packets[ i ] ) ) )
        matched[ i ] = static_cast< char >( '1' + i );
    EXPECT_EQ( matched, expected ) << "base " << base << " offset " << offset;
    EXPECT_EQ( ( Codes{ destroy( 1 ), chip.bcm_field_entry_remove( 0, 5 ),
                        chip.bcm_field_entry_destroy( 0, 5 ), chip.bcm_field_group_destroy( 0, 1 ),
                        destroy( 1 ) } ),
               ( Codes{ BCM_E_BUSY, 0, 0, 0, 0 } ) );
  }
}

TEST_F( DataTest, MatchesOnlyWholeFieldsOfTheGroup ) {
  const int id = create( l3, 16, 8 );  // from the destination address on
  ASSERT_EQ( firstError( { create( l3, 0 ), addFormat( id, any, 2 ),
                           chip.createGroup( config( 1, {}, { id } ) ),
                           chip.bcm_field_entry_create_id( 0, 1, 5 ) } ),
             BCM_E_NONE );
  EXPECT_EQ( ( Codes{ qualify( 5, id + 1, { 1, 2, 3, 4 } ), qualify( 5, id, { 1, 2, 3, 4 } ),
                      qualify( 5, 9, { 1, 2, 3, 4 } ) } ),
             ( Codes{ BCM_E_PARAM, BCM_E_PARAM, BCM_E_NOT_FOUND } ) );
  const Frame value = { 10, 0, 0, 2, 0x03, 0xE8, 0, 80 };
  ASSERT_EQ( qualify( 5, id, value, { 0, 0, 0, 2, 0, 0, 0, 0 } ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_entry_install( 0, 5 ), BCM_E_NONE );
  const Frame frame = frameOf( {} );
  for ( size_t length = 0; length <= frame.size(); ++length )  // the field ends at byte 38
    EXPECT_EQ( matches( { frame.begin(), frame.begin() + std::ptrdiff_t( length ) } ),
               length >= 38 );
  EXPECT_EQ( chip.entry( 0, 5 )->effective.data[ 0 ].value, ( Frame{ 0, 0, 0, 2, 0, 0, 0, 0 } ) );
  // A zero mask does not even require the field.
  ASSERT_EQ( qualify( 5, id, value, Frame( 8, 0 ) ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_entry_install( 0, 5 ), BCM_E_NONE );
  EXPECT_TRUE( matches( {} ) );
}

TEST_F( DataTest, GroupsInUseChangeTheirKeyInPlace ) {
  ASSERT_EQ( ( Codes{ create( l4, 0 ), create( l3, 12 ), addFormat( 1, any, 2 ),
                      chip.createGroup( groupConfig( 1, { dst } ) ),
                      chip.addRule( 1, 5, 2, 0x0a000002, ~0U ),
                      chip.addRule( 1, 6, 1, 0x0a000000, ~0U << 8 ),
                      chip.bcm_field_qualify_DstIp( 0, 6, 7, 7 ) } ),  // not installed
             ( Codes{ 1, 2, 0, 0, 0, 0, 0 } ) );
  const auto before = *chip.entry( 0, 6 );
  ASSERT_EQ( set( 1, { dst }, { 1 } ), BCM_E_NONE );
  EXPECT_EQ( chip.entry( 0, 6 )->effective, before.effective );
  ASSERT_EQ( qualify( 5, 1, { 9, 9, 9, 9 } ), BCM_E_NONE );
  ASSERT_EQ( chip.bcm_field_entry_reinstall( 0, 5 ), BCM_E_NONE );
  // Refused without effect: a key that does not fit, and removing a qualifier that a rule uses.
  EXPECT_EQ(
      ( Codes{ set( 1, { dst }, { 1, 2 } ), set( 1, { dst }, {} ),
               chip.bcm_field_qualify_clear( 0, 5 ), set( 1, { dst }, { 2 } ), destroy( 1 ) } ),
      ( Codes{ BCM_E_RESOURCE, BCM_E_BUSY, 0, BCM_E_BUSY, BCM_E_BUSY } ) );
  bcm_field_qset_t qset = {};
  ASSERT_EQ( chip.bcm_field_group_get( 0, 1, &qset ), BCM_E_NONE );
  EXPECT_EQ( qset, config( 1, { dst }, { 1 } ).qset );
  ASSERT_EQ( chip.bcm_field_entry_remove( 0, 5 ), BCM_E_NONE );
  EXPECT_EQ( ( Codes{ set( 1, {}, { 2 } ), set( 1, { dst }, { 2 } ), destroy( 1 ) } ),
             ( Codes{ BCM_E_BUSY, 0, 0 } ) );
  EXPECT_EQ( chip.winner( {} ), 6U );
  EXPECT_EQ( chip.entry( 0, 6 )->row, before.row );
  qset.addData( 77 );
  EXPECT_EQ( ( Codes{ set( 1, { dst, bcmFieldQualifyStageLookup }, {} ), set( 2, { dst }, {} ),
                      chip.bcm_field_group_set( 0, 1, qset ), set( 1, { dst, 700 }, {} ) } ),
             ( Codes{ BCM_E_PARAM, BCM_E_NOT_FOUND, BCM_E_NOT_FOUND, BCM_E_UNAVAIL } ) );
}

}  // namespace
}  // namespace SoftAsicTest
