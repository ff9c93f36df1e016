// What the parser finds in whole frames, and that it never goes past what is there.
#include "softasic/PacketParser.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/softasic/Packet.h"
#include "tests/softasic/TestChip.h"

namespace SoftAsicTest {
namespace {

using SoftAsic::KeyBit;
using SoftAsic::parseFrame;

U32 validity( const Frame & frame, size_t length ) {
  // A copy of exactly this length, so that a memory checker sees a read behind it.
  const std::unique_ptr< U8[] > exact( new U8[ length ] );
  std::copy_n( frame.begin(), length, exact.get() );
  return static_cast< U32 >( parseFrame( exact.get(), length ).words[ SoftAsic::metaWord ] &
                             ( ( 1U << SoftAsic::keyValidityBits ) - 1 ) );
}

// Length from which on a frame has each validity bit; the whole length and one more: never.
std::array< size_t, SoftAsic::keyValidityBits > firstLengths( const Frame & frame ) {
  std::array< size_t, SoftAsic::keyValidityBits > first;
  first.fill( frame.size() + 1 );
  for ( size_t length = 0; length <= frame.size(); ++length ) {
    const U32 bits = validity( frame, length );
    for ( U32 bit = 0; bit < first.size(); ++bit ) {
      if ( ( bits >> bit & 1U ) != 0 ) {
        first[ bit ] = std::min( first[ bit ], length );
      } else {
        EXPECT_GT( first[ bit ], length ) << "bit " << bit << " went again at " << length;
      }
    }
  }
  return first;
}

size_t lengthOf( const std::array< size_t, SoftAsic::keyValidityBits > & first, KeyBit bit ) {
  return first[ static_cast< size_t >( __builtin_ctz( bit ) ) ];
}

TEST( PacketParser, HeadersBecomeValidWhenTheyAreWhole ) {
  Packet packet;
  packet.tags = { 0x6005, 0x0006 };
  packet.options = 8;
  const Frame frame = frameOf( packet );
  const auto first = firstLengths( frame );
  EXPECT_EQ( lengthOf( first, KeyBit::keyEthernet ), 14U );
  EXPECT_EQ( lengthOf( first, KeyBit::keyOuterTag ), 18U );
  EXPECT_EQ( lengthOf( first, KeyBit::keyInnerTag ), 22U );
  EXPECT_EQ( lengthOf( first, KeyBit::keyEtherType ), 22U );
  EXPECT_EQ( lengthOf( first, KeyBit::keyIpv4 ), 22U + 28 );
  EXPECT_EQ( lengthOf( first, KeyBit::keyProtocol ), 22U + 28 );
  EXPECT_EQ( lengthOf( first, KeyBit::keyTcpUdp ), 22U + 28 + 20 );
  EXPECT_EQ( lengthOf( first, KeyBit::keyTcp ), 22U + 28 + 20 );
  for ( const KeyBit never : { KeyBit::keyNonIp, KeyBit::keyIpv6, KeyBit::keyIcmp,
                               KeyBit::keyFragment, KeyBit::keyArp } )
    EXPECT_GT( lengthOf( first, never ), frame.size() );
}

TEST( PacketParser, ExtensionHeadersAreSteppedOver ) {
  Packet packet;
  packet.l3 = L3::ipv6;
  packet.protocol = 17;
  packet.extensions = { 0, 43, 51, 60 };  // 16, 16, 12 and 16 bytes
  packet.part = Part::first;
  const auto first = firstLengths( frameOf( packet ) );
  const size_t behind = 14 + 40 + 60 + 8;
  EXPECT_EQ( lengthOf( first, KeyBit::keyIpv6 ), 54U );
  EXPECT_EQ( lengthOf( first, KeyBit::keyFragment ), behind );
  EXPECT_EQ( lengthOf( first, KeyBit::keyProtocol ), behind );
  EXPECT_EQ( lengthOf( first, KeyBit::keyTcpUdp ), behind + 8 );

  packet.part = Part::later;
  const Frame later = frameOf( packet );
  const U32 bits = validity( later, later.size() );
  EXPECT_NE( bits & KeyBit::keyLaterFragment, 0U );
  EXPECT_NE( bits & KeyBit::keyProtocol, 0U );
  EXPECT_EQ( bits & KeyBit::keyTcpUdp, 0U );

  // One header more than the parser reads hides what is behind it.
  packet.part = Part::whole;
  packet.extensions.assign( 8, 60 );
  EXPECT_NE( validity( frameOf( packet ), frameOf( packet ).size() ) & KeyBit::keyTcpUdp, 0U );
  packet.extensions.assign( 9, 60 );
  const U32 deep = validity( frameOf( packet ), frameOf( packet ).size() );
  EXPECT_EQ( deep & ( KeyBit::keyTcpUdp | KeyBit::keyProtocol ), 0U );
  EXPECT_NE( deep & KeyBit::keyIpv6, 0U );
}

TEST( PacketParser, EveryByteOfTheKeyIsWhereARuleLooks ) {
  // One rule that pins every field of a packet; each field changed alone must miss.
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
  for ( U8 i = 0; i < 16; ++i ) {
    packet.srcIp6[ i ] = i + 1;
    packet.dstIp6[ i ] = 0xF0 + i;
  }
  packet.tos = 0xB9;
  bcm_ip6_t src6 = {};
  bcm_ip6_t dst6 = {};
  bcm_ip6_t all6 = {};
  std::copy( packet.srcIp6.begin(), packet.srcIp6.end(), src6.b );
  std::copy( packet.dstIp6.begin(), packet.dstIp6.end(), dst6.b );
  std::fill( std::begin( all6.b ), std::end( all6.b ), 0xFF );
  const bcm_mac_t mac1{ { 2, 0, 0, 0, 0, 1 } };
  const bcm_mac_t mac2{ { 2, 0, 0, 0, 0, 2 } };
  const bcm_mac_t allMac{ { 255, 255, 255, 255, 255, 255 } };
  ASSERT_EQ( chip.bcm_field_entry_create_id( 0, 1, 5 ), 0 );
  for ( const int rc :
        { chip.bcm_field_qualify_DstMac( 0, 5, mac1, allMac ),
          chip.bcm_field_qualify_SrcMac( 0, 5, mac2, allMac ),
          chip.bcm_field_qualify_EtherType( 0, 5, 0x86dd, 0xFFFF ),
          chip.bcm_field_qualify_OuterVlanId( 0, 5, 5, 0xFFFF ),
          chip.bcm_field_qualify_OuterVlanPri( 0, 5, 3, 7 ),
          chip.bcm_field_qualify_InnerVlanId( 0, 5, 6, 0xFFF ),
          chip.bcm_field_qualify_SrcIp6( 0, 5, src6, all6 ),
          chip.bcm_field_qualify_DstIp6( 0, 5, dst6, all6 ),
          chip.bcm_field_qualify_DSCP( 0, 5, 0xB9, 0xFF ),
          chip.bcm_field_qualify_Ttl( 0, 5, 64, 0xFF ),
          chip.bcm_field_qualify_InPort( 0, 5, 3, 0xFF ), chip.bcm_field_entry_install( 0, 5 ) } )
    ASSERT_EQ( rc, BCM_E_NONE );
  EXPECT_EQ( chip.winner( packet, 3 ), 5U );
  EXPECT_EQ( chip.winner( packet, 2 ), 0U );
  // The bytes of the fields in the frame: MACs, tags, types, class, hop limit, addresses.
  const Frame frame = frameOf( packet );
  std::vector< size_t > bytes = { 22, 23, 29 };
  for ( size_t i = 0; i < 22; ++i )
    bytes.push_back( i );
  for ( size_t i = 30; i < 62; ++i )
    bytes.push_back( i );
  for ( const size_t i : bytes )
    for ( const U8 flip : { U8{ 0x01 }, U8{ 0x80 } } ) {
      Frame changed = frame;
      changed[ i ] ^= flip;
      // Two bits belong to no field: flow label, and the inner tag's priority.
      const bool free = ( i == 23 && flip == 0x01 ) || ( i == 18 && flip == 0x80 );
      EXPECT_EQ( chip.inject( 0, 3, changed.data(), changed.size() ).matches.empty(), !free )
          << "byte " << i << " bit " << int{ flip };
    }
  EXPECT_EQ( chip.entry( 0, 5 )->effective.qualifiers.front().value,
             ( std::vector< U64 >{ 0x0102030405060708, 0x090A0B0C0D0E0F10 } ) );
}

TEST( PacketParser, MalformedHeadersAreNotThere ) {
  const Frame good = frameOf( {} );
  const auto with = [ & ]( size_t at, U8 value ) {
    Frame frame = good;
    frame[ at ] = value;
    return validity( frame, frame.size() );
  };
  EXPECT_NE( validity( good, good.size() ) & KeyBit::keyTcp, 0U );
  EXPECT_EQ( with( 14, 0x65 ) & ( KeyBit::keyIp | KeyBit::keyNonIp ), 0U );  // version 6
  EXPECT_EQ( with( 14, 0x44 ) & KeyBit::keyIp, 0U );                         // header too short
  EXPECT_EQ( with( 14, 0x4F ) & KeyBit::keyIp, 0U );    // longer than its packet
  EXPECT_EQ( with( 17, 39 ) & KeyBit::keyTcpUdp, 0U );  // total length cuts the TCP header
  EXPECT_NE( with( 17, 39 ) & KeyBit::keyIpv4, 0U );
  EXPECT_EQ( with( 17, 19 ) & KeyBit::keyIpv4, 0U );
  // A length field in place of a type; a third tag.
  EXPECT_EQ( with( 12, 0x05 ) & KeyBit::keyEtherType, 0U );
  EXPECT_NE( with( 12, 0x05 ) & KeyBit::keyNonIp, 0U );
  Packet tagged;
  tagged.tags = { 1, 2, 3 };
  const Frame three = frameOf( tagged );
  EXPECT_NE( validity( three, three.size() ) & KeyBit::keyNonIp, 0U );
}

}  // namespace
}  // namespace SoftAsicTest
