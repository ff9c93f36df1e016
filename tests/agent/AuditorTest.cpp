// The auditor must report every kind of difference, or its silence proves nothing.
#include <gmock/gmock.h>

#include <functional>

#include "shim/SdkCall.h"
#include "tests/agent/TestSwitch.h"

namespace Agent {

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr U32 base = 1 << 16;  // first entry of group 1

}  // namespace

TEST( AuditorTest, ReportsEveryDifference ) {
  // The entry's copy in pipe 1, copy 1.
  const U32 other = Morvane::tcamId( base, 1, 1 );
  const auto records = []( TestSwitch & sw ) {
    return sw.manager().entryManager( Morvane::ipAclTcamGroup )->internalUnitEntry( unit );
  };
  U32 id = 0;
  bcm_policer_config_t limits = {};
  const struct {
    const char * difference;
    std::function< void( TestSwitch & ) > corrupt;
  } cases[] = {
      { "is not installed",
        [ & ]( auto & ) { SDK_CHECKED( bcm_field_entry_remove( unit, other ) ); } },
      { "is disabled",
        [ & ]( auto & ) { SDK_CHECKED( bcm_field_entry_enable_set( unit, other, 0 ) ); } },
      { "priority",
        [ & ]( auto & ) { SDK_CHECKED( bcm_field_entry_prio_set( unit, other, 5 ) ); } },
      { "another rule",
        [ & ]( auto & ) {
          SDK_CHECKED( bcm_field_qualify_SrcIp( unit, other, 9, 0xFF ) );
          SDK_CHECKED( bcm_field_entry_install( unit, other ) );
        } },
      { "not cleared",
        [ & ]( auto & ) { SDK_CHECKED( bcm_field_entry_install( unit, 2 << 16 ) ); } },
      { "belongs to nobody",
        [ & ]( auto & ) { SDK_CHECKED( bcm_field_entry_create_id( unit, 1, base + 9 ) ); } },
      { "statistics 1 belong to entry 0x0",
        [ & ]( auto & ) { SDK_CHECKED( bcm_field_entry_stat_detach( unit, base, 1 ) ); } },
      { "belong to nobody",
        [ & ]( auto & ) {
          bcm_field_stat_id_t stat = 0;
          const bcm_field_stat_t types[] = { bcmFieldStatPackets };
          SDK_CHECKED( bcm_field_stat_create( unit, 1, 1, types, &stat ) );
        } },
      { "preselector",
        [ & ]( auto & ) {
          bcm_field_presel_t presel = 0;
          SDK_CHECKED( bcm_field_presel_create( unit, &presel ) );
        } },
      { "group 0x3 is chosen without a preselector",
        [ & ]( auto & ) {
          bcm_field_group_config_t config = {};
          config.flags = BCM_FIELD_GROUP_CREATE_WITH_ID;
          config.group = 3;
          config.qset.add( bcmFieldQualifySrcIp );
          SDK_CHECKED( bcm_field_group_config_create( unit, &config ) );
        } },
      { "group 0x1 has a preselector",
        [ & ]( auto & sw ) {
          sw.manager().groupIdToPreselIdDel( { unit, 1 } );
        } },
      { "counted are",
        [ & ]( auto & sw ) { sw.manager().groupCounts( 1 )->unitAllocatedInc( unit, 1 ); } },
      { "its managers hold",
        [ & ]( auto & sw ) { sw.manager().groupCounts( 1 )->unitRefCountInc( unit, 1 ); } },
      { "is not on the chip", [ & ]( auto & sw ) { sw.chip().reset( unit ); } },
      { "is left of entry", [ & ]( auto & sw ) { records( sw )->entryStatsIs( base + 100, 1 ); } },
      { "a list of counters", [ & ]( auto & sw ) { records( sw )->statTypesIs( base + 100, 1 ); } },
      { "the multicast entry of acl is left",
        [ & ]( auto & sw ) { records( sw )->multicastWarEntryIs( base + 100 ); } },
      { "is recorded in group", [ & ]( auto & sw ) { records( sw )->groupIdIs( other, 2 ); } },
      { "has no owner", [ & ]( auto & sw ) { sw.manager().tcamManagerForEntryDel( base ); } },
      { "is the owner of entry 0x10064",
        [ & ]( auto & sw ) {
          sw.manager().tcamManagerForEntryIs( base + 100,
                                              sw.manager().tcamManagerForEntry( base ) );
        } },
      { "a store of input ports",
        [ & ]( auto & sw ) { records( sw )->tcamEntryBcmPbmpIs( base + 100 ); } },
      { "a store of output ports",
        [ & ]( auto & sw ) { records( sw )->outportsBcmPbmpIs( base + 100 ); } },
      { "is wrongly marked as missing",
        [ & ]( auto & sw ) { records( sw )->rangeEntryMissingIs( base + 100, true ); } },
      { "range checker 1 belongs to nobody",
        [ & ]( auto & ) { SDK_CHECKED( bcm_field_range_create( unit, &id, 1, 5, 9 ) ); } },
      { "range checker 1 is not on the chip",
        [ & ]( auto & sw ) {
          id = sw.manager().getRangeChecker( unit, { 5, 9, 1 } );
          SDK_CHECKED( bcm_field_range_destroy( unit, id ) );
        } },
      { "recorded is Value(",
        [ & ]( auto & sw ) {
          id = sw.manager().getRangeChecker( unit, { 5, 9, 1 } );
          SDK_CHECKED( bcm_field_range_destroy( unit, id ) );
          SDK_CHECKED( bcm_field_range_create( unit, &id, 1, 5, 8 ) );
        } },
      { "range checker 1 has 0 users",
        [ & ]( auto & sw ) {
          sw.manager().getRangeChecker( unit, { 5, 9, 1 } );
          sw.manager().rangeChecker( { 5, 9, 1 } )->unitRefCountIs( unit, 0 );
        } },
      { "policer 0x1 has no part in pipe 1",
        [ & ]( auto & ) { SDK_CHECKED( bcm_policer_create( unit, &limits, &id ) ); } },
      { "policer 0x1 has other limits than policer 0x1000001",
        [ & ]( auto & sw ) {
          id = sw.manager().createPolicer( unit, ( U8 * )&limits );
          limits.ckbits_sec = 2;
          SDK_CHECKED( bcm_policer_set( unit, id, &limits ) );
        } },
      { "entry 0x5010000 of acl has policer 0x1000001, not 0x0",
        [ & ]( auto & sw ) {
          id = sw.manager().createPolicer( unit, ( U8 * )&limits );
          SDK_CHECKED( bcm_field_entry_policer_attach( unit, other, 0, id | 1 << 24 ) );
        } },
      { "without the SDK lock",
        [ & ]( auto & sw ) { sw.chip().bcm_field_group_compress( unit, 1 ); } },
  };
  for ( const auto & c : cases ) {
    TestSwitch sw( { 2, true, true } );
    limits = { 0, bcmPolicerModeCommitted, 1, 1, 0, 0 };
    const Acl acl = plainAcl( 3 );
    ASSERT_FALSE( sw.feature.addAcl( acl ) );
    ASSERT_THAT( sw.audit(), IsEmpty() );
    c.corrupt( sw );
    EXPECT_THAT( sw.audit(), Contains( HasSubstr( c.difference ) ) );
  }
}

