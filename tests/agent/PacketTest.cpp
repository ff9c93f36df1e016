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
  for ( PacketFields packet : randomPackets( { exampleAcl() }, 3, 2000 ) ) {
    const auto frame = makeFrame( packet );
    ASSERT_GE( frame.size(), 60U );
    EXPECT_EQ( frame[ 12 ] << 8 | frame[ 13 ], 0x0800 );
    const U8 * ip = frame.data() + 14;
    EXPECT_EQ( ip[ 0 ], 0x45 );
    EXPECT_EQ( ip[ 9 ], packet.protocol );
    EXPECT_EQ( foldedSum( ip, 20 ), 0xFFFFU );
    const size_t l4 = ( ip[ 2 ] << 8 | ip[ 3 ] ) - 20U;
    ASSERT_LE( 34 + l4, frame.size() );
    const U32 pseudo = foldedSum( ip + 12, 8, packet.protocol + U32( l4 ) );
    if ( packet.hasPorts() ) {
      EXPECT_EQ( foldedSum( ip + 20, l4, pseudo ), 0xFFFFU );
      EXPECT_EQ( ip[ 22 ] << 8 | ip[ 23 ], packet.destinationPort );
    } else if ( packet.protocol == protocolIcmp ) {
      EXPECT_EQ( foldedSum( ip + 20, l4 ), 0xFFFFU );
    }
  }
}

TEST( RandomPackets, sameSeedSamePacketsOnEveryMachine ) {
  const std::vector< Acl > acls = { exampleAcl() };
  const auto packets = randomPackets( acls, 42, 4000 );
  EXPECT_EQ( packets, randomPackets( acls, 42, 4000 ) );
  EXPECT_NE( packets, randomPackets( acls, 43, 4000 ) );
  const U64 sum = std::accumulate( packets.begin(), packets.end(), U64( 0 ),
                                   []( U64 hash, const PacketFields & packet ) {
                                     return hash * 31 + packet.sourceIp + packet.sourcePort;
                                   } );
  EXPECT_EQ( sum, 276094416610413168U );
}

TEST( RandomPackets, hitAndMiss ) {
  const Acl acl = exampleAcl();
  U32 matched = 0;
  std::vector< bool > hit( acl.rules.size() );
  const auto packets = randomPackets( { acl }, 1, 8000 );
  for ( const PacketFields & packet : packets ) {
    if ( const auto rule = firstMatch( { &acl }, packet ) ) {
      ++matched;
      hit[ rule->rule ] = true;
    }
  }
  EXPECT_GT( matched, packets.size() / 3 );
  EXPECT_LT( matched, packets.size() * 4 / 5 );
  EXPECT_GT( std::count( hit.begin(), hit.end(), true ), 320 );
  EXPECT_EQ( randomPackets( {}, 1, 5 ).size(), 5U );
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
  EXPECT_TRUE( ruleMatches( rule, good ) );
  const auto differs = [ & ]( auto member, auto value ) {
    PacketFields packet = good;
    packet.*member = static_cast< std::decay_t< decltype( packet.*member ) > >( value );
    return !ruleMatches( rule, packet );
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
  EXPECT_TRUE( ruleMatches( rule, { 0, 0, protocolUdp, 0, 0, 0, 0 } ) );
  EXPECT_FALSE( ruleMatches( rule, { 0, 0, 47, 0, 0, 0, 0 } ) );
}

}  // namespace Agent
