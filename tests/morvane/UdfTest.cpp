// User-defined fields of mirroring groups and qualifiers of flow-programming groups: sharing,
// reference counts, how groups start to match on them, and when they are destroyed.

#include <algorithm>

#include "morvane/LogMessages.h"
#include "morvane/MorvaneTcamManager/Udf/Qualifiers.h"
#include "tests/morvane/UdfSwitch.h"

namespace Test::Udf {

constexpr Field near{ UdfBaseL3HeaderStart, 20 }, far{ UdfBaseL3HeaderEnd, 0 },
    frame{ UdfBaseL2HeaderEnd, 4, 0x0800 }, otherFrame{ UdfBaseL2HeaderEnd, 4, 0x86DD };

struct Step {
  bool add;
  Field field;
  U32 group, unit;
  std::string after;
};

void play( UdfSwitch & sw, const std::vector< Step > & steps ) {
  for ( const Step & step : steps ) {
    const auto result = sw.set( step.field, step.add, step.group, step.unit );
    const std::string where = fmt::format( "step {}", &step - steps.data() );
    EXPECT_EQ( sw.udfs(), step.after ) << where;
    EXPECT_EQ( result.udfCreateStatus == udfCreateFailure, result.qualId == -1 ) << where;
    EXPECT_EQ( sw.audit(), "" ) << where;
  }
}

TEST( UdfSharingTest, UsesAreCountedPerGroupAndUnit ) {
  Field typed = near;
  typed.ethType = 0x0800;  // makes no difference to IPv4 rules
  UdfSwitch ip( { .pipes = 2, .secondCopy = true, .units = 2 }, Acl::ip() );
  for ( const U32 unit : { 0U, 1U } )
    ASSERT_TRUE( ip.manager( ip.user( 1 ) ).initializeGroup( unit ) &&
                 ip.manager( ip.user( 2 ) ).initializeGroup( unit ) );
  play( ip, { { false, near, 1, 0, "" },
              { true, near, 1, 0, "0.1x1 1:1" },
              { true, typed, 1, 0, "0.1x2 1:2" },
              { false, near, 2, 0, "0.1x2 1:2" },
              { true, near, 2, 0, "0.1x3 1:2 2:1" },
              { true, far, 2, 0, "0.1x3 1:2 2:1, 0.2x1 2:1" },
              { true, near, 1, 1, "0.1x3 1:2 2:1, 0.2x1 2:1, 1.1x1 1:1" },
              { false, near, 2, 0, "0.1x2 1:2, 0.2x1 2:1, 1.1x1 1:1" },
              { false, near, 1, 0, "0.1x1 1:1, 0.2x1 2:1, 1.1x1 1:1" },
              { false, near, 1, 0, "0.2x1 2:1, 1.1x1 1:1" },
              { false, near, 1, 1, "0.2x1 2:1" },
              { true, near, 1, 1, "0.2x1 2:1, 1.1x1 1:1" } } );
  // A group's teardown destroys only the qualifiers of its unit.
  ip.groups->uninitializeGroup( 0, 2 );
  EXPECT_EQ( ip.udfs(), "1.1x1 1:1" );
  EXPECT_EQ( ip.manager( ip.user( 1 ) )
                 .getMirroringAclUdf( 0, Acl::ip(), anyType, near.base, near.offset, 4 ),
             -1 );
}

TEST( UdfProgrammingTest, RetryRequestsALargeSlice ) {
  for ( const bool presels : { false, true } )
    for ( const int rc : { 0, -14, -11 } ) {
      UdfSwitch sw( { .presels = presels, .largeSlices = 4 }, Acl::ip() );
      const auto refuseOnce = [ & ] {
        if ( rc != 0 )
          sw.faults.arm( { .op = SdkOp::bcm_field_group_config_create, .rc = rc } );
      };
      ASSERT_TRUE( sw.groups->initializeGroup( 0, 1 ) );
      refuseOnce();
      sw.groups->initializeGroup( 0, 4 );
      const S32 field = sw.set( near ).qualId;
      refuseOnce();
      sw.groups->reInitializeGroupWithMirroringAclUdf( 0, 1, field );
      for ( const U32 group : { 1U, 4U } )
        EXPECT_EQ( sw.asic.group( 0, group )->flags & 8, rc == 0 ? 0U : 8U ) << group << " " << rc;
    }
}

TEST( LogMessagesTest, PlatformFiltersAndWordsMessages ) {
  const Kiv::LogHandle * const handles[] = { &MORVANE_CONFIG_CHANGE,
                                             &MORVANE_UNEXPECTED_RESTART,
                                             &TcamCapacity::MORVANE_CONFIG_CHANGE,
                                             &TcamCapacity::MORVANE_UNEXPECTED_RESTART,
                                             &MORVANE_UDF_HW_RESOURCE_FULL,
                                             &MORVANE_UDF_HW_RESOURCE_NORMAL };
  const std::string change =
      "MORVANE_CONFIG_CHANGE 6 0 1\n"
      "Configuration change requires the Morvane agent %s to restart\n"
      "Configuration change requires the switch ASIC to be reconfigured, requiring the Morvane "
      "agent to restart.\n"
      "rest\n";
  const std::string restart =
      "MORVANE_UNEXPECTED_RESTART 3 0 1\n"
      "Unexpected restart of Morvane agent %s occurred\n"
      "Unexpected restart of the Morvane agent occurred.\n"
      "call\n";
  const std::string full =
      "MORVANE_UDF_HW_RESOURCE_FULL 3 0 1\n"
      "Hardware resources insufficient to program UDF\n"
      "The switch is unable to program UDF due to insufficient hardware resources. \n"
      "Reconfigure other ACLs or features that use UDF to free up UDF hardware resources.\n";
  const std::string normal =
      "MORVANE_UDF_HW_RESOURCE_NORMAL 3 0 1\n"
      "All UDFs are programmed in hardware\n"
      "The switch was able to program all the UDFs in the hardware.\n"
      "rest\n";
  MORVANE_UDF_HW_RESOURCE_FULL.raise();  // nobody listens
  EXPECT_STREQ( MORVANE_CONFIG_CHANGE.recommendedAction(), "" );
  LoggedMessages messages;
  std::string texts;
  for ( const Kiv::LogHandle * handle : handles ) {
    texts += fmt::format( "{} {} {} {}\n{}\n{}\n{}\n", handle->mnemonic(), handle->severity(),
                          handle->parameter( 0 ), handle->parameter( 1 ), handle->format(),
                          handle->explanation(), handle->recommendedAction() );
    if ( handle->severity() == 6 || handle == handles[ 4 ] )  // the former is filtered
      handle->raise();
  }
  EXPECT_EQ( texts, change + restart + change + restart + full + normal );
  EXPECT_EQ( messages.text, "FULL " );
}

TEST( UdfWidthTest, WhatCountsAndWhere ) {
  UdfSwitch sw( { .units = 2 }, Acl::ip() );
  const auto spec = []( U32 unit, U8 length, U32 ethType ) {
    UdfUnitSpec made;
    made.unit = unit, made.length = length, made.ethType = ethType;
    return made;
  };
  sw.groups->ipMirroringAclUdfIs( 1, spec( 0, 4, anyType ) );
  sw.groups->ipMirroringAclUdfIs( 2, spec( 1, 8, 0x0800 ) );
  sw.groups->macMirroringAclUdfIs( 3, spec( 0, 4, 0x0800 ) );
  sw.groups->macMirroringAclUdfIs( 4, spec( 0, 8, 0x86DD ) );
  sw.groups->macMirroringAclUdfIs( 5, spec( 1, 16, 0x0800 ) );
  sw.groups->macMirroringAclUdfIs( 6, spec( 0, 1, 0x0800 ) );
  const struct {
    S32 type;
    U32 unit, ethType, width;
  } rows[] = { { 0, 0, anyType, 12 }, { 0, 1, 0x0800, 12 }, { 2, 0, 0x0800, 5 },
               { 2, 0, 0x86DD, 8 },   { 2, 1, 0x0800, 16 }, { 2, 1, 0x86DD, 0 } };
  for ( const auto & row : rows )
    for ( const U8 length : { 4, 8 } ) {
      const U8 sum = static_cast< U8 >( row.width + length );
      const auto exceeds = [ & ]( U8 most ) {
        return groupUdfWidthExceeded( row.unit, sw.groups.rawPtr_, row.type, row.ethType, length,
                                      most );
      };
      EXPECT_TRUE( !exceeds( sum ) && exceeds( sum - 1 ) ) << "row " << &row - rows;
    }
  EXPECT_THAT(
      deathOf( [ & ] { groupUdfWidthExceeded( 0, sw.groups.rawPtr_, 1, anyType, 4, 32 ); } ),
      HasSubstr( "Assertion `aclType == Acl::mac()' failed." ) );
  sw.groups->ipMirroringAclUdfDelAll();
  sw.groups->macMirroringAclUdfDelAll();
}

// Adds fields to group 1 of the last unit until one cannot be added in place.
TEST( UdfProgrammingTest, EveryOutcomeLeavesMatchingRecords ) {
  const Chip pairs{ .slices = 2, .paired = true }, lone{ .slices = 1 };
  const Chip fixed{ .presels = true, .fixedKeys = true };
  struct Row {
    const char * name;
    Chip chip;
    U32 inPlace;  // fields added in place
    GroupUdfCreateStatus status;
    U32 slackBits = 0;  // key bits beyond the plain group's; 0: the chip's width
    bool otherGroup = false;
  };
  const Row rows[] = {
      { "width", {}, 8, udfCreateFailureWithUdfResourceExhaustion },
      { "chunks", { .dataChunks = 2 }, 2, udfCreateFailureWithUdfResourceExhaustion },
      { "formats", { .dataFormats = 1 }, 1, udfCreateFailureWithUdfResourceExhaustion },
      { "wider slices", pairs, 1, udfCreateSuccessWithGroupRecreate, 40 },
      { "fixed keys", fixed, 0, udfCreateSuccessWithGroupRecreate },
      { "no pair", pairs, 1, udfCreateFailureWithGroupRecreateFailure, 40, true },
      { "no slice so wide", lone, 1, udfCreateFailureWithGroupRecreateFailure, 40 },
  };
  for ( const Row & row : rows )
    for ( const S32 type : { Acl::ip(), Acl::mac() } )
      for ( const U32 units : { 1U, 2U } ) {
        const std::string where = fmt::format( "{} type {} units {}", row.name, type, units );
        Chip chip = row.chip;
        chip.units = units;
        if ( row.slackBits != 0 )
          chip.keyBits = UdfSwitch::plainKeyBits( chip, type ) + row.slackBits;
        UdfSwitch sw( chip, type );
        const U32 unit = units - 1;
        MorvaneTcamEntryManager & user = sw.manager( sw.user( 1 ) );
        const U32 entry = sw.take( sw.user( 1 ), 1, unit );
        user.installEntry( unit, entry );
        if ( row.otherGroup )
          sw.take( qosTcamGroup, 0, unit );

        GroupUdfQualApplyStatus result( 0, udfCreateSuccessNoGroupRecreate );
        U32 added = 0;
        for ( ; result.udfCreateStatus == udfCreateSuccessNoGroupRecreate; ++added ) {
          const U8 place = static_cast< U8 >( 8 + 4 * added );
          result = sw.set( { UdfBaseL2HeaderEnd, place, 0x0800 }, true, 1, unit );
          EXPECT_EQ( sw.audit(), "" ) << where;
        }
        EXPECT_EQ( added - 1, row.inPlace ) << where;
        EXPECT_EQ( result.udfCreateStatus, row.status ) << where;
        const bool rebuilt = row.status == udfCreateSuccessWithGroupRecreate;
        const bool gone = row.status == udfCreateFailureWithGroupRecreateFailure;
        EXPECT_EQ( result.qualId == -1, !rebuilt ) << where;
        EXPECT_EQ( sw.records( user, unit ).entryInstalledHas( entry ), !rebuilt && !gone )
            << where;
        EXPECT_EQ( sw.groups->groupExists( unit, 1 ), !gone ) << where;
        EXPECT_EQ( sw.udfs().find( rebuilt ? "x1" : "x0" ), std::string::npos ) << where;
        const bool full = chip.dataChunks < 16 || chip.dataFormats < 16;
        EXPECT_EQ( sw.messages.text, full ? "FULL " : "" ) << where;
        EXPECT_EQ( sw.groups->udfResourceError( static_cast< U8 >( unit ) ), full ) << where;
        if ( !full )
          continue;
        // The next field that fits clears the error.
        sw.set( { UdfBaseL2HeaderEnd, 8, 0x0800 }, false, 1, unit );
        sw.set( { UdfBaseL2HeaderEnd, 100, 0x0800 }, true, 1, unit );
        EXPECT_EQ( sw.messages.text, "FULL NORMAL " ) << where;
      }
}

// A positive code is no error, and no success.
TEST( UdfProgrammingTest, CodeThatTheLibraryDoesNotKnowAddsNothing ) {
  UdfSwitch sw( {}, Acl::mac() );
  ASSERT_TRUE( sw.manager( sw.user( 1 ) ).initializeGroup( 0 ) );
  const std::string before = sw.state();
  sw.faults.arm( { .op = SdkOp::bcm_field_group_set, .rc = 1 } );
  EXPECT_EQ( sw.set( near ), GroupUdfQualApplyStatus( -1, udfCreateFailure ) );
  EXPECT_EQ( sw.state(), before );
}

TEST( UdfProgrammingTest, CopyThatIsCreatedAgainCarriesTheFields ) {
  UdfSwitch sw( { .pipes = 2 }, Acl::mac() );
  ASSERT_TRUE( sw.manager( sw.user( 1 ) ).initializeGroup( 0 ) );
  sw.set( near );
  sw.groups->uninitializeTcamGroup( 0, sw.groups->getPipeGroupId( 0, 1, 0, 1 ), false );
  EXPECT_TRUE( sw.groups->initializeGroup( 0, 1 ) );
  EXPECT_EQ( sw.audit(), "" );
}

// A group has to be rebuilt for a field that it shares: the uses of other groups stay.
TEST( UdfProgrammingTest, RebuildForASharedFieldKeepsOtherUses ) {
  UdfSwitch sw( { .presels = true, .fixedKeys = true }, Acl::mac() );
  sw.manager( sw.user( 2 ) ).initializeGroup( 0 );
  const U32 entry = sw.take( sw.user( 1 ) );
  ASSERT_NE( entry, 0U );
  play( sw, { { true, frame, 1, 0, "0.1x0 1:0" },
              { true, frame, 1, 0, "0.1x1 1:1" },
              { true, frame, 2, 0, "0.1x1 1:1 2:0" },
              { true, otherFrame, 2, 0, "0.1x1 1:1 2:0, 0.2x0 2:0" },
              { true, frame, 2, 0, "0.1x2 1:1 2:1, 0.2x0 2:0" },
              { true, otherFrame, 1, 0, "0.1x1 1:0 2:1, 0.2x0 1:0 2:0" },
              { false, frame, 2, 0, "0.1x0 1:0, 0.2x0 1:0 2:0" },
              { false, frame, 1, 0, "0.2x0 1:0 2:0" },
              { true, otherFrame, 2, 0, "0.2x1 1:0 2:1" } } );
  // The rebuilt group keeps the ACL type that the agent set.
  EXPECT_TRUE( sw.asic.group( 0, 1 )->qset.has( bcmFieldQualifySrcMac ) );
  EXPECT_NE( sw.take( sw.user( 1 ) ), 0U );
  sw.manager( sw.user( 1 ) ).releaseEntry( 0, entry );
  EXPECT_EQ( sw.udfs() + sw.audit(), "0.2x1 2:1" );
}

TEST( UdfProgrammingTest, VerificationReadsTheAsic ) {
  UdfSwitch sw( {}, Acl::ip() );
  ASSERT_TRUE( sw.manager( sw.user( 1 ) ).initializeGroup( 0 ) );
  sw.set( near );
  const auto verify = [ &, &user = sw.manager( sw.user( 1 ) ) ]( const Field & field ) {
    user.verifyMirroringAclUdf( 0, Acl::ip(), anyType, field.base, field.offset, 4 );
  };
  EXPECT_THAT(
      callTexts( [ & ] {
        verify( near );
        verify( far );  // not added
      } ),
      ElementsAre( "bcm_field_data_qualifier_get( unit, currentQualId, &udfQual) (rv:0)" ) );
  sw.faults.arm( { .op = SdkOp::bcm_field_data_qualifier_get, .rc = -7 } );
  EXPECT_THAT( deathOf( [ & ] { verify( near ); } ), HasSubstr( "err == BCM_E_NONE" ) );
  for ( const bool adds : { true, false } )
    EXPECT_THAT( deathOf( [ & ] { sw.set( near, adds ); } ),
                 HasSubstr( "udfQual.qual_id() == currentQualId" ) );
}

TEST( UdfProgrammingTest, InvalidUseIsRefused ) {
  UdfSwitch sw( { .pipes = 2 }, Acl::ip() );
  ASSERT_TRUE( sw.manager( sw.user( 1 ) ).initializeGroup( 0 ) );
  const std::string before = sw.state();
  for ( const U8 tooFar : { 108, 250 } )
    EXPECT_THROW( sw.set( { UdfBaseL3HeaderEnd, tooFar } ), Kiv::RangeException );
  EXPECT_EQ( sw.state() + sw.udfs(), before );
  EXPECT_EQ( sw.set( { UdfBaseL3HeaderEnd, 107 } ).qualId, 1 );
  apiMorvane.levelIs( traceFailure, true );  // to standard error
  for ( const UdfOffsetBase base : { UdfBasePacketStart, UdfBaseL2HeaderStart } ) {
    const std::string words = fmt::format( "UDF base {} not supported \n", enumName( base ) );
    EXPECT_THAT( deathOf( [ & ] { sw.set( { base, 4 } ); } ), HasSubstr( words ) );
    EXPECT_THAT( deathOf( [ & ] { destroyUdfQualifier( 0, anyType, base, 1 ); } ),
                 HasSubstr( words ) );
  }
  EXPECT_THAT( deathOf( [ & ] {
                 sw.groups->createGroupMirroringAclUdf( 0, 1, 1, anyType, near.base, 4, 4 );
               } ),
               HasSubstr( "Unsupported acl type: 1 group: 1\n" ) );
  EXPECT_THAT( deathOf( [ & ] {
                 sw.groups->groupIdToMirroringAclUdf( 1 )->newUdfQualId( 0, 2 );
                 sw.set( near );
               } ),
               HasSubstr( "Udf qual 2 already exists for group: 1\n" ) );
  EXPECT_THAT( deathOf( [ & ] {
                 sw.groups->groupIdToMirroringAclUdf( 1 )->newUdfQualId( 0, 9 );
                 sw.groups->uninitializeGroup( 0, 1 );
               } ),
               HasSubstr( " Only IPv4 and MAC acls supported \n" ) );
  apiMorvane.levelIs( traceFailure, false );
  EXPECT_THAT( deathOf( [ & ] {
                 UdfUnitSpec worn = sw.groups->ipMirroringAclUdf( 1 );
                 worn.refCount = 65535;
                 sw.groups->ipMirroringAclUdfIs( 1, worn );
                 sw.set( { UdfBaseL3HeaderEnd, 107 } );
               } ),
               HasSubstr( "refCount >= 0 && refCount <=" ) );
  EXPECT_THAT( deathOf( [ & ] { sw.groups->createGroupOpenFlowAclUdf( 0, 3 ); } ),
               HasSubstr( "plain_ || manager.groupOpenFlowVxlanAclUdfValid( key )" ) );
  MorvaneTcamEntryManager & user = sw.manager( sw.user( 1 ) );
  EXPECT_THAT( deathOf( [ & ] { user.verifyMirroringAclUdf( 0, 1, anyType, near.base, 4, 4 ); } ),
               HasSubstr( "aclType == Acl::ip() || aclType == Acl::mac()" ) );
  EXPECT_THAT(
      deathOf( [ & ] { user.setMirroringAclUdf( 0, 1, anyType, near.base, 4, 4, true ); } ),
      HasSubstr( "aclType == Acl::ip() || aclType == Acl::mac()" ) );
  EXPECT_THAT(
      deathOf( [ & ] { user.setMirroringAclUdf( 0, 0, anyType, near.base, 4, 8, true ); } ),
      HasSubstr( "length == 4" ) );
  MorvaneTcamEntryManager & plain = sw.manager( qosTcamGroup );
  EXPECT_THAT(
      deathOf( [ & ] { plain.setMirroringAclUdf( 0, 0, 0, UdfBaseL3HeaderEnd, 107, 4, true ); } ),
      HasSubstr( "groupMirroringAclUdfValid" ) );
}

TEST( UdfProgrammingTest, QualifiersApplyToThePacketsOfTheirBase ) {
  const U16 any = 0xFFFF;
  const bcm_field_data_packet_format_s ipv4 = { 0, any, any, 2, 0, any, 0 };
  const bcm_field_data_packet_format_s ethernet = { 0, 1, any, any, 0, any, 0 };
  const struct {
    UdfOffsetBase base;
    U32 ethType;
    std::vector< bcm_field_data_packet_format_s > formats;
    std::vector< bcm_field_data_ethertype_s > types;
  } rows[] = { { UdfBaseL3HeaderStart, 0x0800, { ipv4 }, {} },
               { UdfBaseL3HeaderEnd, anyType, { ipv4 }, {} },
               { UdfBaseL2HeaderEnd, anyType, { ethernet }, {} },
               { UdfBaseL2HeaderEnd, 0x86DD, {}, { { 0, 0x86DD, any, any, 0 } } } };
  UdfSwitch sw( {}, Acl::mac() );
  for ( const auto & row : rows ) {
    EXPECT_EQ( createUdfQualifier( 0, row.ethType, row.base, 9, 4, nullptr ),
               GroupUdfQualApplyStatus( 1, udfCreateFailure ) );
    const auto made = sw.asic.dataQualifiers( 0 ).front();
    EXPECT_EQ( made.formats, row.formats ) << &row - rows;
    EXPECT_EQ( made.etherTypes, row.types ) << &row - rows;
    EXPECT_TRUE( made.record.offset_base == 1 && made.record.offset == 9 &&
                 made.record.length == 4 );
    destroyUdfQualifier( 0, row.ethType, row.base, 1 );
    EXPECT_TRUE( sw.asic.dataQualifiers( 0 ).empty() );
  }
  sw.groups->initializeGroup( 0, 4 );
  EXPECT_THAT( sw.asic.dataQualifiers( 0 ).front().formats, ElementsAre( ipv4 ) );
}

// --- Flow-programming groups -----------------------------------------------------------------

TEST( FlowProgrammingTest, QualifiersAreFreedWithTheirGroup ) {
  const struct {
    TcamGroupAssignment user;
    U8 ipProto;
    std::vector< U32 > offsets;
  } rows[] = { { openFlowUdfTcamGroup, 17, { 8, 12 } },
               { openFlowUdfTcamGroup, 6, { 20, 24 } },
               { openFlowVxlanUdfTcamGroup, 17, { 42, 46, 50, 58, 62 } },
               { openFlowVxlanUdfTcamGroup, 6, { 54, 58, 62, 70, 74 } } };
  for ( const auto & row : rows ) {
    TestSwitch sw( { .pipes = 2, .secondCopy = true, .units = 2 } );
    sw.platform.group( 1, { bcmFieldQualifyDstIp, bcmFieldQualifyStageIngress } );
    sw.platform.user( row.user, 1, 0, tcamAllocateUnbounded );
    sw.start();
    sw.groups->openFlowUdfIpProtoIs( row.ipProto );
    U32 entry = 0;
    const auto texts = callTexts( [ & ] { entry = sw.take( row.user, 0, 1 ); } );
    EXPECT_EQ( std::count( texts.begin(), texts.end(),
                           "bcm_field_qset_data_qualifier_add( unit, &qset, udfQual[i].qual_id() ) "
                           "(rc:0)" ),
               static_cast< long >( row.offsets.size() ) );
    ASSERT_TRUE( sw.groups->createGroupOpenFlowAclUdf( 1, 1 ) );  // counts
    std::vector< U32 > offsets;
    for ( const auto & qualifier : sw.asic.dataQualifiers( 1 ) )
      offsets.push_back( qualifier.record.offset );
    EXPECT_EQ( offsets, row.offsets );
    for ( auto it = row.user == openFlowUdfTcamGroup ? sw.groups->openFlowAclUdfIterConst()
                                                     : sw.groups->openFlowVxlanAclUdfIterConst();
          it; ++it )
      EXPECT_TRUE( it.value().base == UdfBaseL3HeaderStart &&
                   it.value().ipProtocol == row.ipProto && it.value().refCount == 1 );
    EXPECT_EQ( sw.counts( 1 ), "2/1 2/1 2/1 2/1" );
    sw.groups->uninitializeGroup( 1, 1 );
    EXPECT_EQ( sw.audit(), "" );
    sw.manager( row.user ).releaseEntry( 1, entry );
    EXPECT_EQ( sw.audit(), "" );
    EXPECT_TRUE( sw.asic.dataQualifiers( 1 ).empty() );
    EXPECT_EQ( sw.log.count( SdkOp::bcm_field_data_qualifier_packet_format_delete ),
               row.offsets.size() );
  }
}

TEST( FlowProgrammingTest, QualifiersMayOutliveTheirGroup ) {
  UdfSwitch sw( {}, Acl::ip() );
  ASSERT_TRUE( sw.groups->initializeGroup( 0, 4 ) );
  sw.groups->uninitializeTcamGroup( 0, 4, false );
  EXPECT_EQ( sw.asic.dataQualifiers( 0 ).size(), 2U );
  sw.groups->destroyOpenFlowUdfQualifiers( 0, 4 );
  EXPECT_EQ( sw.emptied(), "" );
}

TEST( FlowProgrammingTest, QualifiersWithoutAGroupAreDestroyed ) {
  UdfSwitch sw( {}, Acl::ip() );
  sw.faults.arm( { .op = SdkOp::bcm_field_group_config_create, .times = 2, .rc = -14 } );
  EXPECT_FALSE( sw.groups->createGroupOpenFlowAclUdf( 0, 4 ) );
  EXPECT_EQ( sw.audit() + sw.emptied(), "" );
  SoftAsic::FaultInjector undo( *Shim::sdk_ );
  undo.arm( { .op = SdkOp::bcm_field_data_qualifier_destroy,
              .exception = std::make_exception_ptr( std::runtime_error( "bus" ) ) } );
  sw.faults.arm( { .op = SdkOp::bcm_field_group_config_create, .times = 2, .rc = -14 } );
  const auto below = std::exchange( Shim::sdk_, &undo );
  EXPECT_THROW( sw.groups->createGroupOpenFlowAclUdf( 0, 4 ), std::runtime_error );
  Shim::sdk_ = below;
  sw.groups->finishCleanup( 0 );
  EXPECT_EQ( sw.audit() + sw.emptied(), "" );
}

TEST( UdfAuditTest, AuditorReportsEveryDifference ) {
  using Spoil = void ( * )( MorvaneTcamGroupManager &, GroupUdfQual & carried );
  const std::pair< const char *, Spoil > cases[] = {
      { "has 1 uses, its groups count 2", []( auto &, auto & c ) { c.udfQualIdInc( 1, 1 ); } },
      { "belongs to nobody", []( auto & groups, auto & ) { groups.ipMirroringAclUdfDel( 1 ); } },
      { "lacks data qualifier 2", []( auto &, auto & c ) { c.udfQualIdIs( 2, 0 ); } },
      { "is recorded as 0x2",
        []( auto & groups, auto & ) {
          groups.ipMirroringAclUdfIs( 2, groups.ipMirroringAclUdf( 1 ) );
        } },
      { "applies to other packets", []( auto &, auto & ) {
         bcm_field_data_ethertype_s type = { 0, 0x0800, 0, 0, 0 };
         SDK_CHECKED( bcm_field_data_qualifier_ethertype_add( 0, 1, &type ) );
       } } };
  for ( const auto & [ difference, spoil ] : cases ) {
    UdfSwitch sw( { .pipes = 2 }, Acl::ip() );
    sw.auditedAtEnd = false;
    ASSERT_TRUE( sw.manager( sw.user( 1 ) ).initializeGroup( 0 ) );
    sw.set( near );
    ASSERT_EQ( sw.audit(), "" );
    spoil( *sw.groups, *sw.groups->groupIdToMirroringAclUdf( 1 ) );
    EXPECT_THAT( sw.audit(), HasSubstr( difference ) );
  }
}

}  // namespace Test::Udf
