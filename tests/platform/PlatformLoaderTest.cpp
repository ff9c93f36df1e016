#include "platform/PlatformLoader.h"

#include <gtest/gtest.h>

#include "morvane/TcamIds.h"
#include "platform/InputError.h"

namespace Platform {

namespace {

// Line 3 is the chip, 9 and 10 are the groups, 13 and on the reservations,
// 21 and 22 the VLANs.
const std::string good = R"({
  "name": "tiny",
  "chip": {
    "name": "T", "type": 5, "pipes": 1, "portsPerPipe": 4, "statistics": 16,
    "loopbackPorts": [ 3 ],
    "stages": [ { "stage": "IFP", "slices": [ { "count": 2, "depth": 8, "keyBits": 96 } ] } ]
  },
  "groups": [
    { "id": 0, "match": "ipv4", "qualifiers": [ "StageIngress", "SrcIp" ], "includes": [ "DstIp" ] },
    { "id": 2, "qualifiers": [ "StageIngress", "DstMac" ], "noStatsPerEntry": true }
  ],
  "reservations": [
    { "name": "a", "assignment": "ipAclTcamGroup", "strategy": "tcamAllocateOnDemand",
      "group": 0, "size": 8 },
    { "name": "b", "assignment": "routerAclTcamGroup", "strategy": "tcamAllocateAsChunk",
      "group": 0, "size": 4 },
    { "name": "c", "assignment": "qosTcamGroup", "strategy": "tcamAllocateUnbounded", "group": 2,
      "noStatsPerEntry": true }
  ],
  "vlans": [
    { "id": 7, "untaggedPorts": [ 0, 2 ] },
    { "id": 8, "untaggedPorts": [ 1 ] } ]
}
)";

std::string errorOf( const std::string & text ) {
  try {
    parsePlatform( "p.json", text );
  } catch ( const InputError & error ) {
    return error.what();
  }
  return "no error";
}

// The good text with one place changed.
std::string changed( const std::string & from, const std::string & to ) {
  std::string text = good;
  const size_t at = text.find( from );
  EXPECT_NE( at, std::string::npos ) << from;
  return text.replace( at, from.size(), to );
}

}  // namespace

TEST( PlatformLoader, tablesAsTheLibraryReadsThem ) {
  const PlatformData data = parsePlatform( "p.json", good );
  PlatformModel model( data );
  EXPECT_EQ( model.chipType( 0 ), 5 );
  EXPECT_EQ( model.loopbackPort( 0, 2 ), 3U );
  EXPECT_TRUE( model.matchesIPv4( 0 ) );
  EXPECT_TRUE( model.noStatsPerEntry( 2 ) );
  ASSERT_EQ( model.numTcamGroups(), 2U );
  const U32 * list = model.tcamGroup( 0 ).qualifiers;
  EXPECT_EQ( std::vector< U32 >( list, list + 3 ),
             ( std::vector< U32 >{ bcmFieldQualifyStageIngress, bcmFieldQualifySrcIp,
                                   bcmFieldQualifyCount } ) );
  ASSERT_EQ( model.numGroupIncludes(), 1U );
  EXPECT_EQ( model.groupIncludes( 0 ).qualifiers[ 0 ], U32( bcmFieldQualifyDstIp ) );
  EXPECT_EQ( model.numGroupExcludes(), 0U );
  EXPECT_STREQ( model.tcamReservation( 1 ).name, "b" );
  EXPECT_EQ( data.vlans[ 0 ].untaggedPorts, ( std::vector< U32 >{ 0, 2 } ) );

  const auto ranges = entryRanges( data );
  EXPECT_EQ( ranges[ 0 ].first, 1U );  // entry 0 means none
  EXPECT_EQ( ranges[ 1 ].first, 9U );
  EXPECT_EQ( ranges[ 1 ].end, 13U );
}

TEST( PlatformLoader, errorsNameTheLine ) {
  const struct {
    std::string from, to, error;
  } cases[] = {
      { "\"type\": 5", "\"type\": 5,, ", "p.json:4: not JSON: unexpected" },
      { "\"type\": 5", "\"type\": 70000", "p.json:4: \"type\" must be a number from 0 to 65535" },
      { "\"type\": 5", "\"type\": 5, \"type\": 5", "p.json:4: key \"type\" occurs twice" },
      { "\"type\": 5, ", "", "p.json:3: \"chip\" has no \"type\"" },
      { "\"name\": \"tiny\"", "\"nam\": 1", "p.json:1: a platform has no \"name\"" },
      { "\"tiny\"", "\"ti\\nny\"", "p.json:2: a string must not have control characters" },
      { "[ 3 ]", "[ 4 ]", "p.json:3: loopback port 4 does not exist" },
      { "\"depth\": 8", "\"depht\": 8", "p.json:6: a run of slices has no \"depth\"" },
      { "\"depth\": 8", "\"depth\": 8, \"wide\": 1",
        "p.json:6: a run of slices has an unknown key" },
      { "\"portsPerPipe\": 4", "\"portsPerPipe\": 4, \"sharedByPipes\": true, \"secondCopy\": true",
        "p.json:3: secondCopy" },
      { "\"SrcIp\"", "\"SrcIP\"", "p.json:9: there is no qualifier \"SrcIP\"" },
      { "\"id\": 2", "\"id\": 256", "p.json:10: group id 256" },
      { "\"id\": 2", "\"id\": 0", "p.json:10: group 0 is there twice" },
      { "\"group\": 2", "\"group\": 1", "p.json:17: there is no group 1" },
      { "tcamAllocateAsChunk", "tcamAllocateUnbounded",
        "p.json:15: an unbounded share has no size" },
      { "tcamAllocateUnbounded", "tcamAllocateOnDemand", "p.json:17: this strategy needs a size" },
      { "routerAclTcamGroup", "ipAclTcamGroup", "p.json:15: ipAclTcamGroup is there twice" },
      { "routerAclTcamGroup", "ipAcl", "p.json:15: there is no assignment \"ipAcl\"" },
      { "\"size\": 4 ", "\"size\": 4, \"noStatsPerEntry\": true ", "p.json:15: group 0 keeps" },
      { "\"id\": 8", "\"id\": 4095", "p.json:22: \"id\" must be a number from 1 to 4094" },
      { "\"id\": 8", "\"id\": 7", "p.json:22: VLAN 7 is there twice" },
      { "[ 1 ]", "[ 4 ]", "p.json:22: port 4 does not exist" },
      { "[ 1 ]", "[ 2 ]", "p.json:22: port 2 is untagged in VLAN 7 already" },
  };
  for ( const auto & c : cases ) {
    const std::string error = errorOf( changed( c.from, c.to ) );
    EXPECT_EQ( error.substr( 0, c.error.size() ), c.error );
  }
}