// One entry with VLAN 6 and a twin in use, one without a VLAN and with an idle twin.
TEST( AuditorTest, ReportsCorruptedTwins ) {
  const U32 entry = 4 << 16, twin = Morvane::ovidTwinId( entry ), idle = twin + 1;
  const auto map = []( TestSwitch & sw, U16 vlan ) {
    sw.manager().ovidWarSm()->entryIs( unit, entry, { vlan, 0xFFF },
                                       sw.manager().entryManager( Morvane::macAclTcamGroup ) );
  };
  const struct {
    const char * difference;
    std::function< void( TestSwitch & ) > corrupt;
  } cases[] = {
      { "entry 0x1040000 of macAclTcamGroup is not on the chip",
        [ & ]( auto & sw ) {
          const int stat = static_cast< int >( sw.chip().entry( unit, twin )->stat );
          SDK_CHECKED( bcm_field_entry_remove( unit, twin ) );
          SDK_CHECKED( bcm_field_entry_stat_detach( unit, twin, stat ) );
          SDK_CHECKED( bcm_field_entry_destroy( unit, twin ) );
        } },
      { "the twin of entry 0x40000 is wrong on port 3",
        [ & ]( auto & ) {
          SDK_CHECKED( bcm_field_qualify_InPorts( unit, twin, { { 0xE } }, { { 0xFFFF } } ) );
          SDK_CHECKED( bcm_field_entry_install( unit, twin ) );
        } },
      { "the twin of entry 0x40000 does not match VLAN 0",
        [ & ]( auto & ) {
          SDK_CHECKED( bcm_field_qualify_OuterVlanId( unit, twin, 6, 0xFFF ) );
          SDK_CHECKED( bcm_field_entry_install( unit, twin ) );
        } },
      { "entry 0x1040001 is enabled",
        [ & ]( auto & ) { SDK_CHECKED( bcm_field_entry_enable_set( unit, idle, 1 ) ); } },
      { "VLAN 7 is mapped to entry 0x40000, which does not match it",
        [ & ]( auto & sw ) { map( sw, 7 ); } },
      { "VLAN 6 is mapped to entry 0x40000, which does not match it",
        [ & ]( auto & sw ) { sw.feature.clear(), map( sw, 6 ); } },
      { "VLAN 6 is not mapped to entry 0x40000, which matches it",
        [ & ]( auto & sw ) {
          sw.manager().ovidWarSm()->entryDel( unit, entry, { 6, 0xFFF } );
        } },
  };
  for ( const auto & c : cases ) {
    TestSwitch sw( { .pipes = 2, .sharedByPipes = true } );
    Acl acl = plainAcl( 2 );
    acl.kind = AclKind::mac;
    for ( AclRule & rule : acl.rules )
      rule.source = {};
    acl.rules[ 0 ].vlan = { 6, 0xFFF };
    ASSERT_FALSE( sw.feature.addAcl( acl ) );
    ASSERT_THAT( sw.audit(), IsEmpty() );
    c.corrupt( sw );
    EXPECT_THAT( sw.audit(), Contains( HasSubstr( c.difference ) ) );
  }
}

