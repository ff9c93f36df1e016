#include <gtest/gtest.h>

#include <numeric>

#include "agent/command/Example.h"
#include "agent/packets/FrameReader.h"
#include "agent/packets/PacketMaker.h"
#include "agent/packets/RandomPackets.h"

namespace Agent {

namespace {

// One's-complement sum of 16-bit words; 0xFFFF if the data contains its valid checksum.
U32 foldedSum( const U8 * bytes, size_t size, U32 sum = 0 ) {
  for ( size_t i = 0; i < size; ++i )
    sum += i % 2 == 0 ? U32( bytes[ i ] ) << 8 : bytes[ i ];
  while ( sum > 0xFFFF )
    sum = ( sum & 0xFFFF ) + ( sum >> 16 );
  return sum;
}

}  // namespace

// With VLAN tags and both IP versions; lengths and checksums must be valid.
TEST( PacketMakerTest, ReaderReadsBackWhatWasMade ) {
  PacketFields fields = { 0x01020304, 0x05060708, protocolTcp, 1000, 443, 0x12, 0x0800 };
  constexpr std::pair< U8, U32 > protocols[] = {
      { protocolTcp, 20 }, { protocolUdp, 8 }, { protocolIcmp, 8 } };
  for ( const L3Kind l3 : { L3Kind::ipv4, L3Kind::ipv6, L3Kind::other } ) {
    for ( const auto & [ protocol, l4Size ] : protocols ) {
      const bool ipv4 = l3 == L3Kind::ipv4;
      const bool icmp = protocol == protocolIcmp;
      if ( icmp && !ipv4 )
        continue;
      fields.l3 = l3;
      fields.protocol = protocol;
      fields.source6[ 15 ] = 9;
      fields.vlan = ipv4 ? std::nullopt : std::optional< U16 >( 7 );
      const Frame frame = makeFrame( fields );
      const FrameFields read = readFrame( frame );
      EXPECT_GE( frame.size(), 60U );
      EXPECT_EQ( read.l3, l3 );
      EXPECT_EQ( read.vlan, fields.vlan );
      EXPECT_EQ( read.sourceMac, fields.sourceMac );
      EXPECT_EQ( read.ports.has_value(), l3 != L3Kind::other && !icmp );
      EXPECT_EQ( read.tcpFlags.value_or( 0x12 ), 0x12 );
      EXPECT_EQ( l3 == L3Kind::ipv6, read.source6 == fields.source6 );
      if ( l3 == L3Kind::other )
        continue;
      EXPECT_EQ( read.protocol, protocol );
      const U8 * ip = &frame[ *read.l3At ];
      const U8 * l4 = ip + ( ipv4 ? 20 : 40 );
      EXPECT_EQ( ip[ ipv4 ? 3 : 5 ], ( ipv4 ? 20 : 0 ) + l4Size );
      EXPECT_TRUE( !ipv4 || foldedSum( ip, 20 ) == 0xFFFF );
      const U32 addresses = ipv4 ? 8 : 32;
      const U32 pseudo = icmp ? 0 : foldedSum( l4 - addresses, addresses, protocol + l4Size );
      EXPECT_EQ( foldedSum( l4, l4Size, pseudo ), 0xFFFFU );
    }
  }
}

TEST( RandomPacketsTest, SameSeedGivesSamePacketsOnEveryMachine ) {
  const std::vector< Acl > acls = { exampleAcl() };
  const auto frames = randomFrames( acls, 42, 4000 );
  const U64 sum =
      std::accumulate( frames.begin(), frames.end(), U64( 0 ), []( U64 hash, const Frame & frame ) {
        return std::accumulate( frame.begin(), frame.end(), hash,
                                []( U64 h, U8 byte ) { return h * 31 + byte; } );
      } );
  EXPECT_EQ( sum, 8813257342256088817U );
}

}  // namespace Agent
