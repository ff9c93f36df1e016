// Records of SDK calls: written, read, played and reduced.

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "sdkcheck/Checks.h"
#include "sdkcheck/Chips.h"
#include "sdkrecord/Minimise.h"
#include "sdkrecord/Recorder.h"
#include "shim/UnavailableSdk.h"
#include "softasic/CallLog.h"
#include "softasic/FaultInjector.h"
#include "tools/random-walk/Stretch.h"

namespace SdkRecordTest {
namespace {

using namespace Kiv::Integers;
using SdkRecord::Events;
using SdkRecord::Played;
using SdkRecord::Recording;
using Shim::SdkOp;
using testing::ElementsAre;
using testing::HasSubstr;

class RecordTest : public testing::Test {
 protected:
  RecordTest() : file( testing::TempDir() + "/calls-" + std::to_string( getpid() ) + ".rec" ) {}
  ~RecordTest() override { std::filesystem::remove( file ); }

  Recording recording() const {
    std::ifstream in( file );
    return SdkRecord::parseRecording( std::string{ std::istreambuf_iterator< char >( in ), {} } );
  }
  // On new chips of the record.
  static Played playOn( const SdkRecord::Units & units, const Events & events ) {
    const auto chips = SdkRecord::chipsOf( units );
    return play( events, *chips, chips.get() );
  }

