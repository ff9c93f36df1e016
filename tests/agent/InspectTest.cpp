// The library's state by name: paths, values and errors.
#include "agent/command/Inspect.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "agent/command/UsageError.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class InspectTest : public testing::Test {
 protected:
  std::string show( const std::string & path, const std::vector< std::string > & sets = {},
                    bool json = false ) {
    return inspect(
        { { "groupManager", &session_.groupManager() }, { "capacity", &session_.capacity() } },
        { path, sets, json } );
  }
  std::string refusal( const std::string & path, const std::vector< std::string > & sets = {} ) {
    try {
      show( path, sets );
    } catch ( const UsageError & error ) {
      return error.what();
    }
    return "";
  }

  const Kiv::LockGuard activity_{ Kiv::ActivityUnlockAnchor::lock() };
  SwitchSession session_{ testPlatform( { .pipes = 2 } ) };
};

TEST_F( InspectTest, PathsNameEntitiesCollectionsMembersAndValues ) {
  EXPECT_EQ( show( "groupManager/numPipe" ), "2\n" );
  EXPECT_EQ( show( "groupManager/entryManager[ipAclTcamGroup]/exhausted[0]" ), "False\n" );
  EXPECT_EQ( show( "groupManager/entryManager[ipAclTcamGroup]/groupManager/maxPorts" ), "16\n" );
  EXPECT_EQ( show( "groupManager/ovidWarSm" ), "None\n" );
  EXPECT_EQ( show( "groupManager/rangeChecker" ), "rangeChecker (empty)\n" );
  session_.groupManager().groupIdToPreselIdIs( { 0, 1 }, 5 );
  EXPECT_EQ( show( "groupManager/groupIdToPreselId[Value('Morvane::MorvaneTcamGroupManager::"
                   "UnitGroupId', ** {'unit': 0, 'groupId': 1})]" ),
             "5\n" );
  session_.groupManager().sliceFreedIs( 10, true );
  session_.groupManager().sliceFreedIs( 9, false );
  EXPECT_THAT( show( "groupManager/sliceFreed" ),
               HasSubstr( "sliceFreed[9] = False\nsliceFreed[10] = True\n" ) )
      << "keys ascend as numbers";
  const std::string tree = show( "" );
  EXPECT_THAT( tree,
               StartsWith( "groupManager: Morvane::MorvaneTcamGroupManager "
                           "'tcamGroupManager'\n  name = 'tcamGroupManager'\n  numPipe = 2\n" ) );
  EXPECT_THAT( tree,
               HasSubstr( "\n  entryManager[ipAclTcamGroup]: "
                          "Morvane::MorvaneBoundedTcamEntryManager 'ipAclTcamGroup'\n"
                          "    name = 'ipAclTcamGroup'\n    assignment = ipAclTcamGroup\n" ) );
  EXPECT_THAT( tree, HasSubstr( "\ncapacity: Morvane::MorvaneTcamCapacitySm 'tcamCapacity'\n" ) );
  EXPECT_THAT( show( "groupManager/entryManager[ipAclTcamGroup]" ),
               HasSubstr( "\n  groupManager = 'tcamGroupManager'\n" ) );
}

TEST_F( InspectTest, JsonKeepsTheTypesOfValues ) {
  const auto tree = nlohmann::json::parse( show( "", {}, true ) );
  const auto & attributes = tree[ "groupManager" ][ "attributes" ];
  EXPECT_EQ( attributes[ "name" ], "tcamGroupManager" );
  EXPECT_EQ( attributes[ "numPipe" ], 2 );
  EXPECT_EQ( attributes[ "ovidWarSm" ], nullptr );
  EXPECT_EQ( attributes[ "ovidUtBitmapDir" ][ "type" ], "Morvane::MorvaneOvidUtBitmapDir" );
  EXPECT_EQ( attributes[ "modChipInfo" ][ "0" ][ "excludeTtl" ], false );
  const auto & manager = attributes[ "entryManager" ][ "ipAclTcamGroup" ];
  EXPECT_EQ( manager[ "attributes" ][ "strategy" ], "tcamAllocateOnDemand" );
  EXPECT_EQ( manager[ "attributes" ][ "groupManager" ], "tcamGroupManager" );
}

TEST_F( InspectTest, SetsAreExecutedInOrder ) {
  const std::string exhausted = "groupManager/entryManager[ipAclTcamGroup]/exhausted[3]";
  EXPECT_EQ( show( exhausted, { exhausted + "=False", exhausted + "=True" } ), "True\n" );
  EXPECT_EQ( session_.groupManager().exhaustedMarks(), 1U );
  const std::string spec =
      "Value('Morvane::UdfUnitSpec', ** {'unit': 0, 'qualId': 4, 'base': UdfBaseL2HeaderEnd, "
      "'offset': 8, 'length': 4, 'ethType': 2048, 'ipProtocol': 255, 'refCount': 1})";
  EXPECT_EQ(
      show( "groupManager/ipMirroringAclUdf[4]", { "groupManager/ipMirroringAclUdf[4]=" + spec } ),
      spec + "\n" );
}

TEST_F( InspectTest, BadPathsAndValuesAreExplained ) {
  const std::string manager = "groupManager/entryManager";
  const std::pair< std::string, std::string > paths[] = {
      { "manager", "expected groupManager or capacity at 'manager'" },
      { "groupManager/x", "Morvane::MorvaneTcamGroupManager has no attribute x" },
      { "groupManager/numPipe/x", "numPipe is no entity with attributes" },
      { "groupManager/numPipe[0]", "numPipe has no members" },
      { manager + "[acl]", "expected TcamGroupAssignment at 'acl]'" },
      { manager + "[qosTcamGroup]", "entryManager has no member qosTcamGroup" },
      { manager + "[ipAclTcamGroup", "expected ] where the text ends" },
  };
  for ( const auto & [ path, words ] : paths )
    EXPECT_EQ( refusal( path ), path + ": " + words );
  const std::pair< std::string, std::string > sets[] = {
      { "groupManager/numPipe", "expected = where the text ends" },
      { "groupManager/numPipe=two", "expected U32 at 'two'" },
      { "groupManager/numPipe=-2", "-2 is out of range for U32" },
      { "groupManager/sliceFreed=True", "the key of attribute sliceFreed takes U32, not nothing" },
      { "groupManager=1", "an entity cannot be set, only its attributes" },
      { "groupManager/ovidWarSm=None", "an entity cannot be made from text" },
      { manager + "[ipAclTcamGroup]/group=7",
        "attribute group of Morvane::MorvaneBoundedTcamEntryManager does not support write" },
  };
  for ( const auto & [ set, words ] : sets )
    EXPECT_EQ( refusal( "", { set } ), "--set " + set + ": " + words );
  EXPECT_EQ( session_.groupManager().numPipe(), 2U );
}

}  // namespace
}  // namespace Agent