TEST( PlatformLoader, whatStartUpMakesFitsTheChip ) {
  // Group 0's key of 64 bits takes one of the chip's two slices of 8 rows, or both.
  const auto madeInAdvance = []( const std::string & size, const std::string & qualifiers ) {
    std::string text = changed( "tcamAllocateOnDemand", "tcamAllocateAtBeginning" );
    text.replace( text.find( "\"size\": 8" ), 9, "\"size\": " + size );
    return text.replace( text.find( "\"SrcIp\"" ), 7, qualifiers );
  };
  EXPECT_EQ( errorOf( madeInAdvance( "16", "\"SrcIp\"" ) ), "no error" );
  EXPECT_EQ( errorOf( madeInAdvance( "17", "\"SrcIp\"" ) ),
             "p.json:13: start-up makes 17 entries, which do not fit the chip" );
  EXPECT_EQ( errorOf( madeInAdvance( "1", "\"SrcIp6\"" ) ),
             "p.json:13: start-up makes group 0, which does not fit the chip" );
  // A chunk may wait for room; its group may not.
  std::string text =
      changed( "\"portsPerPipe\": 4", "\"portsPerPipe\": 4, \"allocAtBeginning\": true" );
  text.replace( text.find( "\"size\": 4" ), 9, "\"size\": 40" );
  EXPECT_EQ( errorOf( text ), "no error" );
  text.replace( text.find( "\"SrcIp\"" ), 7, "\"SrcIp6\"" );
  EXPECT_EQ( errorOf( text ), "p.json:15: start-up makes group 0, which does not fit the chip" );
}

TEST( PlatformLoader, rangesOfIdsDoNotMeet ) {
  // Group 2's ids begin at 131072; group 0 may reach up to them and not beyond.
  std::string text =
      changed( "\"strategy\": \"tcamAllocateUnbounded\", \"group\": 2,",
               "\"strategy\": \"tcamAllocateOnDemand\", \"size\": 2, \"group\": 2," );
  EXPECT_EQ( errorOf( text ), "no error" );
  text.replace( text.find( "\"size\": 8" ), 9, "\"size\": 131072" );
  EXPECT_EQ( errorOf( text ), "p.json:17: entry ids 131072 to 131073 overlap those of a" );
  // The unbounded share in group 2 gets at most 16 ids, 0xfffff0 and above.
  text = changed( "\"id\": 0", "\"id\": 255" );
  for ( size_t at; ( at = text.find( "\"group\": 0" ) ) != std::string::npos; )
    text.replace( at, 10, "\"group\": 255" );
  text.replace( text.find( "\"size\": 8" ), 9, "\"size\": 65516" );
  EXPECT_EQ( errorOf( text ), "no error" );
  text.replace( text.find( "\"size\": 65516" ), 13, "\"size\": 65517" );
  EXPECT_EQ( errorOf( text ),
             "p.json:15: entry ids up to 16777200 may meet those that the chip "
             "chooses for unbounded shares, 16777200 and above" );
}

TEST( PlatformLoader, brokenTextsAreRefused ) {
  EXPECT_EQ( errorOf( "" ), "p.json:1: not JSON: the text ends too early" );
  EXPECT_EQ( errorOf( "[]" ), "p.json:1: a platform must be an object" );
  EXPECT_EQ( errorOf( "{\n\"name\": 18446744073709551615\n}" ), "p.json:2: number out of range" );
  EXPECT_EQ( errorOf( std::string( 100000, '[' ) ), "p.json:1: nested too deeply" );
  // No prefix of a good text is a platform.
  for ( size_t size = 0; size + 2 < good.size(); size += 7 )
    EXPECT_EQ( errorOf( good.substr( 0, size ) ).substr( 0, 7 ), "p.json:" ) << size;
  EXPECT_THROW( loadPlatform( "/nonexistent" ), InputError );
  EXPECT_THROW( loadPlatform( "/" ), InputError );
}

TEST( PlatformLoader, builtInPlatforms ) {
  EXPECT_EQ( builtInPlatforms(), ( std::vector< std::string >{ "small", "shared", "large" } ) );
  for ( const std::string & name : builtInPlatforms() )
    EXPECT_EQ( loadPlatform( name ).name, name );
}

}  // namespace Platform