  const std::string file;
};

std::string textOf( const Played & played, const Events & events ) {
  if ( !played.difference )
    return "";
  return eventText( *events[ played.difference->event ] ) + played.difference->where + " got " +
         played.difference->got;
}

// --- The library's calls ---------------------------------------------------------------------

TEST_F( RecordTest, AWalkReplaysOnItsShapeAndDiffersOnAnother ) {
  using namespace ::Test::RandomWalk;
  const std::span< const Shape > all = shapes();
  for ( size_t i = 0; i < all.size(); ++i ) {
    Stretch stretch = makeStretch(
        { .shape = &all[ i ], .shortest = 500, .longest = 500, .auditEvery = 100 }, 3 );
    stretch.setting.record = file;
    ASSERT_EQ( playInChild( stretch ), "" );
    const Recording record = recording();
    const Events events = eventsOf( record );
    const Played same = playOn( record.units, events );
    EXPECT_EQ( textOf( same, events ), "" ) << all[ i ].name;
    EXPECT_GT( same.calls, 1000U ) << all[ i ].name;

    SdkRecord::Units others = record.units;
    for ( auto & [ unit, chip ] : others )
      chip = ::Test::profile( all[ ( i + 1 ) % all.size() ].chip );
    EXPECT_TRUE( playOn( others, events ).difference ) << all[ i ].name;
  }
}

TEST_F( RecordTest, ChecksOfABindingReplay ) {
  for ( const SoftAsic::ChipProfile & chip : SdkCheck::chips() ) {
    {
      SoftAsic::SoftAsic asic;
      asic.addUnit( 0, chip );
      SdkRecord::Recorder recorder( asic, file );
      for ( const SdkCheck::Check & check : SdkCheck::checks() )
        EXPECT_NE( SdkCheck::run( check, recorder, 0, 2000 ).verdict, SdkCheck::Verdict::failed );
      EXPECT_EQ( asic.lockViolations(), 0U );
    }
    const Recording record = recording();
    const Events events = eventsOf( record );
    EXPECT_EQ( textOf( playOn( record.units, events ), events ), "" ) << chip.name;
  }
}

// --- The form --------------------------------------------------------------------------------

// Other than zero, and of no two leaves the same.
void fill( const SdkRecord::Leaf & leaf, U32 number ) {
  std::visit(
      [ & ]( const auto & value ) {
        using Value = std::remove_cvref_t< decltype( value ) >;
        if constexpr ( std::is_same_v< Value, SdkRecord::Number > )
          value.set( value.isBool ? 0 : number % 100 + 1 );
        else if constexpr ( std::is_same_v< Value, SdkRecord::Bits > )
          leaf.read( fmt::format( "[{},{}]", number % 30, number % 30 + 40 ) );
        else if constexpr ( std::is_same_v< Value, SdkRecord::Bytes > )
          value[ number % value.size() ] = static_cast< U8 >( number );
        else if constexpr ( std::is_same_v< Value, std::string * > )
          *value = "a \"b\"\n\\x -> \x01" + std::to_string( number );
      },
      leaf.value );
}

TEST_F( RecordTest, EveryOperationIsReadAsItWasWrittenAndIsTheOneThatIsCalled ) {
  std::string text = SdkRecord::headerText( {} );
  for ( U32 op = 0; op < static_cast< U32 >( SdkOp::count ); ++op ) {
    SdkRecord::Event event;
    event.operation = &SdkRecord::operationOf( static_cast< SdkOp >( op ) );
    event.unit = 1;
    event.before = event.operation->make();
    U32 number = op;
    for ( const SdkRecord::Leaf & leaf : event.before->leaves( *event.operation ).in )
      if ( leaf.path != "nstat" && leaf.path != "length" )
        fill( leaf, ++number );
    event.after = event.before->copy();
    for ( const SdkRecord::Leaf & leaf : event.after->leaves( *event.operation ).out )
      fill( leaf, ++number );
    text += eventText( event );
  }
  const Recording record = SdkRecord::parseRecording( text );
  std::string again = SdkRecord::headerText( {} );
  Shim::UnavailableSdk unavailable;
  SoftAsic::CallLog log( unavailable );
  for ( const SdkRecord::Event & event : record.events ) {
    again += eventText( event );
    SdkRecord::play( { &event }, log, nullptr );
    EXPECT_EQ( log.records().back().op, event.operation->op );
  }
  EXPECT_EQ( again, text );
  EXPECT_EQ( log.total(), static_cast< U64 >( SdkOp::count ) );
}

// Bytes of the record that no leaf refers to.
template < class... Records >
std::vector< size_t > bytesWithoutLeaf( Records... records ) {
  const auto missing = []( auto & record ) {
    std::vector< SdkRecord::Leaf > leaves;
    SdkRecord::Leaves( leaves, "record", SdkRecord::IdKind::none ).add( record );
    size_t missed = sizeof record;
    for ( const SdkRecord::Leaf & leaf : leaves )
      if ( const auto * const number = std::get_if< SdkRecord::Number >( &leaf.value ) )
        missed -= number->size;
      else if ( const auto * const bits = std::get_if< SdkRecord::Bits >( &leaf.value ) )
        missed -= bits->words.size_bytes();
      else
        missed -= std::get< SdkRecord::Bytes >( leaf.value ).size_bytes();
    return missed;
  };
  return { missing( records )... };
}

TEST_F( RecordTest, NoFieldOfARecordOfTheSdkIsForgotten ) {
  EXPECT_THAT(
      bytesWithoutLeaf( bcm_field_group_config_t{}, bcm_field_group_status_s{}, bcm_port_config_t{},
                        bcm_field_src_class_t{}, bcm_mac_t{}, bcm_ip6_t{}, bcm_policer_config_t{},
                        bcm_field_data_qualifier_s{}, bcm_field_data_packet_format_s{},
                        bcm_field_data_ethertype_s{}, kelmor_tcam_capacity_info_t{} ),
      testing::Each( 0U ) );
}

TEST_F( RecordTest, LinesThatAreNoneAreRefusedWithTheirNumber ) {
  const std::string chip = "sdk-record 1\nchip unit=0 name=\"c\" pipes=1 ";
  const struct {
    std::string text;
    U32 line;
    const char * what;
  } wrong[] = {
      { "", 1, "it is empty" },
      { "sdk-record 2\n", 1, "\"sdk-record 1\" is expected" },
      { chip + "\n", 2, "portsPerPipe=VALUE is expected" },
      { "sdk-record 1\nstage unit=3 kind=IFP slices=[1x2x3] doubleWide=0 paired=0 keyBits=[]\n", 2,
        "unit 3 has no chip" },
      { "sdk-record 1\n\n# text\nbcm_field_group unit=0 -> 0\n", 4,
        "no operation bcm_field_group" },
      { "sdk-record 1\nbcm_field_group_destroy unit=0 -> 0\n", 2, "group=VALUE is expected" },
      { "sdk-record 1\nbcm_field_group_destroy unit=0 group=-1 -> 0\n", 2, "group: \"-1\" is not" },
      { "sdk-record 1\nbcm_field_group_destroy unit=0 group=1x -> 0\n", 2, "group: \"1x\" is not" },
      { "sdk-record 1\nbcm_field_group_destroy unit=0 group=0x100000000 -> 0\n", 2, "is not" },
      { "sdk-record 1\nbcm_field_group_destroy unit=0 group=1 more=2 -> 0\n", 2, "\"more=2\"" },
      { "sdk-record 1\nbcm_field_group_destroy unit=0 group=1 -> 0 entry=1\n", 2, "\"entry=1\"" },
      { "sdk-record 1\nbcm_field_entry_create unit=0 group=1 -> 0\n", 2, "entry=VALUE" },
      { "sdk-record 1\nbcm_field_group_set unit=0 group=1 qset=[Nothing] -> 0\n", 2,
        "\"Nothing\"" },
      { "sdk-record 1\nbcm_field_group_set unit=0 group=1 qset=[] qset.data=[256] -> 0\n", 2,
        "qset.data: \"256\" is not in the set's range" },
      { "sdk-record 1\nbcm_field_qualify_data unit=0 entry=1 qual_id=1 data=0102 mask=ff length=2 "
        "-> 0\n",
        2, "another length" },
      { "sdk-record 1\nbcm_field_qualify_SrcMac unit=0 entry=1 data=00 mask=00 -> 0\n", 2,
        "data: \"00\" is not of the argument's length" },
      { "sdk-record 1\npacket unit=0 time=0 port=0 egress=0 frame=0g\n", 2, "hexadecimal" },
      { "sdk-record 1\nreset unit=0\nchip unit=0\n", 3, "must precede" } };
  for ( const auto & each : wrong ) {
    try {
      SdkRecord::parseRecording( each.text );
      ADD_FAILURE() << each.text;
    } catch ( const SdkRecord::LineError & error ) {
      EXPECT_EQ( error.line(), each.line ) << each.text;
      EXPECT_THAT( error.what(), HasSubstr( each.what ) ) << each.text;
    }
  }
}

// --- Differences -----------------------------------------------------------------------------

// Keeps 12 bits of priorities.
class OtherSdk : public Shim::SdkDecorator {
 public:
  using SdkDecorator::SdkDecorator;
  int bcm_field_entry_prio_set( U32 unit, bcm_field_entry_t entry, U32 priority ) override {
    return next().bcm_field_entry_prio_set( unit, entry, priority & 0xFFF );
  }
};

SoftAsic::ChipProfile chipWith( U32 statistics ) {
  SoftAsic::ChipProfile chip = SdkCheck::chips()[ 1 ];  // two pipes, preselectors
  chip.statistics = statistics;
  return chip;
}

bcm_field_group_config_t groupConfig( U32 presel, S32 data ) {
  bcm_field_group_config_t config = {};
  config.flags = BCM_FIELD_GROUP_CREATE_WITH_ID;
  config.group = 1;
  config.qset.add( bcmFieldQualifyDstIp );
  config.qset.add( bcmFieldQualifyOuterVlanId );
  config.qset.add( bcmFieldQualifyRangeCheck );
  config.qset.addData( static_cast< U32 >( data ) );
  config.preselset.add( presel );
  return config;
}

// Entries with counters in a group with a preselector, a range checker and a data qualifier, and a
// policer without the one that its number comes from; every tenth priority is read.
void useSdk( Shim::SdkShim & sdk, U32 entries ) KIV_NO_THREAD_SAFETY_ANALYSIS {
  sdk.sdkLock();
  U32 presel = 0;
  U32 policer = 0;
  U32 priority = 0;
  U32 range = 0;
  bcm_field_data_qualifier_s data = { 0, 0, bcmFieldDataOffsetBaseOuterL3Header, 20, 4 };
  bcm_field_qset_t qset = {};
  std::ostringstream shown;
  sdk.bcm_field_presel_create( 0, &presel );
  sdk.bcm_field_qualify_Stage( 0, presel | BCM_FIELD_QUALIFY_PRESEL, bcmFieldStageIngress );
  EXPECT_EQ( sdk.bcm_field_data_qualifier_create( 0, &data ), 0 );
  EXPECT_EQ( sdk.bcm_field_range_create( 0, &range, BCM_FIELD_RANGE_SRCPORT, 1, 9 ), 0 );
  bcm_field_group_config_t config = groupConfig( presel, data.qual_id );
  EXPECT_EQ( sdk.bcm_field_group_config_create( 0, &config ), 0 );
  EXPECT_EQ( sdk.bcm_field_group_get( 0, 1, &qset ), 0 );
  bcm_policer_config_t rate = { 0, bcmPolicerModeCommitted, 1000, 100, 0, 0 };
  sdk.bcm_policer_create( 0, &rate, &policer );
  rate.flags = BCM_POLICER_WITH_ID;
  U32 second = policer | 0x1000000;
  EXPECT_EQ( sdk.bcm_policer_create( 0, &rate, &second ), 0 );
  EXPECT_EQ( sdk.bcm_policer_destroy( 0, policer ), 0 );
  EXPECT_EQ( sdk.bcm_policer_get( 0, second, &rate ), 0 );
  for ( U32 entry = 1; entry <= entries; ++entry ) {
    U32 stat = 0;
    const bcm_field_stat_t types[] = { bcmFieldStatPackets, bcmFieldStatBytes };
    EXPECT_EQ( sdk.bcm_field_entry_create_id( 0, 1, entry ), 0 );
    EXPECT_EQ( sdk.bcm_field_stat_create( 0, 1, 2, types, &stat ), 0 );
    EXPECT_EQ( sdk.bcm_field_entry_stat_attach( 0, entry, stat ), 0 );
    EXPECT_EQ( sdk.bcm_field_entry_prio_set( 0, entry, 4090 + entry ), 0 );
    EXPECT_EQ( sdk.bcm_field_qualify_DstIp( 0, entry, entry, 0xFFFFFFFF ), 0 );
    EXPECT_EQ( sdk.bcm_field_qualify_RangeCheck( 0, entry, range, 0 ), 0 );
    if ( entry % 10 == 0 )
      sdk.bcm_field_entry_prio_get( 0, entry, &priority );
  }
  EXPECT_EQ( sdk.kelmor_field_group_show( 0, 1, &shown ), 0 );
  EXPECT_NE( shown.str(), "" );
  sdk.sdkUnlock();
}

class DifferenceTest : public RecordTest {
 protected:
  DifferenceTest() {
    SoftAsic::SoftAsic asic;
    asic.addUnit( 0, chipWith( 512 ) );
    SdkRecord::Recorder recorder( asic, file );
    useSdk( recorder, 100 );
    record = recording();
    events = eventsOf( record );
  }
  std::vector< std::string > fewest( const SdkRecord::Trial & trial ) const {
    std::vector< std::string > names;
    for ( const SdkRecord::Event * const event :
          SdkRecord::minimise( events, *trial( events ), trial ) )
      names.emplace_back( event->operation->name );
    return names;
  }

