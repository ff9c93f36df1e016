#include <gtest/gtest.h>

#include <numeric>

#include "agent/BruteForce.h"
#include "agent/Example.h"
#include "agent/PacketMaker.h"
#include "agent/RandomPackets.h"

namespace Agent {

namespace {

// One's-complement sum of 16-bit words, folded; 0xFFFF over data that holds its right checksum.
U32 foldedSum( const U8 * bytes, size_t size, U32 sum = 0 ) {
  for ( size_t i = 0; i < size; ++i )
    sum += i % 2 == 0 ? U32( bytes[ i ] ) << 8 : bytes[ i ];
  while ( sum > 0xFFFF )
    sum = ( sum & 0xFFFF ) + ( sum >> 16 );
  return sum;
}

}  // namespace

TEST( PacketMaker, lengthsAndChecksumsAreRight ) {
  for ( const Frame & frame : randomFrames( { exampleAcl() }, 3, 2000 ) ) {
    const FrameFields packet = readFrame( frame );
    ASSERT_GE( frame.size(), 60U );
    EXPECT_EQ( frame[ 12 ] << 8 | frame[ 13 ], 0x0800 );
    const U8 * ip = frame.data() + 14;
    EXPECT_EQ( ip[ 0 ], 0x45 );
    EXPECT_EQ( ip[ 9 ], *packet.protocol );
    EXPECT_EQ( foldedSum( ip, 20 ), 0xFFFFU );
    const size_t l4 = ( ip[ 2 ] << 8 | ip[ 3 ] ) - 20U;
    ASSERT_LE( 34 + l4, frame.size() );
    const U32 pseudo = foldedSum( ip + 12, 8, *packet.protocol + U32( l4 ) );
    if ( packet.ports ) {
      EXPECT_EQ( foldedSum( ip + 20, l4, pseudo ), 0xFFFFU );
      EXPECT_EQ( ip[ 22 ] << 8 | ip[ 23 ], packet.ports->destination );
    } else if ( packet.icmpTypeCode ) {
      EXPECT_EQ( foldedSum( ip + 20, l4 ), 0xFFFFU );
    }
  }
}

// What is made of fields is read back, with tags and in either IP version.
TEST( FrameReader, readsWhatWasMade ) {
  PacketFields fields = { 0x01020304, 0x05060708, protocolTcp, 1000, 443, 0x12, 0 };
  for ( const L3Kind l3 : { L3Kind::ipv4, L3Kind::ipv6, L3Kind::other } ) {
    fields.l3 = l3;
    fields.source6[ 15 ] = 9;
    fields.vlan = l3 == L3Kind::ipv4 ? std::nullopt : std::optional< U16 >( 7 );
    const Frame frame = makeFrame( fields );
    const FrameFields read = readFrame( frame );
    EXPECT_EQ( read.l3, l3 );
    EXPECT_EQ( read.vlan, fields.vlan );
    EXPECT_EQ( read.sourceMac, fields.sourceMac );
    EXPECT_EQ( read.ports.has_value(), l3 != L3Kind::other );
    EXPECT_EQ( read.tcpFlags.value_or( 0x12 ), 0x12 );
    EXPECT_EQ( l3 == L3Kind::ipv6, read.source6 == fields.source6 );
    // The L4 checksum holds.
    const size_t at = *read.l3At + ( l3 == L3Kind::ipv4 ? 20 : 40 );
    const size_t addresses = l3 == L3Kind::ipv4 ? 8 : 32;
    if ( l3 != L3Kind::other ) {
      EXPECT_EQ( foldedSum( &frame[ at ], 20,
                            foldedSum( &frame[ at - addresses ], addresses, protocolTcp + 20 ) ),
                 0xFFFFU );
    }
  }
}

TEST( RandomPackets, sameSeedSamePacketsOnEveryMachine ) {
  const std::vector< Acl > acls = { exampleAcl() };
  const auto frames = randomFrames( acls, 42, 4000 );
  EXPECT_EQ( frames, randomFrames( acls, 42, 4000 ) );
  EXPECT_NE( frames, randomFrames( acls, 43, 4000 ) );
  const U64 sum =
      std::accumulate( frames.begin(), frames.end(), U64( 0 ), []( U64 hash, const Frame & frame ) {
        return std::accumulate( frame.begin(), frame.end(), hash,
                                []( U64 h, U8 byte ) { return h * 31 + byte; } );
      } );
  EXPECT_EQ( sum, 4247889023913664626U );
}

TEST( RandomPackets, hitAndMiss ) {
  const Acl acl = exampleAcl();
  const Policy policy = { { { AclKind::ipv4, { { 0, &acl } }, false } } };
  U32 matched = 0;
  std::vector< bool > hit( acl.rules.size() );
  const auto frames = randomFrames( { acl }, 1, 8000 );
  for ( const Frame & frame : frames ) {
    for ( const RuleIndex & rule : expectedFate( policy, readFrame( frame ), {} ).rules ) {
      ++matched;
      hit[ rule.rule ] = true;
    }
  }
  EXPECT_GT( matched, frames.size() / 3 );
  EXPECT_LT( matched, frames.size() * 4 / 5 );
  EXPECT_GT( std::count( hit.begin(), hit.end(), true ), 320 );
  EXPECT_EQ( randomFrames( {}, 1, 5 ).size(), 5U );
}

TEST( BruteForce, everyFieldDecides ) {
  AclRule rule;
  rule.source = { 0x0A000000, 8 };
  rule.destination = { 0xC0A80000, 31 };
  rule.sourcePorts = { 10, 20 };
  rule.anyProtocol = false;
  rule.protocol = protocolTcp;
  rule.tcpFlags = 0x02;
  rule.tcpFlagsMask = 0x12;
  const PacketFields good = { 0x0AFFFFFF, 0xC0A80001, protocolTcp, 20, 0, 0xEF & ~0x10, 0 };
  const auto matches = []( const AclRule & tried, const PacketFields & packet ) {
    const Frame frame = makeFrame( packet );
    return ruleMatches( AclKind::ipv4, tried, readFrame( frame ) );
  };
  EXPECT_TRUE( matches( rule, good ) );
  const auto differs = [ & ]( auto member, auto value ) {
    PacketFields packet = good;
    packet.*member = static_cast< std::decay_t< decltype( packet.*member ) > >( value );
    return !matches( rule, packet );
  };
  EXPECT_TRUE( differs( &PacketFields::sourceIp, 0x0B000000 ) );
  EXPECT_TRUE( differs( &PacketFields::destinationIp, 0xC0A80002 ) );
  EXPECT_TRUE( differs( &PacketFields::sourcePort, 9 ) );
  EXPECT_TRUE( differs( &PacketFields::sourcePort, 21 ) );
  EXPECT_TRUE( differs( &PacketFields::protocol, protocolUdp ) );
  EXPECT_TRUE( differs( &PacketFields::tcpFlags, 0x12 ) );
  EXPECT_FALSE( differs( &PacketFields::destinationPort, 9 ) );
  // A port match on any protocol needs a packet with ports.
  rule = AclRule();
  rule.destinationPorts = { 0, 65534 };
  EXPECT_TRUE( matches( rule, { 0, 0, protocolUdp, 0, 0, 0, 0 } ) );
  EXPECT_FALSE( matches( rule, { 0, 0, 47, 0, 0, 0, 0 } ) );
}

}  // namespace Agent
