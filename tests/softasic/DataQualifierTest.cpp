// Data qualifiers: chunks, descriptions, which bytes of which packets, and live groups that change.
#include <gtest/gtest.h>

#include <functional>

#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

constexpr U32 dst = bcmFieldQualifyDstIp;
constexpr int start = bcmFieldDataOffsetBasePacketStart;
constexpr int l3 = bcmFieldDataOffsetBaseOuterL3Header;
constexpr int l4 = bcmFieldDataOffsetBaseOuterL4Header;
constexpr U16 any = BCM_FIELD_DATA_FORMAT_ANY;

ChipProfile withData( ChipProfile profile ) {
  profile.rangeCheckers = 8;
  profile.dataChunks = 6;
  profile.dataFormats = 5;
  return profile;
}

class DataTest : public testing::Test {
 protected:
  explicit DataTest( const ChipProfile & profile = withData( smallProfile() ) ) : chip( profile ) {}

  // The new qualifier's id, or the error.
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
  int qualify( U32 entry, int id, std::vector< U8 > value, std::vector< U8 > mask = {} ) {
    mask.resize( value.size(), 0xFF );
    return chip.bcm_field_qualify_data( 0, entry, id, value.data(), mask.data(),
                                        static_cast< U16 >( value.size() ) );
  }
  U32 winnerOf( const Frame & frame ) {
    const auto matches = chip.inject( 0, 0, frame.data(), frame.size() ).matches;
    return matches.empty() ? 0 : matches.front().entry;
  }
  TestChip chip;
};