  Recording record;
  Events events;
};

TEST_F( DifferenceTest, AWrongValueIsFoundAtItsCallAndNeedsOnlyWhatLeadsToIt ) {
  const SdkRecord::Trial trial = [ & ]( const Events & some ) {
    const auto chips = SdkRecord::chipsOf( record.units );
    OtherSdk sdk( *chips );
    return play( some, sdk, chips.get() ).difference;
  };
  const std::optional< SdkRecord::Difference > difference = trial( events );
  ASSERT_TRUE( difference );
  EXPECT_EQ( eventText( *events[ difference->event ] ),
             "bcm_field_entry_prio_get unit=0 entry=10 -> 0 priority=0x1004\n" );
  EXPECT_EQ( difference->where + " " + difference->recorded + " " + difference->got,
             "priority 0x1004 4" );
  EXPECT_THAT( fewest( trial ),
               ElementsAre( "bcm_field_presel_create", "bcm_field_data_qualifier_create",
                            "bcm_field_group_config_create", "bcm_field_entry_create_id",
                            "bcm_field_entry_prio_set", "bcm_field_entry_prio_get" ) );
}

TEST_F( DifferenceTest, AResourceThatRunsOutNeedsThoseThatTakeIt ) {
  const SdkRecord::Trial trial = [ & ]( const Events & some ) {
    return playOn( { { 0, chipWith( 12 ) } }, some ).difference;
  };
  const std::vector< std::string > calls = fewest( trial );
  EXPECT_EQ( std::count( calls.begin(), calls.end(), "bcm_field_stat_create" ), 13 );
  EXPECT_EQ( calls.size(), 16U );  // with preselector, data qualifier and group
}

TEST_F( DifferenceTest, AFaultIsFoundAtItsCall ) {
  for ( const auto & [ exception, got ] :
        { std::pair( std::exception_ptr(), "-11 (Operation failed)" ),
          std::pair( std::make_exception_ptr( 1 ), "did not return" ) } ) {
    const auto chips = SdkRecord::chipsOf( record.units );
    SoftAsic::FaultInjector faults( *chips );
    faults.arm( { .op = SdkOp::bcm_field_entry_prio_set,
                  .nth = 37,
                  .rc = BCM_E_FAIL,
                  .exception = exception } );
    EXPECT_EQ( textOf( play( events, faults, chips.get() ), events ),
               "bcm_field_entry_prio_set unit=0 entry=37 priority=0x101f -> 0\nresult got " +
                   std::string( got ) );
  }
}

TEST_F( DifferenceTest, ACallThatDidNotReturnIsInTheRecord ) {
  {
    const auto chips = SdkRecord::chipsOf( record.units );
    SoftAsic::FaultInjector faults( *chips );
    SdkRecord::Recorder recorder( faults, file );
    faults.arm( { .exception = std::make_exception_ptr( 1 ) } );
    EXPECT_ANY_THROW( recorder.bcm_field_group_destroy( 0, 5 ) );
  }
  std::ofstream( file, std::ios::app ) << "bcm_field_group_compress unit=0 group=1";
  const Recording threw = recording();
  ASSERT_EQ( threw.events.size(), 2U );
  EXPECT_TRUE( threw.units.empty() );
  for ( const SdkRecord::Event & event : threw.events ) {
    const Events events{ &event };
    EXPECT_EQ( playOn( record.units, events ).difference->recorded, "did not return" );
  }
}

// Chips on which the first id of every kind that the SDK chooses is taken.
std::unique_ptr< SoftAsic::SoftAsic > usedChips( const SdkRecord::Units & units )
    KIV_NO_THREAD_SAFETY_ANALYSIS {
  auto chips = SdkRecord::chipsOf( units );
  useSdk( *chips, 1 );
  chips->sdkLock();
  bcm_policer_config_t rate = { 0, bcmPolicerModeCommitted, 1000, 100, 0, 0 };
  U32 policer = 0;
  EXPECT_EQ( chips->bcm_policer_create( 0, &rate, &policer ), 0 );
  const U32 stat = chips->entry( 0, 1 )->stat;
  EXPECT_EQ( chips->bcm_field_entry_stat_detach( 0, 1, stat ), 0 );
  EXPECT_EQ( chips->bcm_field_entry_destroy( 0, 1 ), 0 );
  EXPECT_EQ( chips->bcm_field_group_destroy( 0, 1 ), 0 );
  chips->sdkUnlock();
  return chips;
}

TEST_F( DifferenceTest, IdsOfAnSdkMayDifferUnlessTheyMustNot ) {
  const auto chips = usedChips( record.units );
  EXPECT_EQ( textOf( play( events, *chips, chips.get() ), events ), "" );
  const auto others = usedChips( record.units );
  EXPECT_EQ( textOf( play( events, *others, others.get(), { .exactIds = true } ), events ),
             "bcm_field_presel_create unit=0 -> 0 presel=0\npresel got 1" );
}

}  // namespace
}  // namespace SdkRecordTest
