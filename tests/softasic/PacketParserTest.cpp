// The parser on whole, truncated and malformed frames.
#include "softasic/PacketParser.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "tests/softasic/Packet.h"
#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

using SoftAsic::KeyBit;
using SoftAsic::parseFrame;

U32 validity( const Frame & frame, size_t length ) {
  // Copied to a buffer of exactly this length, so that sanitizers catch an overread.
  const std::unique_ptr< U8[] > exact( new U8[ length ] );
  std::copy_n( frame.begin(), length, exact.get() );
  return static_cast< U32 >( parseFrame( exact.get(), length ).key.words[ SoftAsic::metaWord ] &
                             ( ( 1U << SoftAsic::keyValidityBits ) - 1 ) );
}

bool has( const Packet & packet, U32 bits ) {
  const Frame frame = frameOf( packet );
  return ( validity( frame, frame.size() ) & bits ) != 0;
}

// Shortest length from which the bit stays set; whole length + 1: never set.
size_t firstLength( const Packet & packet, KeyBit bit ) {
  const Frame frame = frameOf( packet );
  size_t first = frame.size() + 1;
  for ( size_t length = frame.size() + 1; length-- > 0; )
    if ( ( validity( frame, length ) & bit ) != 0 ) {
      EXPECT_EQ( first, length + 1 ) << "bit " << bit << " went again";
      first = length;
    }
  return first;
}

TEST( PacketParserTest, HeadersAreValidOnlyIfWhole ) {
  Packet packet;
  packet.tags = { 0x6005, 0x0006 };
  packet.options = 8;
  const size_t ip = 22 + 28;
  const size_t never = ip + 20 + 1;
  const std::pair< KeyBit, size_t > lengths[] = {
      { KeyBit::keyEthernet, 14 },    { KeyBit::keyOuterTag, 18 }, { KeyBit::keyInnerTag, 22 },
      { KeyBit::keyEtherType, 22 },   { KeyBit::keyIpv4, ip },     { KeyBit::keyProtocol, ip },
      { KeyBit::keyTcpUdp, ip + 20 }, { KeyBit::keyTcp, ip + 20 }, { KeyBit::keyNonIp, never },
      { KeyBit::keyIpv6, never },     { KeyBit::keyIcmp, never },  { KeyBit::keyFragment, never },
      { KeyBit::keyArp, never } };
  for ( const auto & [ bit, length ] : lengths )
    EXPECT_EQ( firstLength( packet, bit ), length ) << "bit " << bit;
}

TEST( PacketParserTest, SkipsExtensionHeaders ) {
  Packet packet;
  packet.l3 = L3::ipv6;
  packet.protocol = 17;
  packet.extensions = { 0, 43, 51, 60 };  // 16, 16, 12 and 16 bytes
  packet.part = Part::first;
  const size_t behind = 14 + 40 + 60 + 8;
  EXPECT_EQ( firstLength( packet, KeyBit::keyIpv6 ), 54U );
  EXPECT_EQ( firstLength( packet, KeyBit::keyFragment ), behind );
  EXPECT_EQ( firstLength( packet, KeyBit::keyProtocol ), behind );
  EXPECT_EQ( firstLength( packet, KeyBit::keyTcpUdp ), behind + 8 );
  packet.part = Part::later;
  EXPECT_TRUE( has( packet, KeyBit::keyLaterFragment ) && has( packet, KeyBit::keyProtocol ) );
  EXPECT_FALSE( has( packet, KeyBit::keyTcpUdp ) );

  // One header more than the parser supports hides the L4 header.
  packet.part = Part::whole;
  packet.extensions.assign( 8, 60 );
  EXPECT_TRUE( has( packet, KeyBit::keyTcpUdp ) );
  packet.extensions.assign( 9, 60 );
  EXPECT_TRUE( has( packet, KeyBit::keyIpv6 ) );
  EXPECT_FALSE( has( packet, KeyBit::keyTcpUdp | KeyBit::keyProtocol ) );
}

