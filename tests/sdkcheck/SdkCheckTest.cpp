#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "platform/PlatformLoader.h"
#include "sdkcheck/Checks.h"
#include "sdkcheck/Chips.h"
#include "sdkcheck/SdkLibrary.h"
#include "shim/SdkPlugin.h"
#include "shim/UnavailableSdk.h"
#include "softasic/SoftAsic.h"
#include "tests/sdkcheck/FaultySdk.h"

MORVANE_SDK_PLUGIN( Shim::UnavailableSdk )

namespace SdkCheckTest {
namespace {

using SdkCheck::Verdict;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr U32 most = 200000;

std::vector< std::string > failures( Shim::SdkShim & sdk ) {
  std::vector< std::string > lines;
  for ( const SdkCheck::Check & check : SdkCheck::checks() )
    if ( const SdkCheck::Result result = SdkCheck::run( check, sdk, 0, most );
         result.verdict == Verdict::failed )
      lines.push_back( textOf( result ) );
  return lines;
}

SdkCheck::Result runNamed( const std::string & name, Shim::SdkShim & sdk ) {
  const auto & all = SdkCheck::checks();
  const auto check = std::find_if( all.begin(), all.end(),
                                   [ & ]( const auto & each ) { return each.name == name; } );
  return check == all.end() ? throw std::out_of_range( name )
                            : SdkCheck::run( *check, sdk, 0, most );
}

SoftAsic::ChipProfile chipNamed( const std::string & name ) {
  const auto & chips = SdkCheck::chips();
  return *std::find_if( chips.begin(), chips.end(),
                        [ & ]( const auto & chip ) { return chip.name == name; } );
}

TEST( SdkCheckTest, TheSoftwareAsicPassesOnEveryShapeOfChip ) {
  std::vector< SoftAsic::ChipProfile > chips = SdkCheck::chips();
  for ( const char * platform : { "small", "shared", "large" } )
    chips.push_back( Platform::loadPlatform( platform ).chip );
  std::vector< const char * > applied;
  for ( const SoftAsic::ChipProfile & chip : chips ) {
    SoftAsic::SoftAsic sdk;
    sdk.addUnit( 0, chip );
    for ( const SdkCheck::Check & check : SdkCheck::checks() ) {
      const SdkCheck::Result result = SdkCheck::run( check, sdk, 0, most );
      EXPECT_TRUE( result.verdict == Verdict::ok || result.verdict == Verdict::notApplicable )
          << chip.name << ": " << textOf( result );
      if ( result.verdict == Verdict::ok )
        applied.push_back( check.name );
    }
    EXPECT_THAT( sdk.groups( 0 ), IsEmpty() ) << chip.name;
    EXPECT_THAT( sdk.statistics( 0 ), IsEmpty() ) << chip.name;
    EXPECT_EQ( sdk.lockViolations(), 0U ) << chip.name;
  }
  for ( const SdkCheck::Check & check : SdkCheck::checks() )
    EXPECT_THAT( applied, Contains( check.name ) ) << "applies to no chip";
}

// --- Faults ----------------------------------------------------------------------------------

// The call is made, but reported as another.
Effect returning( int from, int to ) {
  return [ = ]( Call & call ) {
    const int rc = call.proceed();
    return rc == from ? to : rc;
  };
}
// Nothing is done.
int lost( Call & ) {
  return 0;
}
// What is refused is reported as done.
int pretending( Call & call ) {
  return std::max( call.proceed(), 0 );
}
int withoutIdBits( Call & call ) {
  call.id() &= 0xFFFFFF;
  return call.proceed();
}

struct Fault {
  const char * check;
  SdkOp op;
  const char * what;
  Effect effect;
  const char * chip = "single";
};

void PrintTo( const Fault & fault, std::ostream * out ) {
  *out << fault.check << ": " << fault.what;
}

bcm_field_group_status_s & statusOf( const Call & call ) {
  return *call.arg< bcm_field_group_status_s * >( 1 );
}

const Fault faults[] = {
    // Groups
    { "group-create", SdkOp::bcm_field_group_get, "the set has a qualifier too many",
      []( Call & call ) {
        const int rc = call.proceed();
        call.arg< bcm_field_qset_t * >( 1 )->add( bcmFieldQualifyTtl );
        return rc;
      } },
    { "group-create", SdkOp::bcm_field_group_destroy, "the group stays", lost },
    { "group-duplicate", SdkOp::bcm_field_group_config_create, "a duplicate replaces the group",
      []( Call & call ) {
        const int rc = call.proceed();
        auto * const config = call.arg< bcm_field_group_config_t * >( 0 );
        return rc == BCM_E_EXISTS ? call.sdk.bcm_field_group_set( 0, config->group, config->qset )
                                  : rc;
      } },
    { "group-duplicate", SdkOp::bcm_field_group_config_create, "a duplicate is out of room",
      returning( BCM_E_EXISTS, BCM_E_RESOURCE ) },
    { "group-unknown", SdkOp::bcm_field_group_status_get, "an unknown group has a status",
      pretending },
    { "group-in-use", SdkOp::bcm_field_group_destroy, "entries are no obstacle", pretending },
    { "group-status", SdkOp::bcm_field_group_status_get, "entry_count counts no entry",
      []( Call & call ) {
        const int rc = call.proceed();
        statusOf( call ).entry_count = 0;
        return rc;
      } },
    { "group-status", SdkOp::bcm_field_group_status_get, "entries_free leaves out free slices",
      []( Call & call ) {
        const int rc = call.proceed();
        statusOf( call ).entries_free =
            statusOf( call ).entries_total - statusOf( call ).entry_count - 1;
        return rc;
      } },
    { "group-priorities", SdkOp::bcm_field_group_status_get, "prio_max of 16 bits",
      []( Call & call ) {
        const int rc = call.proceed();
        statusOf( call ).prio_max = 0xFFFF;
        return rc;
      } },
    { "group-widen", SdkOp::bcm_field_group_set, "the new set is lost", lost },
    { "group-widen", SdkOp::bcm_field_group_set, "a refused set is taken",
      []( Call & call ) {
        const int rc = call.proceed();
        return call.count % 3 == 2 ? BCM_E_RESOURCE : rc;
      } },
    { "group-widen", SdkOp::bcm_field_group_set, "a key too wide is a wrong argument",
      returning( BCM_E_UNAVAIL, BCM_E_PARAM ), "pipes" },
    { "group-large", SdkOp::bcm_field_group_config_create, "the large flag is a wrong argument",
      []( Call & call ) {
        const auto * const config = call.arg< bcm_field_group_config_t * >( 0 );
        return ( config->flags & BCM_FIELD_GROUP_CREATE_LARGE ) != 0 ? BCM_E_PARAM : call.proceed();
      } },
    // Entries
    { "entry-states", SdkOp::bcm_field_entry_reinstall, "installs what is not installed",
      []( Call & call ) { return call.sdk.bcm_field_entry_install( 0, call.id() ); } },
    { "entry-states", SdkOp::bcm_field_entry_destroy, "takes installed entries",
      []( Call & call ) {
        ( void )call.sdk.bcm_field_entry_remove( 0, call.id() );
        return call.proceed();
      } },
    { "entry-states", SdkOp::bcm_field_entry_remove, "the entry stays installed", lost },
    { "entry-taken", SdkOp::bcm_field_entry_create_id, "an id in use is taken again", pretending },
    { "entry-taken", SdkOp::bcm_field_entry_create_id, "an id in use is busy",
      returning( BCM_E_EXISTS, BCM_E_BUSY ) },
    { "entry-unknown", SdkOp::bcm_field_entry_enable_set, "an unknown entry can be enabled",
      pretending },
    { "entry-chosen-id", SdkOp::bcm_field_entry_create, "the id has lost its pipe and copy",
      []( Call & call ) {
        const int rc = call.proceed();
        *call.arg< U32 * >( 1 ) &= 0xFFFFFF;
        return rc;
      },
      "pipes" },
    { "entry-enable", SdkOp::bcm_field_entry_enable_set, "disabling removes",
      []( Call & call ) {
        if ( call.arg< int >( 1 ) == 0 )
          ( void )call.sdk.bcm_field_entry_remove( 0, call.id() );
        return call.proceed();
      } },
    { "entry-rule", SdkOp::bcm_field_qualify_OuterVlanId, "only the first value is set",
      []( Call & call ) { return call.count > 1 ? 0 : call.proceed(); } },
    { "entry-rule", SdkOp::bcm_field_qualify_clear, "qualifiers stay", lost },
    { "entry-missing-qualifier", SdkOp::bcm_field_qualify_OuterVlanId_get, "another code",
      returning( BCM_E_PARAM, BCM_E_NOT_FOUND ) },
    { "entry-ports", SdkOp::bcm_field_qualify_InPorts, "port 2 is left out",
      []( Call & call ) {
        call.arg< bcm_pbmp_t >( 1 ).remove( 2 );
        return call.proceed();
      } },
    { "entry-actions", SdkOp::bcm_field_action_remove_all, "actions stay", lost },
    { "entry-priorities", SdkOp::bcm_field_entry_prio_set, "the priority is ignored", lost },
    { "entry-priorities", SdkOp::bcm_field_entry_prio_set, "priorities of 12 bits",
      []( Call & call ) {
        call.id( 1 ) &= 0xFFF;
        return call.proceed();
      } },
    // Room
    { "slices-full", SdkOp::bcm_field_group_config_create, "a wrong code for no slice",
      returning( BCM_E_RESOURCE, BCM_E_FULL ) },
    { "rows-full", SdkOp::bcm_field_entry_create_id, "a wrong code for no row",
      returning( BCM_E_RESOURCE, BCM_E_FULL ) },
    { "rows-full", SdkOp::bcm_field_group_status_get, "entries_free counts a row too many",
      []( Call & call ) {
        const int rc = call.proceed();
        ++statusOf( call ).entries_free;
        return rc;
      } },
    { "slices-freed", SdkOp::bcm_field_group_status_get, "entries_free of the group's slices only",
      []( Call & call ) {
        const int rc = call.proceed();
        statusOf( call ).entries_free =
            statusOf( call ).entries_total - statusOf( call ).entry_count;
        return rc;
      } },
    { "compress", SdkOp::bcm_field_group_compress, "priorities are lost",
      []( Call & call ) {
        for ( U32 number = 2; number <= 40; number += 2 )
          ( void )call.sdk.bcm_field_entry_prio_set( 0, SdkCheck::Unit::entryId( 1, number ), 0 );
        return call.proceed();
      } },
    // Pipes and copies
    { "instances-separate", SdkOp::bcm_field_entry_prio_set, "the id's bits are dropped",
      withoutIdBits, "pipes" },
    { "instances-separate", SdkOp::bcm_field_entry_remove, "the id's bits are dropped",
      withoutIdBits, "pipes" },
    { "instances-twins", SdkOp::bcm_field_entry_create_id, "the twin is the entry",
      []( Call & call ) {
        call.id( 1 ) &= 0xFFFFFF;
        return call.proceed();
      },
      "shared" },
    { "copy", SdkOp::kelmor_field_entry_copy_id, "nothing is copied", lost, "pipes" },
    { "copy", SdkOp::kelmor_field_entry_copy_id, "the target is installed",
      []( Call & call ) {
        const int rc = call.proceed();
        return rc < 0 ? rc : call.sdk.bcm_field_entry_install( 0, call.id( 1 ) );
      } },
    { "copy", SdkOp::kelmor_field_entry_copy_id, "the priority is copied",
      []( Call & call ) {
        U32 priority = 0;
        ( void )call.sdk.bcm_field_entry_prio_get( 0, call.id(), &priority );
        ( void )call.sdk.bcm_field_entry_prio_set( 0, call.id( 1 ), priority );
        return call.proceed();
      } },
    { "instances-room", SdkOp::bcm_field_group_status_get, "free slices are those of pipe 0",
      []( Call & call ) {
        const U32 group = std::exchange( call.id(), 2 );
        const int inPipe0 = call.proceed();
        const S32 free = statusOf( call ).entries_free;
        call.id() = group;
        const int rc = call.proceed();
        statusOf( call ).entries_free = inPipe0 < 0 ? statusOf( call ).entries_free : free;
        return rc;
      },
      "pipes" },
    // Counters and policers
    { "counter-states", SdkOp::bcm_field_entry_stat_detach, "the counter stays attached", lost },
    { "counter-values", SdkOp::bcm_field_stat_set, "values of 32 bits",
      []( Call & call ) {
        call.arg< std::uint64_t >( 2 ) &= 0xFFFFFFFF;
        return call.proceed();
      } },
    { "counter-values", SdkOp::bcm_field_stat_create, "the next object is the same",
      []( Call & call ) {
        static U32 last = 0;
        U32 * const id = call.arg< U32 * >( 3 );
        const int rc = call.count % 2 == 1 ? 0 : call.proceed();
        *id = call.count % 2 == 1 ? last : *id;
        last = *id;
        return rc;
      } },
    { "counter-types", SdkOp::bcm_field_stat_set, "another type is a wrong argument",
      []( Call & call ) {
        std::uint64_t value = 0;
        const auto type = call.arg< bcm_field_stat_t >( 1 );
        return call.sdk.bcm_field_stat_get( 0, call.id(), type, &value ) < 0 ? BCM_E_PARAM
                                                                             : call.proceed();
      } },
    { "counter-instances", SdkOp::bcm_field_stat_create, "all objects are of pipe 0",
      []( Call & call ) {
        const U32 group = std::exchange( call.id(), call.id() & 0xFFFFFF );
        const int rc = call.proceed();
        return rc == BCM_E_NOT_FOUND && group != call.id() ? 0 : rc;
      },
      "pipes" },
    { "counter-full", SdkOp::bcm_field_stat_destroy, "the object stays taken", lost },
    { "policer-values", SdkOp::bcm_policer_set, "the new rate is lost", lost },
    { "policer-states", SdkOp::bcm_field_entry_policer_detach_all, "nothing to detach is an error",
      []( Call & call ) {
        const int rc = call.sdk.bcm_field_entry_policer_detach( 0, call.id(), 0 );
        return rc;
      } },
    { "policer-pipes", SdkOp::bcm_policer_create, "the given id is ignored",
      []( Call & call ) {
        auto * const config = call.arg< bcm_policer_config_t * >( 0 );
        config->flags &= ~BCM_POLICER_WITH_ID;
        return call.proceed();
      },
      "pipes" },
    // Selection
    { "range-states", SdkOp::bcm_field_range_destroy, "a checker in use is destroyed", pretending },
    { "range-full", SdkOp::bcm_field_range_create, "a wrong code for no checker",
      returning( BCM_E_RESOURCE, BCM_E_FULL ) },
    { "preselectors", SdkOp::bcm_field_presel_destroy, "the preselector stays", lost, "pipes" },
    { "data-states", SdkOp::bcm_field_data_qualifier_get, "the offset is lost",
      []( Call & call ) {
        const int rc = call.proceed();
        call.arg< bcm_field_data_qualifier_s * >( 1 )->offset = 0;
        return rc;
      } },
    { "data-group", SdkOp::bcm_field_qset_data_qualifier_add, "the set stays as it is", lost },
    { "data-full", SdkOp::bcm_field_data_qualifier_create, "a wrong code for no qualifier",
      returning( BCM_E_RESOURCE, BCM_E_FULL ) },
    { "data-formats", SdkOp::bcm_field_data_qualifier_ethertype_add, "a wrong code for no room",
      returning( BCM_E_RESOURCE, BCM_E_FULL ) },
    // The chip
    { "ports", SdkOp::bcm_port_config_get, "a port is in two pipes",
      []( Call & call ) {
        const int rc = call.proceed();
        call.arg< bcm_port_config_t * >( 0 )->per_pipe_ports[ 1 ].add( 0 );
        return rc;
      },
      "pipes" },
    { "start-up", SdkOp::bcm_field_control_set, "an unknown control", returning( 0, BCM_E_PARAM ) },
    { "capacity-use", SdkOp::kelmor_bcm_tcam_capacity_info_get, "every slice is free",
      []( Call & call ) {
        const int rc = call.proceed();
        kelmor_tcam_slice_info_t & slice =
            call.arg< kelmor_tcam_capacity_info_t * >( 0 )->stage[ 0 ].slice[ 0 ];
        slice.entries_free = slice.entries_total;
        return rc;
      } },
    { "capacity-record", SdkOp::kelmor_bcm_tcam_capacity_info_get, "more rows are free than exist",
      []( Call & call ) {
        const int rc = call.proceed();
        ++call.arg< kelmor_tcam_capacity_info_t * >( 0 )->stage[ 0 ].slice[ 1 ].entries_free;
        return rc;
      } },
    { "compress", SdkOp::bcm_field_group_compress, "throws",
      []( Call & ) -> int { throw std::runtime_error( "no answer" ); } },
    { "texts", SdkOp::kelmor_field_entry_show, "no text", lost },
    { "entry-dump", SdkOp::bcm_field_entry_dump, "not available", returning( 0, BCM_E_UNAVAIL ) },
    // A leak after a refusal: the entry is created all the same.
    { "entry-chosen-id", SdkOp::bcm_field_entry_create, "a row is lost with every entry",
      []( Call & call ) {
        U32 leaked = 0;
        const U32 group = call.id();
        ( void )call.sdk.bcm_field_entry_create( 0, group, &leaked );
        return call.proceed();
      } },
    { "slices-full", SdkOp::bcm_field_group_config_create, "the refused group exists",
      []( Call & call ) {
        auto * const config = call.arg< bcm_field_group_config_t * >( 0 );
        const int rc = call.proceed();
        return rc == 0 && ( config->group & 0xFF ) == 2 ? BCM_E_RESOURCE : rc;
      } },
};

class PlantedFault : public testing::TestWithParam< Fault > {};

TEST_P( PlantedFault, IsFoundByTheCheckThatItBreaks ) {
  const Fault & fault = GetParam();
  SoftAsic::SoftAsic sdk;
  sdk.addUnit( 0, chipNamed( fault.chip ) );
  FaultySdk faulty( sdk, fault.op, fault.effect );
  const SdkCheck::Result result = runNamed( fault.check, faulty );
  EXPECT_EQ( result.verdict, Verdict::failed ) << textOf( result );
}

INSTANTIATE_TEST_SUITE_P( SdkCheckTest, PlantedFault, testing::ValuesIn( faults ) );

TEST( SdkCheckTest, EveryCheckIsBrokenByAFault ) {
  for ( const SdkCheck::Check & check : SdkCheck::checks() )
    EXPECT_TRUE(
        std::any_of(
            std::begin( faults ), std::end( faults ),
            [ & ]( const Fault & fault ) { return fault.check == std::string( check.name ); } ) ||
        check.name == std::string( "properties" ) )  // makes no call
        << check.name;
}

// --- Reports ---------------------------------------------------------------------------------

TEST( SdkCheckTest, AFailureNamesTheCallWithItsArgumentsAndBothCodes ) {
  SoftAsic::SoftAsic sdk;
  sdk.addUnit( 0, chipNamed( "single" ) );
  FaultySdk faulty( sdk, SdkOp::bcm_field_entry_create_id, returning( -8, -10 ) );
  EXPECT_THAT(
      failures( faulty ),
      Contains(
          "FAILED          entry-taken               bcm_field_entry_create_id unit=0 group=1 "
          "entry=0x10001: expected -8 (BCM_E_EXISTS), got -10 (Operation still running)" ) );
  EXPECT_THAT( sdk.groups( 0 ), IsEmpty() );  // cleaned up after failures
}

TEST( SdkCheckTest, WhatABindingLacksIsNotSupported ) {
  SoftAsic::ChipProfile bare = chipNamed( "single" );
  bare.policers = 0;
  bare.rangeCheckers = 0;
  bare.dataChunks = 0;
  SoftAsic::SoftAsic sdk;
  sdk.addUnit( 0, bare );
  EXPECT_THAT( failures( sdk ), IsEmpty() );
  for ( const char * name : { "policer-values", "range-full", "data-states", "data-full" } )
    EXPECT_EQ( runNamed( name, sdk ).verdict, Verdict::notSupported ) << name;
  // What the library cannot do without fails.
  Shim::UnavailableSdk nothing;
  EXPECT_THAT(
      failures( nothing ),
      Contains( HasSubstr( "bcm_field_group_config_create unit=0 config.group=1: expected 0" ) ) );
}

TEST( SdkCheckTest, APluginRefusesAHostOfAnotherVersion ) {
  U32 version = 0;
  EXPECT_EQ( morvane_sdk( Shim::sdkInterfaceVersion + 1, &version ), nullptr );
  EXPECT_EQ( version, Shim::sdkInterfaceVersion );
  Shim::SdkShim * const sdk = morvane_sdk( version, &version );
  ASSERT_NE( sdk, nullptr );
  EXPECT_EQ( morvane_sdk( version, &version ), sdk );
}

TEST( SdkCheckTest, RefusesWhatIsNoBinding ) {
  for ( const auto & [ path, reason ] :
        { std::pair( "./no-such-library.so", "./no-such-library.so: cannot open" ),
          std::pair( "libm.so.6", "libm.so.6: exports no function morvane_sdk" ) } ) {
    std::string text;
    try {
      ( void )SdkCheck::loadSdk( path );
    } catch ( const std::runtime_error & error ) {
      text = error.what();
    }
    EXPECT_THAT( text, testing::StartsWith( reason ) );
  }
}

}  // namespace
}  // namespace SdkCheckTest