// 3 wide entries of a list in a slice of 16, and 8 entries of the range in a slice of 32.
TEST( AuditorTest, ReportsCorruptedCapacity ) {
  using Capacity = Morvane::MorvaneTcamCapacitySm;
  const U32 wide = 3 << 16;
  const Morvane::TcamCapacityKey ingress( unit, 0 );
  const auto setRow = [ & ]( Capacity & sm, U32 free, U32 highest ) {
    Morvane::TcamCapacityRow row = sm.row( ingress );
    row.free = free;
    row.highWatermark = highest;
    sm.rowIs( ingress, row );
  };
  const struct {
    const char * difference;
    std::function< void( TestSwitch &, Capacity & ) > corrupt;
  } cases[] = {
      { "IFP reports 11 entries in use, its groups count 12",
        []( auto & sw, auto & ) { sw.manager().groupCounts( 3 )->unitAllocatedInc( unit, 1 ); } },
      { "IFP of pipe 1 copy 1 holds 12 entries, 11 reported",
        [ & ]( auto &, auto & ) {
          SDK_CHECKED( bcm_field_entry_create_id( unit, Morvane::tcamId( 3, 1, 1 ),
                                                  Morvane::tcamId( wide + 9, 1, 1 ) ) );
        } },
      { "IFP with 11 used, 100 free of 112 and at most 11, not 11 of 112",
        [ & ]( auto &, auto & sm ) { setRow( sm, 100, 11 ); } },
      { "IFP with 11 used, 101 free of 112 and at most 10, not 11 of 112",
        [ & ]( auto &, auto & sm ) { setRow( sm, 101, 10 ); } },
      { "the capacity table has 0 stages of 1",
        [ & ]( auto &, auto & sm ) { sm.rowDel( ingress ); } },
      { "the capacity table has a row of unit 7",
        []( auto &, auto & sm ) {
          sm.rowIs( { 7, 0 }, {} );
        } },
      { "the capacity alarm of IFP is raised with 11 of 112 used",
        [ & ]( auto &, auto & sm ) { sm.alarmIs( ingress, true ); } },
      { "the capacity alarm of IFP is missing with 11 of 112 used",
        [ & ]( auto &, auto & sm ) {
          sm.thresholdIs( ingress, { 9, 5 } );
        } },
  };
  for ( const auto & c : cases ) {
    TestSwitch sw( { .pipes = 2, .secondCopy = true, .keyBits = 200 } );
    Capacity & sm = sw.session.capacity();
    Acl acl = plainAcl( 3 );
    acl.kind = AclKind::ipv6;
    for ( AclRule & rule : acl.rules )
      rule.source = {};
    ASSERT_FALSE( sw.feature.addAcl( acl ) );
    sm.poll();
    const auto audit = [ & ] { return Audit::audit( sw.manager(), sw.chip(), &sm ); };
    ASSERT_THAT( audit(), IsEmpty() );
    c.corrupt( sw, sm );
    EXPECT_THAT( audit(), Contains( HasSubstr( c.difference ) ) );
  }
}

}  // namespace Agent
