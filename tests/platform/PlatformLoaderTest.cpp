#include "platform/PlatformLoader.h"

#include <gmock/gmock.h>

#include "morvane/TcamIds.h"
#include "platform/InputError.h"
#include "platform/PortNames.h"

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

using Changes = std::vector< std::pair< std::string, std::string > >;

// The good text with the first occurrence of each text replaced.
std::string changed( const Changes & changes ) {
  std::string text = good;
  for ( const auto & [ from, to ] : changes ) {
    const size_t at = text.find( from );
    EXPECT_NE( at, std::string::npos ) << from;
    if ( at != std::string::npos )
      text.replace( at, from.size(), to );
  }
  return text;
}

}  // namespace

TEST( PlatformLoaderTest, ReadsTablesAsTheLibraryDoes ) {
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

TEST( PlatformLoaderTest, ErrorsNameTheLine ) {
  const std::string chipFlags = "\"portsPerPipe\": 4";
  const std::string atBeginning = "tcamAllocateAtBeginning", onDemand = "tcamAllocateOnDemand";
  const struct {
    Changes changes;
    std::string error;
  } cases[] = {
      // Of the text itself
      { { { "\"type\": 5", "\"type\": 5,, " } }, "4:28: not JSON: unexpected ','" },
      { { { "\"type\": 5", "\"type\": 70000" } },
        "4:26: \"type\" must be a whole number from 0 to 65535, not 70000" },
      { { { "\"type\": 5", "\"type\": 5, \"type\": 5" } }, "4:29: key \"type\" occurs twice" },
      { { { "\"type\": 5, ", "" } }, "3:11: \"chip\" has no \"type\"" },
      { { { "\"name\": \"tiny\"", "\"nam\": 1" } }, "1:1: a platform has no \"name\"" },
      { { { "\"tiny\"", "\"ti\\nny\"" } }, "2:11: \"name\" must not have control characters" },
      { { { "\"depth\": 8", "\"depht\": 8" } }, "6:47: a run of slices has no \"depth\"" },
      { { { "\"depth\": 8", "\"depth\": 8, \"wide\": 1" } },
        "6:81: a run of slices has an unknown key \"wide\"; it can have count, depth, keyBits, "
        "large" },
      { { { "\"SrcIp\"", "\"SrcIP\"" } },
        "9:65: there is no qualifier \"SrcIP\"; there are DSCP, DstIp, SrcIp, SrcIp6, SrcIp6High, "
        "SrcMac, .." },
      { { { "\"IFP\"", "\"IP\"" } }, "6:28: there is no stage \"IP\"; there are VFP, IFP and EFP" },
      { { { "routerAclTcamGroup", "ipAcl" } },
        "15:34: there is no assignment \"ipAcl\"; there are ip6AclTcamGroup, ipAclEgressTcamGroup, "
        "ipAclTcamGroup, ipAclVfpTcamGroup, ipAclVniTcamGroup, ipPbrTcamGroup, .." },
      { { { "\"id\": 8", "\"id\": 4095" } },
        "22:13: \"id\" must be a whole number from 1 to 4094, not 4095" },
      // Of the chip and the VLANs
      { { { "[ 3 ]", "[ 4 ]" } }, "3:11: loopback port 4 does not exist" },
      { { { chipFlags, chipFlags + ", \"sharedByPipes\": true, \"secondCopy\": true" } },
        "3:11: secondCopy: tables that are shared by pipes have no second copy" },
      { { { "\"id\": 8", "\"id\": 7" } }, "22:5: VLAN 7 is there twice" },
      { { { "[ 1 ]", "[ 4 ]" } }, "22:5: port 4 does not exist" },
      { { { "[ 1 ]", "[ 2 ]" } }, "22:5: port 2 is untagged in VLAN 7 already" },
      { { { "\"groups\"", "\"portNames\": [ \"a\", \"b\", \"c\" ], \"groups\"" } },
        "8:16: \"portNames\" has 3 names, and the chip 4 ports" },
      { { { "\"groups\"", "\"portNames\": [ \"a\", \"b\",\n \"a\", \"c\" ], \"groups\"" } },
        "9:2: two ports are named \"a\"" },
      { { { "\"groups\"", "\"portNames\": [ \"a\", \"1\", \"c\", \"d\" ], \"groups\"" } },
        "8:23: \"1\" cannot name a port: it is empty, \"all\", a number, or has a comma, colon, "
        "\"=\" "
        "or blank" },
      // Of the tables
      { { { "\"StageIngress\", \"DstMac\"", "" } }, "10:5: group 2 matches nothing" },
      { { { "\"id\": 2", "\"id\": 256" } }, "10:5: groups[1].group: 256 is not below 256" },
      { { { "\"group\": 2", "\"group\": 1" } },
        "17:5: reservations[2].group: there is no group 1" },
      { { { "\"size\": 4 ", "\"size\": 4, \"noStatsPerEntry\": true " } },
        "15:5: reservations[1].noStatsPerEntry: group 0 keeps statistics per entry" },
      { { { chipFlags, chipFlags + ", \"sharedByPipes\": true, \"groupByPreselector\": true" } },
        "13:5: reservations[0].group: ingress group 0 would serve pipe 0 only: unit 0 is "
        "sharedByPipes and groupByPreselector" },
      { { { chipFlags, chipFlags + ", \"multicastWar\": true" },
          { "\"id\": 0", "\"id\": 0, \"multicastWar\": true" } },
        "13:5: reservations[0].size: the multicast entry of group 0 needs tcamAllocateUnbounded" },
      // Group 2's ids begin at 131072; group 0 may reach up to them and not beyond.
      { { { "tcamAllocateUnbounded\", \"group\"", onDemand + "\", \"size\": 2, \"group\"" } }, "" },
      { { { "tcamAllocateUnbounded\", \"group\"", onDemand + "\", \"size\": 2, \"group\"" },
          { "\"size\": 8", "\"size\": 131072" } },
        "17:5: reservations[2].size: entries 131072 to 131073 overlap entries 1 to 131072 of "
        "reservations[0]" },
      // The chip chooses at most 16 ids for unbounded shares, 0xfffff0 and above.
      { { { "\"id\": 0", "\"id\": 255" },
          { "\"group\": 0", "\"group\": 255" },
          { "\"group\": 0", "\"group\": 255" },
          { "\"size\": 8", "\"size\": 65516" } },
        "" },
      { { { "\"id\": 0", "\"id\": 255" },
          { "\"group\": 0", "\"group\": 255" },
          { "\"group\": 0", "\"group\": 255" },
          { "\"size\": 8", "\"size\": 65517" } },
        "15:5: entry ids up to 16777200 may meet those that the chip chooses for unbounded shares, "
        "16777200 and above" },
      // Of groups that the chip cannot hold: two slices of 96 bits
      { { { "\"SrcIp\"", "\"SrcIp6\"" } }, "13:5: the key of group 0 fits no slice of IFP" },
      { { { "\"SrcIp\"", "\"RangeCheck\"" } },
        "13:5: group 0 matches RangeCheck, which IFP of the chip cannot" },
      { { { "\"SrcIp\"", "\"StageLookup\"" } }, "13:5: group 0 names more than one stage" },
      { { { "\"StageIngress\"", "\"StageEgress\"" } },
        "13:5: group 0 needs EFP, which the chip lacks" },
      { { { "\"StageIngress\", ", "" }, { "\"DstIp\"", "\"StageLookup\"" } },
        "13:5: excludes and includes change the stage of group 0" },
      { { { "\"type\": 5", "\"type\": 5, \"swapFrom\": \"DstMac\", \"swapTo\": \"SrcIp6\"" },
          { "\"DstMac\" ]", "\"DstMac\", \"OuterVlanId\" ]" } },
        "17:5: the key of group 2 fits no slice of IFP" },
      { { { "qosTcamGroup", "mirroringAclTcamGroup1" } },
        "17:5: the key of group 2 for mirroring IPv4 lists fits no slice of IFP" },
      { { { "qosTcamGroup", "mirroringAclTcamGroup1" },
          { "\"noStatsPerEntry\": true }\n  ]",
            "\"noStatsPerEntry\": true, \"excludes\": [ \"SrcIp\", \"DstIp\" ] }\n  ]" } },
        "17:5: the key of group 2 for mirroring MAC lists fits no slice of IFP" },
      { { { "qosTcamGroup", "mirroringAclTcamGroup1" },
          { "\"keyBits\": 96", "\"keyBits\": 160" },
          { "\"groups\"", "\"agent\": { \"ipv6MirroringSupported\": true }, \"groups\"" } },
        "17:5: the key of group 2 for mirroring IPv6 lists fits no slice of IFP" },
      { { { "qosTcamGroup", "openFlowUdfTcamGroup" } },
        "17:5: the chip cannot make the data qualifiers of group 2" },
      { { { "qosTcamGroup", "openFlowUdfTcamGroup" },
          { "\"type\"", "\"dataChunks\": 2, \"dataFormats\": 2, \"type\"" } },
        "17:5: the key of group 2 fits no slice of IFP" },
      { { { chipFlags, chipFlags + ", \"groupByPreselector\": true, \"preselectors\": 1" } },
        "17:5: the ingress groups up to here need 2 preselectors; the chip has 1" },
      { { { chipFlags, chipFlags + ", \"multicastWar\": true" },
          { "\"id\": 2", "\"id\": 2, \"multicastWar\": true" } },
        "17:5: the multicast entry of group 2 needs DstIp6" },
      // Of what start-up creates: group 0 takes one of the two slices of 8 rows, or both.
      { { { onDemand, atBeginning }, { "\"size\": 8", "\"size\": 16" } }, "" },
      { { { onDemand, atBeginning }, { "\"size\": 8", "\"size\": 17" } },
        "13:5: start-up makes 17 entries, which do not fit the chip" },
      { { { onDemand, atBeginning },
          { "\"size\": 8", "\"size\": 16" },
          { "tcamAllocateUnbounded\", ", atBeginning + "\", \"size\": 1, " } },
        "17:5: start-up makes group 2, for which the chip has no room left" },
      // A chunk may wait for room.
      { { { chipFlags, chipFlags + ", \"allocAtBeginning\": true" },
          { "\"size\": 4", "\"size\": 40" } },
        "" },
  };
  for ( const auto & c : cases )
    EXPECT_EQ( errorOf( changed( c.changes ) ),
               c.error.empty() ? "no error" : "p.json:" + c.error );
}

TEST( PlatformLoaderTest, RefusesMalformedTexts ) {
  std::string many;  // keys, more than are compared one by one
  for ( int i = 0; i < 20; ++i )
    many += "\"" + std::to_string( i ) + "\": {},\r\n";
  std::string huge = "[";  // numbers, more than are skipped
  for ( int i = 0; i < 16; ++i )
    huge += " -1E999,";
  const std::pair< std::string, std::string > cases[] = {
      { "", "1:1: the file is empty" },
      { "[]", "1:1: a platform must be an object, not a list" },
      { "{\n\"name\": 18446744073709551615\n}",
        "2:9: \"name\" must be a string, not 18446744073709551615" },
      { "{\n\"name\": -1.5e+400 }", "2:9: \"name\" must be a string, not -1.5e+400" },
      { huge + "1e400 ]", "1:130: number out of range" },
      { std::string( 100000, '[' ), "1:33: nested too deeply" },
      { "{\r\n  \"name\": \"a", "2:12: truncated: the text ends inside a JSON value" },
      { "{ \"na\\nme\": 12 }", "1:3: a key must not have control characters" },
      { "{ \"name\": 12", "1:12: truncated: the text ends inside a JSON value" },
      { "{ \"name\": 1 ]", "1:13: not JSON: unexpected ']'" },
      { "{ " + many + "\"3\": {} }", "21:1: key \"3\" occurs twice" },
      { "\xEF\xBB\xBF{ \"nam\": 1 }", "1:1: a platform has no \"name\"" },
      { std::string( "{\0\"\0n\0", 6 ), "1:2: a NUL byte: UTF-8 text is required, not UTF-16" },
      { std::string( "{\n\"a\0\": 1 }", 11 ), "2:3: a NUL byte" },
      { "\xFF\xFE{", "1:1: UTF-16 text: UTF-8 is required" },
  };
  for ( const auto & [ text, error ] : cases )
    EXPECT_EQ( errorOf( text ), "p.json:" + error );
  // No prefix of a good text is a platform.
  for ( size_t size = 0; size + 2 < good.size(); size += 7 )
    EXPECT_EQ( errorOf( good.substr( 0, size ) ).substr( 0, 7 ), "p.json:" ) << size;
  EXPECT_THROW( loadPlatform( "/nonexistent" ), InputError );
  EXPECT_THROW( loadPlatform( "/" ), InputError );
  EXPECT_THAT( [] { loadPlatform( "huge" ); }, testing::ThrowsMessage< InputError >(
                                                   testing::HasSubstr( "small, shared, large" ) ) );
}

TEST( PlatformLoaderTest, FindsPortsByNumberOrName ) {
  PlatformData data = parsePlatform(
      "p.json", changed( { { "\"groups\"",
                             "\"portNames\": [ \"e0\", \"e-1\", \"e-2\", \"up-link\" ],"
                             "\"groups\"" } } ) );
  const auto find = [ & ]( const char * text ) {
    const auto span = portsOf( data, text );
    return span ? std::to_string( span->low ) + "-" + std::to_string( span->high ) : "none";
  };
  const std::pair< const char *, const char * > cases[] = {
      { "3", "3-3" },          { "e-1", "1-1" },     { "e0-3", "none" },  { "0-2", "0-2" },
      { "e0-up-link", "0-3" }, { "e-1-2", "1-2" },   { "e-2-1", "none" }, { "4", "none" },
      { "3-4", "none" },       { "up-link", "3-3" }, { "e-1-3", "none" }, { "E0", "none" },
      { "e-1-e-2", "1-2" },    { "", "none" },       { "1-", "none" },    { "0-e-2", "0-2" } };
  for ( const auto & [ text, ports ] : cases )
    EXPECT_EQ( find( text ), ports ) << text;
  EXPECT_EQ( portsText( data ), "tiny has the ports 0 to 3, by name e0 to up-link" );
  data.portNames.clear();
  EXPECT_EQ( find( "e0" ), "none" );
  EXPECT_EQ( portsText( data ), "tiny has the ports 0 to 3" );
}

TEST( PlatformLoaderTest, ListsBuiltInPlatforms ) {
  EXPECT_EQ( builtInPlatforms(), ( std::vector< std::string >{ "small", "shared", "large" } ) );
  for ( const std::string & name : builtInPlatforms() )
    EXPECT_EQ( loadPlatform( name ).name, name );
}

}  // namespace Platform
