// The library's entities as generic tools see them, and the limits of its values.

#include <map>

#include "kiv/GenericIf.h"
#include "kiv/StrepParse.h"
#include "tests/morvane/UdfSwitch.h"

namespace Test::Reflection {

using Kiv::Any;
using Kiv::AttributeOp;
using Kiv::String8;

template < class E >
std::string namesOf() {
  std::string text;
  for ( U32 value = 0; value < Kiv::enumCount< E >(); ++value )
    text += std::string( text.empty() ? "" : " " ) + enumName( static_cast< E >( value ) );
  return text;
}

// Numbers that platform files and other agents know.
TEST( ReflectionTest, EnumeratorsByTheirNumbers ) {
  EXPECT_EQ( namesOf< TcamAllocationStrategy >(),
             "tcamAllocateUnbounded tcamAllocateOnDemand tcamAllocateAsChunk "
             "tcamAllocateAtBeginning" );
  EXPECT_EQ( namesOf< UdfOffsetBase >(),
             "UdfBasePacketStart UdfBaseL2HeaderStart UdfBaseL2HeaderEnd UdfBaseL3HeaderStart "
             "UdfBaseL3HeaderEnd" );
  EXPECT_EQ( namesOf< GroupUdfCreateStatus >(),
             "udfCreateFailure udfCreateSuccessNoGroupRecreate udfCreateSuccessWithGroupRecreate "
             "udfCreateFailureWithUdfResourceExhaustion udfCreateFailureWithGroupRecreateFailure "
             "udfUnsupportedFailure" );
  EXPECT_EQ( namesOf< TcamGroupAssignment >(),
             "stormControlTcamGroup routingTcamGroup macAclTcamGroup ipAclTcamGroup "
             "vxlanL3RoutingControlTcamGroup aclManagementTcamGroup unknownL2McastFloodTcamGroup "
             "l2ControlPrioTcamGroup l3ControlPrioTcamGroup l4MicroBfdTcamGroup "
             "ipmcRoutingTcamGroup mlagTcamGroup macAclVfpTcamGroup ipAclVfpTcamGroup "
             "ipAclVniTcamGroup aclVfpManagementTcamGroup qosTcamGroup "
             "macPhyConcLinerateGenTcamGroup routerAclTcamGroup ipCoppTcamGroup ip6AclTcamGroup "
             "ip6AclVniTcamGroup ip6RouterAclTcamGroup ip6AclVfpTcamGroup ip6StdAclTcamGroup "
             "ip6StdAclVfpTcamGroup macAclEgressTcamGroup ipAclEgressTcamGroup "
             "routerAclEgressTcamGroup policyCoppIpTcamGroup policyQosIpTcamGroup "
             "policyQosIp6TcamGroup policyCoppIp6TcamGroup pdpReservedTcamGroup pdpTcamGroup "
             "ucastTcamGroup stormControlManagementTcamGroup ip6AclEgressTcamGroup "
             "ip6StdAclPortEgressTcamGroup ip6StdAclRouterEgressTcamGroup "
             "ip6RouterAclEgressTcamGroup urpfTcamGroup ipDhcpSnoopingTcamGroup "
             "mlagControlTrafficTcamGroup fabricTcamGroup vxlanControlTcamGroup ipPbrTcamGroup "
             "ip6PbrTcamGroup blockHiGigLearnVfpTcamGroup arpInspectionTcamGroup "
             "dot1xMabTcamGroup plqTcamGroup loopProtectTcamGroup vxlanEfpTcamGroup "
             "vxlanEfpIvidRewriteTcamGroup ipSourceGuardTcamGroup fabricFlowControlTcamGroup "
             "vxlanVfpControlTcamGroup vxlanVfpVfiControlTcamGroup policyQosSviIpTcamGroup "
             "policyQosSviIp6TcamGroup mirroringAclTcamGroup1 mirroringAclTcamGroup2 "
             "mirroringAclTcamGroup3 mirroringAclTcamGroup4 openFlowUdfTcamGroup "
             "openFlowVxlanUdfTcamGroup openFlowVfpTcamGroup openFlowManagementTcamGroup "
             "openFlowManagement2TcamGroup openFlowL2OnlyGroupDefaultTcamGroup "
             "openFlowL2OnlyGroupLowTcamGroup openFlowFullMatchGroupDefaultTcamGroup "
             "openFlowFullMatchGroupLowTcamGroup openFlowIP6ProtoOnlyGroupDefaultTcamGroup "
             "openFlowIP6ProtoOnlyGroupLowTcamGroup openFlowExceptionFlowTcamGroup "
             "tolvaFlowVfpTcamGroup tolvaFlowL2OnlyGroupDefaultTcamGroup "
             "tolvaFlowL2OnlyGroupLowTcamGroup tolvaFlowFullMatchGroupDefaultTcamGroup "
             "tolvaFlowFullMatchGroupLowTcamGroup tolvaFlowIP6VlanOnlyGroupDefaultTcamGroup "
             "tolvaFlowIP6VlanOnlyGroupLowTcamGroup tolvaFlowIP6ProtoOnlyGroupDefaultTcamGroup "
             "tolvaFlowIP6ProtoOnlyGroupLowTcamGroup vfpVxlanVpTcamGroup vfpVxlanSipHitGroup "
             "vfpVfiExceptionTcamGroup vfiUnknownMcastRedirectGroup ttlCheckTcamGroup "
             "pfcWatchdogTcamGroup efpCoppTcamGroup efpDefaultCoppTcamGroup "
             "efpMirrorGreRateLimitTcamGroup efpMirrorPortRateLimitTcamGroup vfpPdpClassTcamGroup "
             "vfpVfiPdpL2CtrlTcamGroup ifpVlanPriTcamGroup efpVlanPriTcamGroup fabricVfpTcamGroup "
             "vfpPortVPTcamGroup vxlanTransitPortVPTcamGroup vfpTrunkNativeVPTcamGroup "
             "tolvaFlowFabricTcamGroup test1TcamGroup test2TcamGroup test3TcamGroup "
             "test4TcamGroup test5TcamGroup test6TcamGroup test7TcamGroup test8TcamGroup" );
  EXPECT_TRUE( stormControlTcamGroup == 0 && test8TcamGroup == 112 );
  EXPECT_TRUE( Acl::ip() == 0 && Acl::ip6() == 1 && Acl::mac() == 2 );
}

TEST( ReflectionTest, UserDefinedFieldOutsideItsLimitsIsRefused ) {
  const auto refusal = []( const char * offset, const char * length ) -> std::string {
    std::string text = Kiv::valueToStrep( UdfUnitSpec() ).charPtr();
    const std::string both = "'offset': 0, 'length': 0";
    text.replace( text.find( both ), both.size(),
                  fmt::format( "'offset': {}, 'length': {}", offset, length ) );
    try {
      Kiv::genericIfFromStrRep< UdfUnitSpec >( text );
    } catch ( const Kiv::RangeException & exception ) {
      return exception.what();
    }
    return "";
  };
  EXPECT_EQ( refusal( "0", "1" ) + refusal( "127", "16" ), "" );
  for ( const char * beyond : { "-1", "128", "256", "18446744073709551616" } )
    EXPECT_EQ( refusal( beyond, "1" ), "UdfUnitSpec::offset < 0 or > 127 not allowed" );
  for ( const char * beyond : { "-1", "0", "17", "257" } )
    EXPECT_EQ( refusal( "0", beyond ), "UdfUnitSpec::length < 1 or > 16 not allowed" );
}

// Reads every attribute of the entity and its members; returns the number of values. Notes the
// types and the names of their attributes.
U32 readEverything( const Kiv::Ptr< Kiv::Entity > & entity,
                    std::map< std::string, std::string > & types ) {
  const Kiv::GenericIf generic( entity );
  U32 values = 0;
  std::string & names = types[ generic.typeName() ];
  names.clear();
  const auto see = [ & ]( const Kiv::AttributeBase & attribute, const Any & key ) {
    const Any value = attribute.read( key );
    ++values;
    EXPECT_TRUE( key.empty() ||
                 attribute.keyType()->fromStrRep( key.strep().view() ).strep() == key.strep() );
    if ( attribute.kind() == Kiv::AttributeKind::members )
      values += readEverything( value.as< Kiv::Ptr< Kiv::Entity > >(), types );
    else
      EXPECT_TRUE( value.type().kind() == Kiv::AnyKind::entity ||
                   value.type().fromStrRep( value.strep().view() ).strep() == value.strep() );
  };
  for ( auto i = generic.genericIfAttributeIterator(); i; i.iterInc() ) {
    names += std::string( i.attribute().name() ) + " ";
    if ( i.attribute().keyType() == nullptr )
      see( i.attribute(), {} );
    else
      for ( Kiv::GenericIfKeyIterator k( i.attribute() ); k; k.iterInc() )
        see( i.attribute(), k.key() );
  }
  return values;
}

class GenericSwitchTest : public testing::Test {
 protected:
  GenericSwitchTest() { sw_.platform.acl( 3, 10 ); }