TEST( PacketParserTest, RulesMatchOnEveryByteOfEveryField ) {
  // A rule that fixes every field of a packet must miss if any single byte of a field changes.
  ChipProfile profile = smallProfile();
  profile.stages[ 0 ].slices[ 0 ].keyBits = 1000;
  TestChip chip( profile );
  ASSERT_EQ( chip.createGroup( groupConfig(
                 1, { bcmFieldQualifySrcMac, bcmFieldQualifyDstMac, bcmFieldQualifyEtherType,
                      bcmFieldQualifyOuterVlanId, bcmFieldQualifyOuterVlanPri,
                      bcmFieldQualifyInnerVlanId, bcmFieldQualifySrcIp6, bcmFieldQualifyDstIp6,
                      bcmFieldQualifyDSCP, bcmFieldQualifyTtl, bcmFieldQualifyInPort } ) ),
             BCM_E_NONE );
  Packet packet;
  packet.l3 = L3::ipv6;
  packet.tags = { 0x6005, 0x0006 };
  packet.tos = 0xB9;
  bcm_ip6_t src6 = {};
  bcm_ip6_t dst6 = {};
  bcm_ip6_t all6 = {};
  for ( U8 i = 0; i < 16; ++i ) {
    src6.b[ i ] = packet.srcIp6[ i ] = i + 1;
    dst6.b[ i ] = packet.dstIp6[ i ] = 0xF0 + i;
    all6.b[ i ] = 0xFF;
  }
  const bcm_mac_t allMac{ { 255, 255, 255, 255, 255, 255 } };
  const int rc = firstError(
      { chip.bcm_field_entry_create_id( 0, 1, 5 ),
        chip.bcm_field_qualify_DstMac( 0, 5, { { 2, 0, 0, 0, 0, 1 } }, allMac ),
        chip.bcm_field_qualify_SrcMac( 0, 5, { { 2, 0, 0, 0, 0, 2 } }, allMac ),
        chip.bcm_field_qualify_EtherType( 0, 5, 0x86dd, 0xFFFF ),
        chip.bcm_field_qualify_OuterVlanId( 0, 5, 5, 0xFFFF ),
        chip.bcm_field_qualify_OuterVlanPri( 0, 5, 3, 7 ),
        chip.bcm_field_qualify_InnerVlanId( 0, 5, 6, 0xFFF ),
        chip.bcm_field_qualify_SrcIp6( 0, 5, src6, all6 ),
        chip.bcm_field_qualify_DstIp6( 0, 5, dst6, all6 ),
        chip.bcm_field_qualify_DSCP( 0, 5, 0xB9, 0xFF ),
        chip.bcm_field_qualify_Ttl( 0, 5, 64, 0xFF ),
        chip.bcm_field_qualify_InPort( 0, 5, 3, 0xFF ), chip.bcm_field_entry_install( 0, 5 ) } );
  ASSERT_EQ( rc, BCM_E_NONE );
  EXPECT_EQ( chip.winner( packet, 3 ), 5U );
  EXPECT_EQ( chip.winner( packet, 2 ), 0U );
  // Field bytes in the frame: MACs, tags, types, traffic class, hop limit, addresses.
  const Frame frame = frameOf( packet );
  const auto inKey = []( size_t i ) { return i < 24 || i == 29 || ( i >= 30 && i < 62 ); };
  for ( size_t i = 0; i < frame.size(); ++i )
    for ( const U8 flip : { U8{ 0x01 }, U8{ 0x80 } } ) {
      Frame changed = frame;
      changed[ i ] ^= flip;
      // Flow label and inner tag priority are in no field.
      const bool free = !inKey( i ) || ( i == 23 && flip == 0x01 ) || ( i == 18 && flip == 0x80 );
      EXPECT_EQ( chip.inject( 0, 3, changed.data(), changed.size() ).matches.empty(), !free )
          << "byte " << i << " bit " << int{ flip };
    }
  EXPECT_EQ( chip.entry( 0, 5 )->effective.qualifiers.front().value,
             ( std::vector< U64 >{ 0x0102030405060708, 0x090A0B0C0D0E0F10 } ) );
}