TEST_F( DataTest, ChunksIdsAndDescriptionsRunOut ) {
  for ( const auto & [ base, offset, length ] : { std::tuple{ 3, 0U, 4U },
                                                  { -1, 0U, 4U },
                                                  { l3, 128U, 4U },
                                                  { l3, 0U, 0U },
                                                  { l3, 0U, 6U },
                                                  { l3, 0U, 20U } } )
    EXPECT_EQ( create( base, offset, length ), BCM_E_PARAM );
  EXPECT_EQ( create( l3, 127 ), 1 );
  EXPECT_EQ( create( start, 0, 16 ), 2 );
  EXPECT_EQ( create( l4, 0, 8 ), BCM_E_RESOURCE );
  EXPECT_EQ( create( l4, 0 ), 3 );
  EXPECT_EQ( create( l4, 0 ), BCM_E_RESOURCE );
  bcm_field_data_qualifier_s record = {};
  ASSERT_EQ( chip.bcm_field_data_qualifier_get( 0, 2, &record ), BCM_E_NONE );
  EXPECT_TRUE( record.qual_id == 2 && record.length == 16 && record.offset_base == start );
  EXPECT_EQ( chip.bcm_field_data_qualifier_get( 0, 4, &record ), BCM_E_NOT_FOUND );

  ASSERT_EQ( firstError( { addFormat( 1, any, 2 ), addFormat( 1, any, 2, 4 ),
                           addEtherType( 1, 0x0800 ), addEtherType( 3, 0x0800 ) } ),
             BCM_E_NONE );
  EXPECT_EQ( addFormat( 1, any, 2 ), BCM_E_EXISTS );
  EXPECT_EQ( addEtherType( 1, 0x0800 ), BCM_E_EXISTS );
  EXPECT_EQ( addEtherType( 1, 0x05FF ), BCM_E_PARAM );
  EXPECT_EQ( addFormat( 1, any, 7 ), BCM_E_UNAVAIL );
  EXPECT_EQ( addFormat( 1, any, any, 0, 1 ), BCM_E_UNAVAIL );  // no conditions on tunnels
  EXPECT_EQ( addFormat( 9, any, 2 ), BCM_E_NOT_FOUND );
  EXPECT_EQ( addFormat( 3, 1, any ), BCM_E_NONE );
  EXPECT_EQ( addFormat( 3, any, any ), BCM_E_RESOURCE );
  bcm_field_data_packet_format_s format = { 0, 1, any, any, 0, any, 0 };
  ASSERT_EQ( chip.bcm_field_data_qualifier_packet_format_delete( 0, 3, &format ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_data_qualifier_packet_format_delete( 0, 3, &format ), BCM_E_NOT_FOUND );
  ASSERT_EQ( chip.bcm_field_data_qualifier_destroy( 0, 1 ), BCM_E_NONE );  // with its three
  EXPECT_EQ( chip.bcm_field_data_qualifier_destroy( 0, 1 ), BCM_E_NOT_FOUND );
  for ( const U16 type : { 0x0801, 0x0802, 0x0803, 0x0804 } )
    EXPECT_EQ( addEtherType( 3, type ), BCM_E_NONE );
  EXPECT_EQ( addEtherType( 3, 0x0805 ), BCM_E_RESOURCE );
  EXPECT_EQ( chip.dataQualifiers( 0 )[ 1 ].etherTypes.back().ethertype, 0x0804 );
}

TEST_F( DataTest, BytesComeFromTheDescribedPacketsOnly ) {
  Packet plain;
  plain.protocol = 17;
  plain.srcPort = 0x0102;
  Packet odd = plain;  // two tags, and options before the UDP header
  odd.tags = { 5, 6 };
  odd.options = 8;
  Packet six = plain;
  six.l3 = L3::ipv6;
  six.extensions = { 0 };
  Packet later = plain;
  later.part = Part::later;
  Packet arp;
  arp.l3 = L3::arp;
  const U32 in4 = 1U, inOdd = 2U, in6 = 4U, inLater = 8U, inArp = 16U, all = 31U;
  const Packet packets[] = { plain, odd, six, later, arp };
  const std::vector< U8 > ports = { 1, 2, 0, 80 };
  const std::vector< U8 > ether = { 2, 0, 0, 0, 0, 1, 2, 0 };
  const struct {
    int base;
    U32 offset;
    std::function< int( int ) > describe;
    std::vector< U8 > value;
    U32 matches;
  } cases[] = {
      { l4, 0, []( int ) { return 0; }, ports, 0 },  // not described: applies to no packet
      { l4, 0, [ & ]( int id ) { return addFormat( id, 0, 0 ); }, ports, in4 | inOdd | in6 },
      { l4, 0, [ & ]( int id ) { return addFormat( id, any, 2 ); }, ports, in4 | inOdd },
      { l4, 0, [ & ]( int id ) { return addFormat( id, any, 3 ); }, ports, in6 },
      { l4, 0, [ & ]( int id ) { return addEtherType( id, 0x86dd ); }, ports, in6 },
      { start, 0, [ & ]( int id ) { return addFormat( id, any, any ); }, ether, all },
      { start, 0, [ & ]( int id ) { return addEtherType( id, 0x0806 ); }, ether, inArp },
      { l3,
        12,
        [ & ]( int id ) { return addFormat( id, 1, 2 ); },
        { 10, 0, 0, 1 },
        in4 | inOdd | inLater },
      // The first description that holds says where; formats come before ether types.
      { l3,
        8,
        [ & ]( int id ) {
          return firstError( { addEtherType( id, 0x0800, 9 ), addFormat( id, any, 3, 9 ),
                               addFormat( id, any, 2, 4 ), addFormat( id, any, any, 5 ) } );
        },
        { 10, 0, 0, 1 },
        in4 | inOdd | inLater },
  };
  for ( const auto & [ base, offset, describe, value, expected ] : cases ) {
    const int id = create( base, offset, static_cast< U32 >( value.size() ) );
    ASSERT_GT( id, 0 );
    EXPECT_EQ( describe( id ), BCM_E_NONE );
    ASSERT_EQ( firstError( { chip.createGroup( config( 1, { dst }, { id } ) ),
                             chip.bcm_field_entry_create_id( 0, 1, 5 ), qualify( 5, id, value ),
                             chip.bcm_field_entry_install( 0, 5 ) } ),
               BCM_E_NONE );
    EXPECT_EQ( chip.group( 0, 1 )->keyBits, 32 + 8 * value.size() );
    U32 matched = 0;
    for ( U32 i = 0; i < std::size( packets ); ++i )
      matched |= chip.winner( packets[ i ] ) == 5 ? 1U << i : 0;
    EXPECT_EQ( matched, expected ) << "base " << base << " offset " << offset;
    EXPECT_EQ( chip.bcm_field_data_qualifier_destroy( 0, id ), BCM_E_BUSY );
    ASSERT_EQ(
        firstError( { chip.bcm_field_entry_remove( 0, 5 ), chip.bcm_field_entry_destroy( 0, 5 ),
                      chip.bcm_field_group_destroy( 0, 1 ),
                      chip.bcm_field_data_qualifier_destroy( 0, id ) } ),
        BCM_E_NONE );
  }
}

TEST_F( DataTest, ValuesMustBeWholeAndOfTheGroup ) {
  const int id = create( l3, 16, 8 );  // destination address and what follows
  const int other = create( l3, 0 );
  ASSERT_EQ( firstError( { addFormat( id, any, 2 ), chip.createGroup( config( 1, {}, { id } ) ),
                           chip.bcm_field_entry_create_id( 0, 1, 5 ) } ),
             BCM_E_NONE );
  const std::vector< U8 > value = { 10, 0, 0, 2, 0x03, 0xE8, 0, 80 };
  EXPECT_EQ( qualify( 5, other, { 1, 2, 3, 4 } ), BCM_E_PARAM );
  EXPECT_EQ( qualify( 5, 9, { 1, 2, 3, 4 } ), BCM_E_NOT_FOUND );
  EXPECT_EQ( qualify( 5, id, { 1, 2, 3, 4 } ), BCM_E_PARAM );
  ASSERT_EQ( firstError( { qualify( 5, id, value, { 0, 0, 0, 2 } ),
                           chip.bcm_field_entry_install( 0, 5 ) } ),
             BCM_E_NONE );
  const Frame frame = frameOf( {} );
  for ( size_t length = 0; length <= frame.size(); ++length )  // the value ends at byte 38
    EXPECT_EQ( winnerOf( Frame( frame.begin(), frame.begin() + std::ptrdiff_t( length ) ) ),
               length >= 38 ? 5U : 0U );
  Frame changed = frame;
  changed[ 14 + 17 ] ^= 1;  // under a zero of the mask
  EXPECT_EQ( winnerOf( changed ), 5U );
  changed[ 14 + 23 ] ^= 1;
  EXPECT_EQ( winnerOf( changed ), 0U );
  const auto view = chip.entry( 0, 5 )->effective.data;
  ASSERT_EQ( view.size(), 1U );
  EXPECT_EQ( view[ 0 ].value, ( std::vector< U8 >{ 0, 0, 0, 2, 0x03, 0xE8, 0, 80 } ) );
  // A mask of zero asks for nothing, not even for the bytes.
  ASSERT_EQ( firstError( { qualify( 5, id, value, std::vector< U8 >( 8, 0 ) ),
                           chip.bcm_field_entry_install( 0, 5 ) } ),
             BCM_E_NONE );
  EXPECT_EQ( winnerOf( {} ), 5U );
}

class LiveGroupTest : public DataTest {
 protected:
  // Keys of 32 bits in slices of 72: a chunk fits, two do not.
  LiveGroupTest() : DataTest( profile() ) {
    first = create( l4, 0 );
    second = create( l3, 12 );
    EXPECT_EQ( firstError( { addFormat( first, any, 2 ), addFormat( second, any, 2 ),
                             chip.createGroup( groupConfig( 1, { dst } ) ),
                             chip.addRule( 1, 5, 2, 0x0a000002, ~0U ),
                             chip.addRule( 1, 6, 1, 0x0a000000, ~0U << 8 ) } ),
               BCM_E_NONE );
  }
  static ChipProfile profile() {
    ChipProfile profile = withData( smallProfile() );
    profile.stages[ 0 ].slices[ 0 ].keyBits = 72;
    profile.stages[ 0 ].doubleWide = true;
    return profile;
  }
  int first;
  int second;
};

TEST_F( LiveGroupTest, WidensAndNarrowsInPlace ) {
  const std::vector< U8 > ports = { 0x03, 0xE8, 0, 80 };
  Packet near;
  near.dstIp = 0x0a000009;
  const auto check = [ & ]( U32 winner ) {
    EXPECT_EQ( chip.winner( {} ), winner );
    EXPECT_EQ( chip.winner( near ), 6U );
  };
  const auto before = chip.entry( 0, 6 );
  ASSERT_EQ( set( 1, { dst }, { first } ), BCM_E_NONE );
  EXPECT_EQ( chip.group( 0, 1 )->data, std::vector< U32 >{ U32( first ) } );
  EXPECT_EQ( chip.entry( 0, 6 )->effective, before->effective );
  check( 5 );
  ASSERT_EQ( firstError( { qualify( 5, first, ports ), chip.bcm_field_entry_reinstall( 0, 5 ) } ),
             BCM_E_NONE );
  check( 5 );
  ASSERT_EQ(
      firstError( { qualify( 5, first, { 9, 9, 9, 9 } ), chip.bcm_field_entry_reinstall( 0, 5 ) } ),
      BCM_E_NONE );
  check( 6 );

  // What no longer fits changes nothing, nor does what a rule still needs.
  bcm_field_qset_t qset = {};
  EXPECT_EQ( set( 1, { dst }, { first, second } ), BCM_E_RESOURCE );
  EXPECT_EQ( set( 1, { dst }, {} ), BCM_E_BUSY );
  ASSERT_EQ( chip.bcm_field_qualify_clear( 0, 5 ), BCM_E_NONE );
  EXPECT_EQ( set( 1, { dst }, { second } ), BCM_E_BUSY );  // still installed with it
  EXPECT_EQ( chip.bcm_field_data_qualifier_destroy( 0, first ), BCM_E_BUSY );
  ASSERT_EQ( chip.bcm_field_group_get( 0, 1, &qset ), BCM_E_NONE );
  EXPECT_EQ( qset, config( 1, { dst }, { first } ).qset );
  check( 6 );

  ASSERT_EQ( chip.bcm_field_entry_remove( 0, 5 ), BCM_E_NONE );
  EXPECT_EQ( set( 1, {}, { second } ), BCM_E_BUSY );  // the other rule's address
  ASSERT_EQ( set( 1, { dst }, { second } ), BCM_E_NONE );
  EXPECT_EQ( chip.bcm_field_data_qualifier_destroy( 0, first ), BCM_E_NONE );
  check( 6 );
  EXPECT_EQ( chip.entry( 0, 6 )->row, before->row );
  qset = groupConfig( 1, { dst, bcmFieldQualifyStageLookup } ).qset;
  EXPECT_EQ( chip.bcm_field_group_set( 0, 1, qset ), BCM_E_PARAM );
  qset.addData( 77 );
  qset.remove( bcmFieldQualifyStageLookup );
  EXPECT_EQ( chip.bcm_field_group_set( 0, 1, qset ), BCM_E_NOT_FOUND );
  EXPECT_EQ( set( 1, { dst, 700 }, {} ), BCM_E_UNAVAIL );
  EXPECT_EQ( set( 2, { dst }, {} ), BCM_E_NOT_FOUND );
}

TEST_F( LiveGroupTest, AWideGroupKeepsItsModeAndFixedKeysTheirWidth ) {
  ASSERT_EQ( chip.createGroup( config( 2, { dst, bcmFieldQualifySrcMac }, {} ) ), BCM_E_NONE );
  EXPECT_EQ( chip.status( 2 ).entries_total, 4 );  // 80 bits: two rows an entry
  ASSERT_EQ( set( 2, { dst, bcmFieldQualifySrcMac }, { first, second } ), BCM_E_NONE );
  ASSERT_EQ( set( 2, { dst }, {} ), BCM_E_NONE );
  EXPECT_EQ( chip.status( 2 ).entries_total, 4 );

  ChipProfile fixed = profile();
  fixed.fixedGroupKeys = true;
  chip.addUnit( 1, fixed );
  bcm_field_group_config_t group = groupConfig( 1, { dst } );
  const auto setFixed = [ & ]( std::initializer_list< U32 > qualifiers ) {
    return chip.bcm_field_group_set( 1, 1, groupConfig( 1, qualifiers ).qset );
  };
  ASSERT_EQ( chip.bcm_field_group_config_create( 1, &group ), BCM_E_NONE );
  EXPECT_EQ( setFixed( { dst, bcmFieldQualifyTtl } ), BCM_E_UNAVAIL );
  EXPECT_EQ( setFixed( { bcmFieldQualifyTtl } ), BCM_E_NONE );
  EXPECT_EQ( setFixed( { dst } ), BCM_E_NONE );
}

}  // namespace
}  // namespace SoftAsicTest