  Kiv::GenericIf groups() { return Kiv::GenericIf( Kiv::Ptr< Kiv::Entity >( sw_.groups ) ); }
  Kiv::GenericIf manager() {
    return Kiv::GenericIf( Kiv::Ptr< Kiv::Entity >( &sw_.bounded( ipAclTcamGroup ) ) );
  }
  Any call( const char * operation, const std::vector< Any > & arguments ) {
    return manager().genericIfOperation( operation, arguments );
  }

  TestSwitch sw_{ { .pipes = 2, .secondCopy = true } };
};

TEST_F( GenericSwitchTest, WritesUseTheManagersSetters ) {
  sw_.construct();
  groups().genericIfAttributeOp( "initialized", AttributeOp::write, {}, Any( true ) );
  ASSERT_TRUE( sw_.groups->entryManager( ipAclTcamGroup ) ) << "start-up did not run";
  manager().genericIfAttributeOp( "exhausted", AttributeOp::write, Any( U32( 0 ) ), Any( true ) );
  EXPECT_EQ( sw_.groups->exhaustedMarks(), 1U );
  manager().genericIfAttributeOp( "exhausted", AttributeOp::del, Any( U32( 0 ) ) );
  EXPECT_EQ( sw_.groups->exhaustedMarks(), 0U );
  for ( const char * managers : { "entryManager", "unboundedEntryManager" } )
    EXPECT_THAT(
        [ & ] {
          groups().genericIfAttributeOp( managers, AttributeOp::insert, Any( qosTcamGroup ) );
        },
        testing::ThrowsMessage< Kiv::NoImplementationException >(
            "an entry manager is made with its parameters" ) );
  const U32 epoch = sw_.groups->shapeEpoch();
  groups().genericIfAttributeOp( "numPipe", AttributeOp::write, {}, Any( U32( 1 ) ) );
  EXPECT_NE( sw_.groups->shapeEpoch(), epoch );
}

TEST_F( GenericSwitchTest, FeaturesWorkThroughPublishedFunctions ) {
  sw_.start();
  const Any unit( U32( 0 ) );
  const RangeCheckerDesc desc( 1024, 65535, BCM_FIELD_RANGE_SRCPORT );
  EXPECT_NE( call( "getRangeChecker", { unit, Any( desc ) } ).as< U32 >(), 0U );
  const U32 entry =
      call( "getEntry", { unit, Any( U32( 0x30002 ) ), Any( String8( "rule" ) ) } ).as< U32 >();
  EXPECT_EQ( entry, 0x30002U );
  EXPECT_THROW( call( "getEntry", { unit } ), Kiv::TypeException );
  sw_.groups->groupIdToMirroringAclUdfIs( 3 );
  sw_.groups->unboundedEntryManagerIs( qosTcamGroup, "qos", sw_.groups.rawPtr_, 3, 0, 0,
                                       tcamAllocateUnbounded );
  sw_.groups->unitCleanupIs( 0 );
  sw_.bounded( ipAclTcamGroup ).unitEntries( 0 )->tcamEntryBcmPbmpIs( entry );
  sw_.bounded( ipAclTcamGroup ).unitEntries( 0 )->outportsBcmPbmpIs( entry );
  std::map< std::string, std::string > types;
  EXPECT_GT( readEverything( sw_.groups, types ), 60U );
  const char * manager =
      "name assignment desc groupManager group baseEntry endEntry strategy exhausted "
      "internalUnitEntry maxPrio invalidPrio allocateStatsPerEntry maxUdfLength initialized ";
  EXPECT_EQ( types[ "Morvane::MorvaneBoundedTcamEntryManager" ], manager );
  EXPECT_EQ( types[ "Morvane::MorvaneUnboundedTcamEntryManager" ], manager );
  EXPECT_THAT( types[ "Morvane::UnitEntriesCreated" ],
               testing::StartsWith( "name entryCreated entryStats groupId tcamEntryBcmPbmp "
                                    "loopbackPortRedirectAction outportsBcmPbmp statTypes " ) );
  EXPECT_STREQ( sw_.bounded( ipAclTcamGroup ).MorvaneTcamEntryManager::fwkType(),
                "Morvane::MorvaneTcamEntryManager" );
  EXPECT_EQ( types[ "Morvane::RangeCheckerData" ], "name desc unitId unitRefCount " );
  EXPECT_THAT( types[ "Morvane::MorvaneTcamGroupManager" ],
               HasSubstr( " ovidUtBitmapDir singleView initialized " ) );
  for ( const char * type : { "GroupCounts", "GroupUdfQual", "OutportsTcamBcmPbmp",
                              "TcamEntryBcmPbmp", "UnitCleanup" } )
    EXPECT_TRUE( types.contains( std::string( "Morvane::" ) + type ) ) << type;
  EXPECT_EQ( sw_.audit(), "" );
  EXPECT_TRUE( call( "releaseRangeChecker", { unit, Any( desc ) } ).empty() );
  EXPECT_EQ( sw_.groups->rangeCheckerSize(), 0U );
}

TEST( ReflectionTest, EveryPublishedOperationByItsName ) {
  UdfSwitch sw( {}, Acl::ip() );
  std::string names;
  for ( const U32 group : { 1U, 2U } ) {
    const Kiv::OperationTable & own = sw.manager( sw.user( group ) ).operationTable();
    for ( const auto * table = &own; table != nullptr; table = table->base )
      for ( const Kiv::Operation & operation : table->own )
        names += fmt::format( "{}/{} ", operation.name, operation.parameters );
  }
  const std::string base =
      "getRangeChecker/2 releaseRangeChecker/2 rangeCheckersExhausted/1 setMirroringAclUdf/7 "
      "verifyMirroringAclUdf/6 ";
  EXPECT_EQ( names,
             "getEntry/3 getEntryWithStats/4 " + base + "getEntry/2 getEntryWithStats/3 " + base );
  const auto call = [ & ]( U32 group, const char * operation, const std::vector< Any > & given ) {
    return Kiv::GenericIf( Kiv::Ptr< Kiv::Entity >( &sw.manager( sw.user( group ) ) ) )
        .genericIfOperation( operation, given );
  };
  const Any unit( U32( 0 ) ), rule( String8( "rule" ) );
  const Any types{ Kiv::Ptr< Kiv::Entity >( defaultStatTypes() ) };
  const auto type = [ & ]( int at ) { return defaultStatTypes()->type( at ); };
  EXPECT_TRUE( type( 0 ) == bcmFieldStatPackets && type( 1 ) == bcmFieldStatBytes );
  const U32 first = call( 2, "getEntry", { unit, rule } ).as< U32 >();
  const U32 second = call( 2, "getEntryWithStats", { unit, rule, types } ).as< U32 >();
  EXPECT_TRUE( first != 0 && second != 0 && first != second );
  EXPECT_EQ(
      call( 1, "getEntryWithStats", { unit, Any( U32( 0x10001 ) ), rule, types } ).as< U32 >(),
      0x10001U );
  std::vector< Any > field = { unit,           Any( S32( 0 ) ),
                               Any( anyType ), Any( UdfBaseL3HeaderEnd ),
                               Any( U8( 4 ) ), Any( U8( 4 ) ) };
  EXPECT_TRUE( call( 1, "verifyMirroringAclUdf", field ).empty() );
  field.push_back( Any( true ) );
  EXPECT_EQ( call( 1, "setMirroringAclUdf", field ).as< GroupUdfQualApplyStatus >(),
             GroupUdfQualApplyStatus( 1, udfCreateSuccessNoGroupRecreate ) );
  EXPECT_EQ( sw.udfs(), "0.1x1 1:1" );
  field.pop_back();
  sw.faults.arm( { .op = SdkOp::bcm_field_data_qualifier_get, .rc = -7 } );
  EXPECT_THAT( deathOf( [ & ] { call( 1, "verifyMirroringAclUdf", field ); } ),
               HasSubstr( "err == BCM_E_NONE" ) );
  sw.groups->rangeCheckersExhaustedIs( 0, true );
  EXPECT_TRUE( call( 2, "rangeCheckersExhausted", { unit } ).as< bool >() );
  EXPECT_THROW( call( 1, "installEntry", { unit, Any( first ) } ), Kiv::NoImplementationException );
}

}  // namespace Test::Reflection
