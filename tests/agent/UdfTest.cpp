// User-defined fields: mirroring lists, and flow programming inside VXLAN.
#include <gmock/gmock.h>

#include "agent/packets/RandomPackets.h"
#include "platform/InputError.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

// One rule per offset, mirroring to port 5; `source` makes the rules of two lists distinct.
Acl mirrorAcl( const std::vector< U8 > & offsets, AclKind kind = AclKind::ipv4, U32 source = 0 ) {
  Acl acl;
  acl.kind = kind;
  acl.use = AclUse::mirror;
  acl.mirrorPort = 5;
  for ( const U8 offset : offsets ) {
    AclRule & rule = acl.rules.emplace_back();
    rule.forwarding = Forwarding::none;
    rule.mirror = true;
    if ( source != 0 )
      rule.source = prefix4( source, 32 );
    const UdfBase base = kind == AclKind::mac ? UdfBase::l2End : UdfBase::l3Start;
    rule.udf = { { base, offset, 0x01020304U * offset, 0xFFFF00FF } };
  }
  return acl;
}

// The key of an IPv4 mirroring group takes 145 bits on one copy, plus 32 per field.
constexpr U32 oneFieldBits = 200;

ChipSize mirrorSize( U32 keyBits, U32 slices, U32 chunks ) {
  ChipSize size = { 2, true };
  size.keyBits = keyBits;
  size.slices = slices;
  size.dataChunks = chunks;
  return size;
}

U32 rebuilds( TestSwitch & sw ) {
  const auto calls = sw.session.sdkCalls();
  const auto created = calls.find( "bcm_field_group_config_create" );
  return created == calls.end() ? 0 : static_cast< U32 >( created->second );
}

}  // namespace

// In place while the key has room, then by rebuilding the group and programming all rules again.
// Fields are shared.
TEST( MirroringTest, GroupGrowsWithItsFields ) {
  for ( const AclKind kind : { AclKind::ipv4, AclKind::mac } ) {
    SCOPED_TRACE( kindName( kind ) );
    TestSwitch sw( mirrorSize( oneFieldBits, 12, 8 ) );
    const Acl first = mirrorAcl( { 40, 40 }, kind );
    const Acl second = mirrorAcl( { 44, 48, 40 }, kind );
    ASSERT_FALSE( sw.feature.addAcl( first ) );
    const U32 before = rebuilds( sw );
    EXPECT_EQ( sw.chip().dataQualifiers( 0 ).size(), 1U );
    ASSERT_FALSE( sw.feature.addAcl( second ) );
    EXPECT_GT( rebuilds( sw ), before );
    EXPECT_EQ( sw.chip().dataQualifiers( 0 ).size(), 3U );
    EXPECT_THAT( sw.audit(), IsEmpty() );
    EXPECT_EQ( sw.differences( randomFrames( { first, second }, 1, 1500 ) ), 0U );
    sw.feature.clear();
    EXPECT_THAT( sw.audit(), IsEmpty() );
    EXPECT_THAT( sw.chip().dataQualifiers( 0 ), IsEmpty() );
    // The packet type is set again after the teardown.
    EXPECT_FALSE( sw.feature.addAcl( first ) );
    EXPECT_EQ( sw.differences( randomFrames( { first }, 2, 200 ) ), 0U );
  }
}

// Reports the exhausted resource; the earlier list works as before.
TEST( MirroringTest, RollsBackAListThatDoesNotFit ) {
  const struct {
    const char * what;
    ChipSize size;
    U32 rule;
    AclResource resource;
  } cases[] = {
      // No chunk for the second list's third field, after a group rebuild.
      { "chunks", mirrorSize( oneFieldBits, 12, 3 ), 2, AclResource::udfQualifiers },
      // No chunk for the first field: no rebuild.
      { "no chunk", mirrorSize( oneFieldBits, 12, 1 ), 0, AclResource::udfQualifiers },
      // Two fields do not fit in 192 bits or in any wide mode: the rebuild fails.
      { "rebuild", mirrorSize( 192, 12, 8 ), 1, AclResource::keyBits },
      // In double-wide mode the earlier list's entries take more slices than there are.
      { "slices", mirrorSize( oneFieldBits, 3, 8 ), 0, AclResource::slices },
  };
  for ( const auto & c : cases ) {
    SCOPED_TRACE( c.what );
    TestSwitch sw( c.size );
    const bool narrow = c.size.keyBits == 192;
    Acl first = mirrorAcl( { 40 }, AclKind::ipv4, 7 );
    if ( narrow )
      first.rules[ 0 ].udf.clear();
    if ( c.size.slices == 3 )
      first.rules.resize( 60, first.rules[ 0 ] );
    ASSERT_FALSE( sw.feature.addAcl( first ) );
    const Acl second = mirrorAcl( { 44, 48, 52 }, AclKind::ipv4, 8 );
    const auto shortage = sw.feature.addAcl( second );
    ASSERT_TRUE( shortage );
    EXPECT_EQ( shortage->resource, c.resource );
    EXPECT_EQ( shortage->rule, c.rule );
    EXPECT_FALSE( sw.feature.shortage( 0 ) );
    EXPECT_THAT( sw.audit(), IsEmpty() );
    EXPECT_EQ( sw.chip().dataQualifiers( 0 ).size(), narrow ? 0U : 1U );
    EXPECT_EQ( sw.differences( randomFrames( { first, second }, 3, 600 ) ), 0U );
    sw.feature.clear();
    EXPECT_THAT( sw.audit(), IsEmpty() );
  }
}

TEST( FlowProgrammingTest, MatchesInsideVxlan ) {
  TestSwitch sw( mirrorSize( 384, 12, 8 ) );
  Acl acl = mirrorAcl( { 42, 62 } );
  acl.use = AclUse::flowVxlan;
  acl.rules[ 1 ].udf.push_back( { UdfBase::l3End, 38, 0x00110000, 0x00FF0000 } );  // at 58
  Acl other = mirrorAcl( { 50, 43 } );
  other.use = AclUse::flowVxlan;
  ASSERT_FALSE( sw.feature.addAcl( acl ) );
  EXPECT_EQ( sw.chip().dataQualifiers( 0 ).size(), 5U );
  EXPECT_THAT( sw.audit(), IsEmpty() );
  // A field that the group lacks: the whole list is rolled back.
  try {
    sw.feature.addAcl( other );
    FAIL();
  } catch ( const Platform::InputError & error ) {
    EXPECT_THAT( error.what(), HasSubstr( "no field at offset 43 of the L3 header; it has 42, 46, "
                                          "50, 58, 62" ) );
  }
  EXPECT_THAT( sw.audit(), IsEmpty() );
  EXPECT_EQ( sw.differences( randomFrames( { acl }, 1, 1000 ) ), 0U );
  sw.feature.clear();
  EXPECT_THAT( sw.audit(), IsEmpty() );
  EXPECT_THAT( sw.chip().dataQualifiers( 0 ), IsEmpty() );
  EXPECT_EQ( sw.chip().groups( 0 ).size(), sw.ports.size() );  // L2 control group
}

}  // namespace Agent
