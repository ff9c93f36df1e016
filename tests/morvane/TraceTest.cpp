// Whole traces, as the text trace and the ring have them: an entry's life, a group's, those of
// user-defined fields, and the other operations. Level 4 is the diagnostic-shell echo.

#include "tests/morvane/UdfSwitch.h"

namespace Test::Traces {

TEST( TraceTest, LifeOfAnEntryOnTwoPipes ) {
  TestSwitch sw( { .pipes = 2 } );
  sw.platform.acl( 1, 4 );
  sw.start();
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  EXPECT_EQ( traced( [ & ] {
               acl.getEntry( 0, 0x10000, "web" );
               acl.installEntry( 0, 0x10000 );
               acl.setPriorityForEntry( 0, 0x10000, 7 );
               acl.enableEntry( 0, 0x10000, false, 0 );
               acl.enableEntry( 0, 0x10000, true, 0 );
               acl.removeEntry( 0, 0x10000 );
               acl.releaseEntry( 0, 0x10000 );
             } ),
             R"(
2 Unit: 0entry: 65536 base entry: 65536 end entry: 65540 desc: web
2 Unit: 0 ipAclTcamGroup getEntryBase(entry=0x10000)
3 Unit: 0 initializeGroup adding qual=13
3 Unit: 0 initializeGroup adding qual=10
3 Unit: 0 initializeGroup adding qual=68
1 Unit: 0 initializeGroup Creating group 1
4 fp group create 1 prio 1
1 Unit: 0 initializeGroup Creating group 16777217
4 fp group create 16777217 prio 1
4 fp entry create 1 65536
2 Unit: 0 getEntryBase Entry created with entryId: 0x10000 in group: 1
4 fp entry create 16777217 16842752
2 Unit: 0 getEntryBase Entry created with entryId: 0x1010000 in group: 16777217
3 Unit: 0(entry=0x10000) StatType: 0 index: 0
3 Unit: 0(entry=0x10000) StatType: 1 index: 1
4 fp stat create group=1 type0=packets
4 fp stat attach entry=65536 StatId=1
3  GroupId: 1 entryId: 65536 statId: 1
3 Unit: 0(entry=0x1010000) StatType: 0 index: 0
3 Unit: 0(entry=0x1010000) StatType: 1 index: 1
4 fp stat create group=16777217 type0=packets
4 fp stat attach entry=16842752 StatId=2
3  GroupId: 16777217 entryId: 16842752 statId: 2
3 Unit: 0 group 1 entries total 64 free 255
2 getEntryBase returning entryId: 65536 for : web
2 setPriorityForEntry fp entry prio 65536 2147418110
4 fp entry prio 65536 2147418110
4 fp entry prio 16842752 2147418110
2 installEntry entry 65536
4 fp entry install 65536
2 installEntry Entry installed: 65536
4 fp entry copy 65536 16842752
4 fp entry install 16842752
2 installEntry Entry installed: 16842752
2 setPriorityForEntry fp entry prio 65536 7
4 fp entry prio 65536 7
4 fp entry prio 16842752 7
4 fp entry enable 65536 0
4 fp entry enable 16842752 0
4 fp entry enable 65536 1
4 fp entry enable 16842752 1
4 fp entry remove 65536
2 removeEntry Entry removed: 65536
4 fp entry remove 16842752
2 removeEntry Entry removed: 16842752
2 Unit: 0 ipAclTcamGroup releaseEntry(entry=0x10000)
1 Unit: 0 group 16777217 ref count is now 0
1 Unit: 0 group 1 ref count is now 0
4 fp policer detach entry=16842752 all
4 fp policer detach entry=65536 all
3 Unit: 0 Attempting to detach statId 2
4 fp stat detach entry=16842752 StatId=2
4 fp stat destroy StatId= 2
3 Unit: 0 Attempting to detach statId 1
4 fp stat detach entry=65536 StatId=1
4 fp stat destroy StatId= 1
4 fp entry destroy 16842752
4 fp entry destroy 65536
1 Unit: 0 Destroying group 16777217
4 fp group destroy 16777217
1 Unit: 0 Destroying group 1
4 fp group destroy 1
)" );
}

TEST( TraceTest, LifeOfAGroup ) {
  TestSwitch sw( { .presels = true, .largeSlices = 1 } );
  sw.platform.acl( 1, 4 ).acl( 3, 0, tcamAllocateUnbounded, macAclTcamGroup );
  sw.platform.group( 2, { bcmFieldQualifyTtl } ).user( qosTcamGroup, 2, 0, tcamAllocateUnbounded );
  sw.platform.users[ 2 ].managedPriority = true;
  sw.platform.exclude( 2, 0, { bcmFieldQualifyTtl } ).include( 2, 0, { bcmFieldQualifyDstIp } );
  sw.start();
  for ( const auto user : { ipAclTcamGroup, macAclTcamGroup } )
    sw.take( user );
  for ( const U32 group : { 1U, 2U, 9U } )
    sw.groups->sliceFreedIs( group, true );
  sw.faults.arm( { .op = SdkOp::bcm_field_group_config_create, .times = 2, .rc = -14 } );
  EXPECT_EQ( traced( [ & ] {
               sw.groups->initializeGroup( 0, 2 );  // refused
               sw.groups->initializeGroup( 0, 2 );
               sw.groups->initializeGroup( 0, 2 );
               sw.groups->uninitializeGroup( 0, 2 );
               sw.groups->uninitializeGroup( 0, 2 );
               sw.groups->uninitializeGroup( 0, 1 );
             } ),
             R"(
3 Unit: 0 initializeGroup adding qual=24
3 Unit: 0 initializeGroup removing qual=24
3 Unit: 0 initializeGroup adding qual=10
1 Unit: 0 initializeGroup Creating group 2
4 fp presel create 2
4 fp presel qualify 2 stage ingress
4 fp presel qualify 2 pipe 0
0 Unit: 0 initializeGroup Could not create group!
1 Unit: 0 doDestroyGroupPreselId 2
4 fp presel destroy 2
3 Unit: 0 initializeGroup adding qual=24
3 Unit: 0 initializeGroup removing qual=24
3 Unit: 0 initializeGroup adding qual=10
1 Unit: 0 initializeGroup Creating group 2
4 fp presel create 2
4 fp presel qualify 2 stage ingress
4 fp presel qualify 2 pipe 0
4 fp group create 2 prio 2
3 Unit: 0 initializeGroup adding qual=24
3 Unit: 0 initializeGroup removing qual=24
3 Unit: 0 initializeGroup adding qual=10
1 Unit: 0 group 2 ref count is now 2
1 Unit: 0 group 2 ref count is now 1
1 Unit: 0 group 2 ref count is now 0
4 fp group compress 1
4 fp group compress 3
4 fp group compress 2
1 Unit: 0 Destroying group 2
4 fp group destroy 2
1 Unit: 0 doDestroyGroupPreselId 2
4 fp presel destroy 2
0 Unit: 0 group 1 has no reference that is not in use
)" );
  EXPECT_TRUE( !sw.groups->sliceFreedHas( 1 ) && sw.groups->sliceFreedHas( 9 ) );
  EXPECT_EQ( sw.audit(), "" );
}

TEST( TraceTest, LifeOfAUserDefinedField ) {
  const Field field{ UdfBaseL2HeaderEnd, 12, 0x0800 };
  UdfSwitch sw( {}, Acl::mac() );
  for ( const U32 group : { 1U, 2U } )
    sw.manager( sw.user( group ) ).initializeGroup( 0 );
  sw.faults.arm( { .op = SdkOp::bcm_field_data_qualifier_packet_format_add, .rc = -14 } );
  const auto add = [ & ] { sw.set( field ), sw.set( { UdfBaseL2HeaderEnd, 20 } ); };
  EXPECT_EQ( traced( add ), R"(
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048 add: true
3 Unit: 0 getMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048
3 Unit: 0 ACL type: 2 Ether type:2048 UDF length: 4 Max UDF length:32
3 Unit: 0 UDF width is 0 For eth type: 2048
1 Creating new udf unit for group 1 with base=UdfBaseL2HeaderEnd normalized offset=12 length=4
1 Unit: 0createGroupMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd normalized offset=12 length=4
3 Pkt format Ethernet II
3 MAC ACL UDF Ether Type = 2048
4 fp data qualifier create 1 offset 12
4 fp data qualifier format add 1
1 Created udf unit in hw with qual_id: 1 group 1 for acl type 2
4 fp group set 1
1 Attempt 1: SUCCESS, added qual_id: 1 to group 1 pipe 0 for acl type 2
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd offset=20 length=4 ether type=4294967295 add: true
3 Unit: 0 getMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd offset=20 length=4 ether type=4294967295
3 Unit: 0 ACL type: 2 Ether type:4294967295 UDF length: 4 Max UDF length:32
3 Unit: 0 UDF width is 0 For eth type: 4294967295
1 Creating new udf unit for group 1 with base=UdfBaseL2HeaderEnd normalized offset=20 length=4
1 Unit: 0createGroupMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd normalized offset=20 length=4
3 Pkt format Ethernet II
3 MAC ACL UDF Ether Type not set
4 fp data qualifier create 2 offset 20
4 fp data qualifier destroy 2
0 Unit: 0Morvane::GroupUdfQualApplyStatus Morvane::createUdfQualifier(U32, U32, UdfOffsetBase, U8, U8)No hw resources to program UDF udf: base=UdfBaseL2HeaderEnd normalized offset=20 length=4
)" );
  const auto share = [ & ] {
    sw.groups->initializeGroup( 0, 1 );
    sw.manager( sw.user( 2 ) ).maxUdfLengthIs( 4 );
    sw.set( field, true, 2 );
    sw.set( { UdfBaseL2HeaderEnd, 120, 0x0800 }, true, 2 );
    sw.manager( sw.user( 2 ) ).maxUdfLengthIs( 8 );
    sw.set( field, true, 2 );
    sw.set( field );
    sw.faults.arm( { .op = SdkOp::bcm_field_data_qualifier_create, .rc = -14 } );
    sw.set( { UdfBaseL2HeaderEnd, 120, 0x0800 } );
  };
  EXPECT_EQ( traced( share, traceEntry ), R"(
1 Unit: 0 Not incrementing ref cnt for mirroring acl group  pipe 0 group Id 1
1 Unit: 0 setMirroringAclUdf group: 2 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048 add: true
0  Max UDF length exceeded for group: 2
1 Unit: 0 setMirroringAclUdf group: 2 udf: base=UdfBaseL2HeaderEnd offset=120 length=4 ether type=2048 add: true
0  Cannot add new UDF to group 2, max UDF length 4 will be exceeded. Aborting ... 
1 Unit: 0 setMirroringAclUdf group: 2 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048 add: true
1 1 not yet part of group: 2
4 fp group set 2
1 Attempt 1: SUCCESS, added qual_id: 1 to group 2 pipe 0 for acl type 2
1  Update state for MAC UDF qual id: 1 current ref count: 1
1 Added to group:  2 MAC UDF qual id: 1 new ref count: 2
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048 add: true
1 1 already applied to group: 1, 1
1  Update state for MAC UDF qual id: 1 current ref count: 2
1 Added to group:  1 MAC UDF qual id: 1 new ref count: 3
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd offset=120 length=4 ether type=2048 add: true
1 Creating new udf unit for group 1 with base=UdfBaseL2HeaderEnd normalized offset=120 length=4
1 Unit: 0createGroupMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd normalized offset=120 length=4
0 Unit: 0Morvane::GroupUdfQualApplyStatus Morvane::createUdfQualifier(U32, U32, UdfOffsetBase, U8, U8)Out of hw resources to create UDF udf: base=UdfBaseL2HeaderEnd normalized offset=120 length=4
)" );
  const auto remove = [ & ] {
    for ( const U32 group : { 1U, 2U, 2U, 1U, 1U } )
      sw.set( field, false, group );
  };
  EXPECT_EQ( traced( remove, traceEntry ), R"(
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048 add: false
1  Update state for MAC UDF qual id: 1 current ref count: 3
1 Removed from group:  1 MAC UDF qual id: 1 new ref count: 2
1 Unit: 0 setMirroringAclUdf group: 2 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048 add: false
1  Remove UDF qual: 1 from group: 2
1  Update state for MAC UDF qual id: 1 current ref count: 2
1 Removed from group:  2 MAC UDF qual id: 1 new ref count: 1
1 Unit: 0 setMirroringAclUdf group: 2 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048 add: false
0  UDF Qual id: 1 to be deleted, but does not exist for group: 2
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048 add: false
1  Remove UDF qual: 1 from group: 1
1  Update state for MAC UDF qual id: 1 current ref count: 1
4 fp group set 2
4 fp group set 1
4 fp data qualifier format delete 1
4 fp data qualifier destroy 1
1 Destroyed MAC ACL UDF qual id: 1
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL2HeaderEnd offset=12 length=4 ether type=2048 add: false
1 Trying to remove non-existent UDF on group: 1
)" );
  sw.set( field );
  EXPECT_EQ( traced( [ & ] { sw.groups->uninitializeGroup( 0, 1 ); }, traceEntry ), R"(
1 Unit: 0 group 1 ref count is now 0
1 MAC ACL UDF id: 1 global ref count is 1. Group ref count is 1
1 Destroying MAC ACL UDF id: 1
1 Unit: 0 Destroying group 1
4 fp group destroy 1
4 fp data qualifier format delete 1
4 fp data qualifier destroy 1
)" );
}

TEST( TraceTest, RebuildOfAGroup ) {
  const Field far{ UdfBaseL3HeaderEnd, 0 };
  UdfSwitch sw( { .presels = true, .fixedKeys = true }, Acl::ip() );
  sw.groups->groupMirroringAclTypeIs( 1, Acl::mac() );
  sw.manager( sw.user( 1 ) ).initializeGroup( 0 );
  sw.set( { UdfBaseL3HeaderStart, 4 } );
  sw.take( sw.user( 1 ) );
  EXPECT_EQ( traced( [ & ] { sw.set( far ); } ), R"(
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL3HeaderEnd offset=0 length=4 ether type=4294967295 add: true
3 Unit: 0 getMirroringAclUdf group: 1 udf: base=UdfBaseL3HeaderEnd offset=0 length=4 ether type=4294967295
3 Unit: 0 ACL type: 0 Ether type:4294967295 UDF length: 4 Max UDF length:32
3 Unit: 0 UDF width is 4
1 Creating new udf unit for group 1 with base=UdfBaseL3HeaderEnd normalized offset=20 length=4
1 Unit: 0createGroupMirroringAclUdf group: 1 udf: base=UdfBaseL3HeaderEnd normalized offset=20 length=4
3 Pkt format IP
4 fp data qualifier create 2 offset 20
4 fp data qualifier format add 2
1 Created udf unit in hw with qual_id: 2 group 1 for acl type 0
0 Attempt 1: FAILED, not added qual_id: 2 to group 1 for acl type 0
2 Unit: 0 mirroringAclTcamGroup1 releaseEntry(entry=0x10000)
4 fp policer detach entry=65536 all
3 Unit: 0 Attempting to detach statId 1
4 fp stat detach entry=65536 StatId=1
4 fp stat destroy StatId= 1
4 fp entry destroy 65536
1 Unit: 0 reInitializeGroupWithMirroringAclUdf Successfully cleared all entries in group: 1
1 Unit: 0 group 1 ref count is now 0
1 Unit: 0 Destroying group 1
4 fp group destroy 1
1 Unit: 0 doDestroyGroupPreselId 0
4 fp presel destroy 0
1 Unit: 0 reInitializeGroupWithMirroringAclUdf Successfully destroyed the group: 1
1 Unit: 0 reInitializeGroupWithMirroringAclUdf Trying to recreate group 1
3 Unit: 0 reInitializeGroupWithMirroringAclUdf adding qual=7
3 Unit: 0 reInitializeGroupWithMirroringAclUdf adding qual=6
3 Unit: 0 reInitializeGroupWithMirroringAclUdf adding qual=20
3 Unit: 0 reInitializeGroupWithMirroringAclUdf adding qual=18
3 Unit: 0 reInitializeGroupWithMirroringAclUdf adding qual=16
3 Unit: 0 reInitializeGroupWithMirroringAclUdf adding qual=13
3 Unit: 0 reInitializeGroupWithMirroringAclUdf adding qual=68
3 Unit: 0 reInitializeGroupWithMirroringAclUdf The qualifier id to add to qset is 1 with freq 0
1 Unit: 0 reInitializeGroupWithMirroringAclUdf Creating group 1
4 fp presel create 0
4 fp presel qualify 0 stage ingress
4 fp presel qualify 0 pipe 0
4 fp group create 1 prio 1
1 Unit: 0 group 1 ref count is now 1
1 Unit: 0 reInitializeGroupWithMirroringAclUdf group 1 ref count is now 1
1 Attempt 2: SUCCESS added qual_id: 2 to group 1 for acl type 0
)" );
  const auto verify = [ & ] {
    sw.manager( sw.user( 1 ) ).verifyMirroringAclUdf( 0, 0, anyType, far.base, far.offset, 4 );
  };
  EXPECT_EQ( traced( verify ), R"(
3 Unit: 0 verifyMirroringAclUdf group: 1 udf: base=UdfBaseL3HeaderEnd offset=0 length=4 ethertype=4294967295
3 Unit: 0 getMirroringAclUdf group: 1 udf: base=UdfBaseL3HeaderEnd offset=0 length=4 ether type=4294967295
3  Found existing IP ACL udf qual id: 2 ref cnt: 0
3  Verify UDF qual id: 2
)" );
  const auto use = [ & ] {
    for ( const bool adds : { true, true, false, false } )
      sw.set( far, adds );
  };
  EXPECT_EQ( traced( use, traceEntry ), R"(
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL3HeaderEnd offset=0 length=4 ether type=4294967295 add: true
1 2 already applied to group: 1, 0
1  Update state for IP UDF qual id: 2 current ref count: 0
1 Added to group:  1 IP UDF qual id: 2 new ref count: 1
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL3HeaderEnd offset=0 length=4 ether type=4294967295 add: true
1 2 already applied to group: 1, 1
1  Update state for IP UDF qual id: 2 current ref count: 1
1 Added to group:  1 IP UDF qual id: 2 new ref count: 2
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL3HeaderEnd offset=0 length=4 ether type=4294967295 add: false
1  Update state for IP UDF qual id: 2 current ref count: 2
1  Updated/Deleted IP UDF qual id: 2 new ref count: 1
1 Unit: 0 setMirroringAclUdf group: 1 udf: base=UdfBaseL3HeaderEnd offset=0 length=4 ether type=4294967295 add: false
1  Remove UDF qual: 2 from group: 1
1  Update state for IP UDF qual id: 2 current ref count: 1
4 fp group set 1
4 fp data qualifier format delete 2
4 fp data qualifier destroy 2
1 Destroyed IP ACL UDF qual id: 2
)" );
}

TEST( TraceTest, Refusals ) {
  UdfSwitch sw( { .presels = true, .fixedKeys = true }, Acl::ip() );
  sw.groups->groupMirroringAclTypeIs( 1, Acl::mac() );
  sw.manager( sw.user( 1 ) ).initializeGroup( 0 );
  sw.unbounded( qosTcamGroup ).getEntry( 0, "first" );
  const auto refuse = [ & ]( SdkOp op ) {
    sw.faults.arm( { .op = op, .times = 0, .rc = BCM_E_RESOURCE } );
  };
  const auto tries = [ & ] {
    refuse( SdkOp::bcm_field_entry_create );
    sw.unbounded( qosTcamGroup ).getEntry( 0, "second" );
    refuse( SdkOp::bcm_field_group_config_create );
    sw.manager( openFlowUdfTcamGroup ).initializeGroup( 0 );
    sw.set( {} );
  };
  EXPECT_EQ( traced( tries, traceFailure ), R"(
0 Unit: 0 getEntryBase Error -14 for entry 0xffffff for second
0 Unit: 0 qosTcamGroup failed to grab entry
4 fp data qualifier create 1
4 fp data qualifier format add 1
4 fp data qualifier create 2
4 fp data qualifier format add 2
4 fp presel create 2
4 fp presel qualify 2 stage ingress
4 fp presel qualify 2 pipe 0
0 Unit: 0 createGroupOpenFlowAclUdf Retrying. Might need to allocate large slices
4 fp presel destroy 2
0 Unit: 0 createGroupOpenFlowAclUdf Could not recreate group 4!!
4 fp data qualifier format delete 2
4 fp data qualifier destroy 2
4 fp data qualifier format delete 1
4 fp data qualifier destroy 1
4 fp data qualifier create 1 offset 0
4 fp data qualifier format add 1
0 Attempt 1: FAILED, not added qual_id: 1 to group 1 for acl type 0
4 fp group compress 3
4 fp group destroy 1
4 fp presel destroy 0
4 fp presel create 0
4 fp presel qualify 0 stage ingress
4 fp presel qualify 0 pipe 0
0 Unit: 0 reInitializeGroupWithMirroringAclUdf Retrying. Might need to allocate large slices
4 fp presel destroy 0
0 Unit: 0 reInitializeGroupWithMirroringAclUdf Could not recreate group 1!! Giving up, destroyed ... 
0 Attempt 2: FAILED, really unable to add UDF qual_id: 1 to qset for group: 1 udf: base=UdfBaseL3HeaderStart normalized offset=0 length=4
4 fp data qualifier format delete 1
4 fp data qualifier destroy 1
)" );
  EXPECT_EQ( sw.messages.text, "FULL NORMAL " );
  EXPECT_FALSE( sw.groups->udfResourceError( 0 ) );
}

TEST( TraceTest, CreationOfAFlowGroup ) {
  UdfSwitch sw( {}, Acl::ip() );
  const auto flow = [ & ] { sw.manager( openFlowUdfTcamGroup ).initializeGroup( 0 ); };
  EXPECT_EQ( traced( flow ), R"(
4 fp data qualifier create 1
4 fp data qualifier format add 1
4 fp data qualifier create 2
4 fp data qualifier format add 2
1 Unit: 0 createGroupOpenFlowAclUdf Trying to create group 4
3 Unit: 0 createGroupOpenFlowAclUdf adding qual=10
3 Unit: 0 createGroupOpenFlowAclUdf adding qual=68
3 Unit: 0 createGroupOpenFlowAclUdf The qualifier id to add to qset is 1
3 Unit: 0 createGroupOpenFlowAclUdf The qualifier id to add to qset is 2
1 Unit: 0 createGroupOpenFlowAclUdf Creating group 4
4 fp group create 4 prio 4
1 Unit: 0 group 4 ref count is now 1
)" );
  EXPECT_EQ( traced( flow ), "\n1 Unit: 0 group 4 ref count is now 2\n" );
}

TEST( TraceTest, EntryOfManagedPriority ) {
  TestSwitch sw( { .pipes = 2 } );
  sw.platform.acl( 1, 4 );
  sw.platform.users[ 0 ].managedPriority = true;
  sw.start();
  EXPECT_EQ( traced( [ & ] { sw.take( ipAclTcamGroup ); }, traceFailure ), R"(
4 fp group create 1 prio 1
4 fp group create 16777217 prio 1
4 fp entry create 1 65536
4 fp entry prio 65536 2147418110
4 fp entry create 16777217 16842752
4 fp entry prio 16842752 2147418110
4 fp stat create group=1 type0=packets
4 fp stat attach entry=65536 StatId=1
4 fp stat create group=16777217 type0=packets
4 fp stat attach entry=16842752 StatId=2
4 fp entry prio 65536 2147418110
4 fp entry prio 16842752 2147418110
)" );
}

TEST( TraceTest, RangeAndMulticastEntry ) {
  TestSwitch sw( { .pipes = 2 } );
  sw.chipInfo.multicastWar = true;
  sw.platform.acl( 1, 2, tcamAllocateAsChunk ).acl( 2, 0, tcamAllocateUnbounded, macAclTcamGroup );
  sw.platform.multicast = { 2 };
  sw.start();
  sw.manager( ipAclTcamGroup ).initializeGroup( 0 );
  const auto range = [ & ] { sw.manager( ipAclTcamGroup ).allocateAllEntries( 0 ); };
  EXPECT_EQ( traced( range ), R"(
3 Unit: 0 initializeGroup adding qual=13
3 Unit: 0 initializeGroup adding qual=10
3 Unit: 0 initializeGroup adding qual=68
1 Unit: 0 group 1 ref count is now 2
1 Unit: 0 group 16777217 ref count is now 2
1 Unit: 0 group 16777217 ref count is now 1
1 Unit: 0 group 1 ref count is now 1
3 Unit: 0 allocateAllEntries group 0x1 entry 0x10000
4 fp entry create 1 65536
4 fp entry prio 65536 2147418110
3 Unit: 0 allocateAllEntries group 0x1000001 entry 0x1010000
4 fp entry create 16777217 16842752
4 fp entry prio 16842752 2147418110
2 setPriorityForEntry fp entry prio 65536 2147418110
4 fp entry prio 65536 2147418110
4 fp entry prio 16842752 2147418110
3 Unit: 0 allocateAllEntries group 0x1 entry 0x10001
4 fp entry create 1 65537
4 fp entry prio 65537 2147418109
3 Unit: 0 allocateAllEntries group 0x1000001 entry 0x1010001
4 fp entry create 16777217 16842753
4 fp entry prio 16842753 2147418109
2 setPriorityForEntry fp entry prio 65537 2147418109
4 fp entry prio 65537 2147418109
4 fp entry prio 16842753 2147418109
)" );
  const auto multicast = [ & ] { sw.manager( macAclTcamGroup ).initializeGroup( 0 ); };
  EXPECT_EQ( traced( multicast, traceGroup ), R"(
1 Unit: 0 initializeGroup Creating group 2
4 fp group create 2 prio 2
1 Unit: 0 initializeGroup Creating group 16777218
4 fp group create 16777218 prio 2
4 fp entry create 2 16777215
4 fp entry create 16777218 33554431
4 fp stat create group=2 type0=packets
4 fp stat attach entry=16777215 StatId=1
4 fp stat create group=16777218 type0=packets
4 fp stat attach entry=33554431 StatId=2
4 fp qual 16777215 multicast
4 fp entry prio 16777215 2147483647
4 fp entry prio 33554431 2147483647
4 fp entry install 16777215
4 fp entry copy 16777215 33554431
4 fp entry install 33554431
)" );
}

TEST( TraceTest, OtherOperations ) {
  TestSwitch sw( { .units = 2 } );
  sw.platform.group( 1, { bcmFieldQualifyInPort, bcmFieldQualifyInPorts } )
      .user( ipAclTcamGroup, 1, 4, tcamAllocateOnDemand );
  sw.construct();
  EXPECT_EQ( traced( [ & ] { sw.groups->initializedIs( true ); } ), R"(
1 handleInitialized
4 fp control unit 0 RedirectExcludeSrcPort
4 fp control unit 0 RedirectIngressVlanCheck
4 fp control unit 0 RedirectNonUcastTrunkResolve
4 fp control unit 0 PolicerGroupSharingEnable
4 fp control unit 0 FilterIngress
4 fp control unit 0 FilterLookup
4 fp control unit 1 RedirectExcludeSrcPort
4 fp control unit 1 RedirectIngressVlanCheck
4 fp control unit 1 RedirectNonUcastTrunkResolve
4 fp control unit 1 PolicerGroupSharingEnable
4 fp control unit 1 FilterIngress
4 fp control unit 1 FilterLookup
1 MorvaneTcamEntryManager::handleInitialized group 1 baseEntry 65536 endEntry 65540 desc ipAclTcamGroup
)" );
  const SoftAsic::ControlsView controls = sw.asic.controls( 1 );
  EXPECT_EQ( controls.controls,
             ( std::map< int, U32 >{ { 1, 1 }, { 2, 1 }, { 3, 1 }, { 4, 1 } } ) );
  using testing::Pair;
  EXPECT_THAT( controls.portControls,
               ElementsAre( Pair( Pair( 0U, 1 ), 1 ), Pair( Pair( 0U, 2 ), 1 ) ) );
  MorvaneBoundedTcamEntryManager & acl = sw.bounded( ipAclTcamGroup );
  const U32 id = sw.take( ipAclTcamGroup );
  bcm_policer_config_t limits = { 0, bcmPolicerModeCommitted, 1000, 64, 0, 0 };
  U8 * const config = reinterpret_cast< U8 * >( &limits );
  EXPECT_EQ( traced( [ & ] {
               const U32 policer = sw.groups->createPolicer( 0, config );
               sw.groups->setPolicer( 0, policer, config );
               acl.attachPolicer( 0, id, policer, true );
               acl.attachPolicer( 0, id, policer, false );
               sw.groups->removePolicer( 0, policer );
               sw.groups->getRangeChecker( 0, { 10, 20, 2 } );
               sw.groups->releaseRangeChecker( 0, { 10, 20, 2 } );
             } ),
             R"(
4 fp policer create 1
2 Unit: 0 createPolicer(policerId=0x1)
2 Unit: 0 setPolicerpolicerId=0x1)
4 fp policer set 1
2 Unit: 0 ipAclTcamGroup attachPolicer(entry=0x10000 policerId=1)
4 fp policer attach entry=65536 policer=1
2 Unit: 0 ipAclTcamGroup attachPolicer(entry=0x10000 policerId=1)
4 fp policer detach entry=65536
2 Unit: 0 removePolicer(policerId=0x1)
4 fp policer destroy 1
4 fp range create 1 2 10 20
4 fp range destroy 1
)" );
  const bcm_pbmp_t ports = { { 6 } };
  EXPECT_EQ( traced( [ & ] {
               acl.inPortForEntryIs( 0, id, 3, false );
               acl.installEntry( 0, id );
               acl.inPortsForEntryIs( 0, id, ports, ports, false );
               acl.loopbackRedirectIs( 0, id, bcmFieldActionRedirectPbmp, ports );
               acl.reinstallEntry( 0, id );
               acl.clearCountersForEntry( 0, id );
               acl.compressEntries( 0 );
               acl.removeStats( 0, id );
               acl.removeStats( 0, id );
             } ),
             R"(
2 installEntry entry 65536
4 fp qual 65536 InPort 3
4 fp entry install 65536
2 installEntry Entry installed: 65536
2 installEntry entry 65536
4 fp qual 65536 InPorts
4 fp entry install 65536
2 installEntry Entry installed: 65536
2 Looback portId pipe 0: 7
4 fp action add 65536 4 port 7
4 fp entry install 65536
2 installEntry Entry installed: 65536
4 fp stat set StatId=1 type0=0
4 fp stat set StatId=1 type2=0
4 fp stat set StatId=1 type6=0
4 fp stat set StatId=1 type1=0
4 fp stat set StatId=1 type3=0
4 fp stat set StatId=1 type7=0
4 fp stat set StatId=1 type4=0
4 fp stat set StatId=1 type5=0
4 fp group compress 1
3 Unit: 0 Attempting to detach statId 1
4 fp stat detach entry=65536 StatId=1
4 fp stat destroy StatId= 1
3 Unit: 0 can't find stats for entry 65536
)" );
  acl.releaseEntry( 0, id );
}

}  // namespace Test::Traces
