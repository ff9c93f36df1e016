// Fails SDK call 1, 2, 3 ... of every way to program user-defined fields with each relevant code:
// the operation ends as documented with equal records, or ends the process.

#include "tests/morvane/UdfSwitch.h"

namespace Test::UdfAnomaly {

constexpr Field first{ UdfBaseL3HeaderStart, 8 }, second{ UdfBaseL2HeaderEnd, 12, 0x0800 };

using Code = void ( * )( UdfSwitch & );

void addSecond( UdfSwitch & sw ) {
  sw.set( second );
}

MorvaneTcamEntryManager & userOf( const UdfSwitch & sw, U32 group ) {
  return sw.manager( group == 4 ? openFlowUdfTcamGroup : sw.user( group ) );
}

void releaseAll( const UdfSwitch & sw, U32 group ) {
  MorvaneTcamEntryManager & user = userOf( sw, group );
  for ( auto entry = sw.books( user ).entryCreatedIterConst(); entry; ++entry )
    user.releaseEntry( 0, entry.key() );
}

const struct Scenario {
  const char * name;
  bool byWidth, byFixedKeys;  // why the group is rebuilt
  Code prepare;               // groups 1 and 2 exist, and group 1 has an installed entry
  Code run;
  bool refused = false;  // no slices for the rebuilt group
} scenarios[] = {
    { "new in place", false, false, []( UdfSwitch & ) {}, addSecond },
    { "new by rebuild", true, false, []( UdfSwitch & sw ) { sw.set( first ); }, addSecond },
    { "rebuild refused", true, false, []( UdfSwitch & sw ) { sw.set( first ); }, addSecond, true },
    { "shared in place", false, false, []( UdfSwitch & sw ) { sw.set( second, true, 2 ); },
      addSecond },
    { "shared by rebuild", false, true,
      []( UdfSwitch & sw ) { sw.set( second, true, 2 ), sw.set( second, true, 2 ); }, addSecond },
    { "remove the last use", false, false,
      []( UdfSwitch & sw ) {
        sw.set( second ), sw.set( second, true, 2 ), sw.set( second, false );
      },
      []( UdfSwitch & sw ) { sw.set( second, false, 2 ); } },
    { "release the group", false, false,
      []( UdfSwitch & sw ) { sw.set( first ), sw.set( second ), sw.set( second, true, 2 ); },
      []( UdfSwitch & sw ) { releaseAll( sw, 1 ); } },
    { "flow group", false, false, []( UdfSwitch & ) {},
      []( UdfSwitch & sw ) { userOf( sw, 4 ).initializeGroup( 0 ); } },
    { "release the flow group", false, false,
      []( UdfSwitch & sw ) { sw.take( openFlowUdfTcamGroup ); },
      []( UdfSwitch & sw ) { releaseAll( sw, 4 ); } } };

// Whether the process survives when that call fails with rc.
bool survives( const Scenario & scenario, const Chip & chip, const SoftAsic::CallRecord & call,
               int rc ) {
  switch ( call.op ) {
    case SdkOp::bcm_field_group_compress:
    case SdkOp::bcm_field_group_dump:
    case SdkOp::bcm_field_group_config_create:  // retried once
      return true;
    case SdkOp::bcm_field_data_qualifier_create:
    case SdkOp::bcm_field_data_qualifier_packet_format_add:
    case SdkOp::bcm_field_data_qualifier_ethertype_add:
      return rc == -14;
    case SdkOp::bcm_field_group_set:
      return scenario.run == addSecond && tcamPipeBits.get( call.id ) == 0 &&
             ( rc == -14 || rc > 0 || ( rc == -16 && chip.presels ) );
    default:
      return false;
  }
}

// Runs in a child; any text on standard error is a failure.
void attempt( UdfSwitch & sw, const Scenario & scenario, SdkOp op ) {
  const std::string before = sw.state();
  scenario.run( sw );
  if ( !Kiv::ActivityUnlockAnchor::lock().held() || sw.asic.sdkLockHeld() )
    std::fputs( "left a lock astray\n", stderr );
  if ( op == SdkOp::bcm_field_data_qualifier_create && sw.state() != before )
    std::fputs( ( "left\n" + difference( before, sw.state() ) ).c_str(), stderr );
  std::fputs( sw.audit().c_str(), stderr );
  std::fputs( sw.emptied().c_str(), stderr );
}

void failEachCall( const Scenario & scenario, Chip chip, S32 type ) {
  if ( scenario.byWidth )
    chip.keyBits = UdfSwitch::plainKeyBits( chip, type ) + 40;
  chip.fixedKeys = scenario.byFixedKeys;
  chip.paired = !scenario.refused;
  UdfSwitch sw( chip, type );
  for ( const U32 group : { 1U, 2U } )
    sw.manager( sw.user( group ) ).initializeGroup( 0 );
  scenario.prepare( sw );
  sw.manager( sw.user( 1 ) ).installEntry( 0, sw.take( sw.user( 1 ) ) );
  ASSERT_EQ( sw.audit(), "" ) << scenario.name;
  const auto calls = sw.callsOf( [ & ] { scenario.run( sw ); } );
  ASSERT_GT( calls.size(), 4U ) << scenario.name;
  for ( U32 nth = 1; nth <= calls.size(); ++nth )
    for ( const int rc : { -14, -16, -11, 1 } ) {
      const SoftAsic::CallRecord & call = calls[ nth - 1 ];
      // The outcome depends on which of the two attempts fails.
      if ( scenario.refused && rc == -11 && call.op == SdkOp::bcm_field_group_config_create )
        continue;
      if ( rc > 0 && !( call.op == SdkOp::bcm_field_group_set && scenario.run == addSecond ) )
        continue;
      sw.faults.arm( { .nth = nth, .rc = rc } );
      const Ending end = inChild( [ & ] { attempt( sw, scenario, call.op ); } );
      const std::string where = fmt::format( "{} type {}: call {} {} {:#x} rc {}", scenario.name,
                                             type, nth, sdkOpName( call.op ), call.id, rc );
      const bool dies = !survives( scenario, chip, call, rc );
      EXPECT_EQ( end.aborted, dies ) << where;
      const testing::Matcher< std::string > dying = testing::AnyOf(
          HasSubstr( fmt::format( " API ERROR:{} ({})\n", sw.asic.sdkErrorText( rc ), rc ) ),
          HasSubstr( "`pipe == 0'" ), HasSubstr( "udfQual.qual_id() == currentQualId" ) );
      EXPECT_THAT( end.text, dies ? dying : testing::Eq( "" ) ) << where;
    }
}

TEST( UdfAnomalyTest, EveryCallOfEveryWayMayFail ) {
  for ( const Scenario & scenario : scenarios )
    for ( const bool presels : { true, false } )
      if ( presels || !scenario.byFixedKeys )
        for ( const S32 type : { Acl::ip(), Acl::mac() } )
          failEachCall( scenario,
                        { .pipes = 2, .secondCopy = !presels, .presels = presels, .slices = 6 },
                        type );
}

}  // namespace Test::UdfAnomaly