TEST( PacketParserTest, IgnoresMalformedHeaders ) {
  const Frame good = frameOf( {} );
  const auto with = [ & ]( size_t at, U8 value ) {
    Frame frame = good;
    frame[ at ] = value;
    return validity( frame, frame.size() );
  };
  EXPECT_EQ( with( 14, 0x65 ) & ( KeyBit::keyIp | KeyBit::keyNonIp ), 0U );  // version 6
  EXPECT_EQ( with( 14, 0x44 ) & KeyBit::keyIp, 0U );                         // header too short
  EXPECT_EQ( with( 14, 0x4F ) & KeyBit::keyIp, 0U );    // longer than its packet
  EXPECT_EQ( with( 17, 39 ) & KeyBit::keyTcpUdp, 0U );  // total length cuts the TCP header
  EXPECT_NE( with( 17, 39 ) & KeyBit::keyIpv4, 0U );
  EXPECT_EQ( with( 17, 19 ) & KeyBit::keyIpv4, 0U );
  // A length instead of a type; a third tag.
  EXPECT_EQ( with( 12, 0x05 ) & KeyBit::keyEtherType, 0U );
  EXPECT_NE( with( 12, 0x05 ) & KeyBit::keyNonIp, 0U );
  Packet tagged;
  tagged.tags = { 1, 2, 3 };
  EXPECT_TRUE( has( tagged, KeyBit::keyNonIp ) );
}

// Random damaged frames: a truncated frame has only fields that the whole frame has, with the same
// values, and no header beyond its end.
TEST( PacketParserTest, TruncationOnlyRemovesFields ) {
  std::mt19937 random( 1 );
  const auto below = [ & ]( size_t bound ) { return static_cast< U32 >( random() % bound ); };
  constexpr U8 protocols[] = { 1, 6, 17, 58, 0, 43, 44, 51, 60 };
  for ( int i = 0; i < 16000 && !HasFailure(); ++i ) {
    SCOPED_TRACE( i );
    Packet packet;
    packet.l3 = static_cast< L3 >( below( 4 ) );
    packet.part = static_cast< Part >( below( 3 ) );
    packet.protocol = protocols[ below( 9 ) ];
    packet.tags.assign( below( 4 ), static_cast< U16 >( below( 65536 ) ) );
    packet.options = 4 * below( 11 );
    packet.extensions.assign( below( 4 ), protocols[ 4 + below( 5 ) ] );
    Frame frame = frameOf( packet );
    for ( U32 n = below( 6 ); n > 0; --n )
      frame[ below( frame.size() ) ] = static_cast< U8 >( below( 3 ) * below( 256 ) );
    const size_t length = below( frame.size() + 1 );
    const U32 valid = validity( frame, length );
    const auto cut = parseFrame( frame.data(), length );
    const auto whole = parseFrame( frame.data(), frame.size() );
    EXPECT_EQ( valid & ~validity( frame, frame.size() ), 0U );
    for ( const SoftAsic::FieldPlace & field : SoftAsic::keyFields() )
      EXPECT_TRUE( field.needs == 0 || field.bits > 64 || ( valid & field.needs ) != field.needs ||
                   fieldOf( cut.key, field ) == fieldOf( whole.key, field ) )
          << field.qualifier;
    EXPECT_TRUE( cut.l3 == 0 || ( cut.l3 <= length && cut.l3 == whole.l3 ) );
    EXPECT_TRUE( cut.l4 == 0 || ( cut.l4 <= length && cut.l4 == whole.l4 ) );
  }
}

}  // namespace
}  // namespace SoftAsicTest
