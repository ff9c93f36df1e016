// The call protocol as the SDK sees it: locks, order, texts, results.

#include <gmock/gmock.h>

#include <stdexcept>

#include "kiv/Exception.h"
#include "kiv/Trace.h"
#include "shim/SdkCall.h"
#include "shim/SdkDecorator.h"
#include "shim/UnavailableSdk.h"
#include "snaptrace/BcmFpCmd.h"
#include "tests/shim/Death.h"

namespace {

using Kiv::U32;
using Shim::SdkOp;
using Test::deathOf;
using Test::inChild;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

// Records which locks are held at each step; every operation returns `rc`.
class FakeShim : public Shim::SdkShim {
 public:
  void sdkLock() override KIV_NO_THREAD_SAFETY_ANALYSIS { note( "lock" ), locked = true; }
  void sdkUnlock() override KIV_NO_THREAD_SAFETY_ANALYSIS { locked = false, note( "unlock" ); }
  const char * sdkErrorText( int ) const override { return "Entry not found"; }
#define SDK_OP( name, params, args )                  \
  int name( U32 unit SDK_UNPACK params ) override {   \
    return call( SdkOp::name, unit SDK_UNPACK args ); \
  }
#define SDK_QUERY( name )                \
  bool name( U32 unit ) const override { \
    return unit == 5;                    \
  }
#include "shim/SdkOperations.inc"

  void note( std::string step ) {
    if ( Kiv::ActivityUnlockAnchor::lock().held() )
      step += " activity";
    if ( locked )
      step += " sdk";
    steps.push_back( step );
  }

  std::vector< std::string > steps;
  SdkOp last = SdkOp::count;
  U32 lastUnit = 0;
  int rc = 0;
  bool throws = false;
  bool locked = false;

 private:
  template < class... A >
  int call( SdkOp op, U32 unit, const A &... ) {
    note( "call" );
    last = op, lastUnit = unit;
    if ( throws )
      throw std::runtime_error( "bus" );
    return rc;
  }
};

class FunnelTest : public testing::Test {
 protected:
  FunnelTest() KIV_NO_THREAD_SAFETY_ANALYSIS {
    Shim::sdk_ = &sdk;
    activity.lock();
  }
  ~FunnelTest() override KIV_NO_THREAD_SAFETY_ANALYSIS {
    activity.unlock();
    bcmFpCmd.enabledIs( false );
    Shim::sdk_ = nullptr;
  }
  // The lines that a call writes to the ring.
  template < class F >
  std::vector< std::string > traced( F code ) {
    bcmFpCmd.enabledIs( true );
    bcmFpCmd.handle().ringBuf()->clear();
    code();
    return bcmFpCmd.handle().lines();
  }

  FakeShim sdk;
  Kiv::Lock & activity = Kiv::ActivityUnlockAnchor::lock();
  const U32 unit = 0;
  const U32 groupId = 3;
};

TEST_F( FunnelTest, EveryFormSwapsLocksAroundTheCall ) {
  const auto argument = [ this ] { return sdk.note( "argument" ), groupId; };
  const std::vector< void ( * )( FunnelTest *, decltype( argument ) ) > forms = {
      []( FunnelTest *, auto id ) { SDK_CHECKED( bcm_field_group_destroy( 0, id() ) ); },
      []( FunnelTest *, auto id ) { SDK_TOLERATED( -7, bcm_field_group_destroy( 0, id() ) ); },
      []( FunnelTest *, auto id ) { SDK_ASSERTED( bcm_field_group_destroy( 0, id() ) ); },
      []( FunnelTest *, auto id ) { SDK_UNCHECKED( bcm_field_group_destroy( 0, id() ) ); },
      []( FunnelTest *, auto id ) { ( void )SDK_CALL( bcm_field_group_destroy( 0, id() ) ); } };
  for ( const bool throws : { false, true } ) {
    for ( const auto form : forms ) {
      sdk.steps.clear();
      sdk.throws = throws;
      if ( throws )
        EXPECT_THROW( form( this, argument ), std::runtime_error );
      else
        form( this, argument );
      EXPECT_THAT( sdk.steps, ElementsAre( "argument activity", "lock", "call sdk", "unlock" ) );
      EXPECT_TRUE( activity.held() );
    }
  }
}

TEST_F( FunnelTest, CallWithoutTheActivityLockThrows ) {
  activity.assumeHeld();
  const Kiv::UnlockAnchor anchor( activity );
  EXPECT_THROW( ( void )SDK_CALL( bcm_field_group_destroy( unit, groupId ) ),
                Kiv::InternalException );
  EXPECT_TRUE( sdk.steps.empty() );
}

TEST_F( FunnelTest, TraceLinesShowTheCallAsWritten ) {
  struct Sink : Kiv::TraceSink {
    void line( const Kiv::TraceHandle &, U32, std::string_view text ) override {
      lines.emplace_back( text );
    }
    std::vector< std::string > lines;
  } sink;
  sdk.rc = -7;
  const std::string at = std::string( __FILE__ ) + ":";
  U32 line = 0;
  const auto calls = [ & ] {
    line = __LINE__ + 1;
    SDK_TOLERATED( -7, bcm_field_group_destroy( unit, groupId ) );
    SDK_UNCHECKED( bcm_field_group_compress( unit, groupId ) );
    sdk.rc = 2;
    SDK_CHECKED_RV( bcm_field_qualify_DSCP( unit, groupId | BCM_FIELD_QUALIFY_PRESEL, 1, ~0 ) );
  };
  Kiv::traceSinkIs( &sink );
  Shim::sdkTrace.levelIs( 0, true );
  const std::vector< std::string > lines = traced( calls );
  EXPECT_THAT( lines, ElementsAre( at + std::to_string( line ) +
                                       " bcm_field_group_destroy( unit, groupId ) (rc:-7)",
                                   at + std::to_string( line + 1 ) +
                                       " bcm_field_group_compress( unit, groupId ) no rc check",
                                   at + std::to_string( line + 3 ) +
                                       " bcm_field_qualify_DSCP( unit, groupId | "
                                       "BCM_FIELD_QUALIFY_PRESEL, 1, ~0 ) (rv:2)" ) );
  EXPECT_EQ( sink.lines, lines );
  Shim::sdkTrace.levelIs( 0, false );
  calls();
  EXPECT_EQ( sink.lines.size(), 3U );
  Kiv::traceSinkIs( nullptr );
}

std::string failedAt;

void destroyGroup( U32 unit, U32 groupId ) {
  failedAt = std::string( __PRETTY_FUNCTION__ );
  SDK_CHECKED( bcm_field_group_destroy( unit, groupId ) );
}

TEST_F( FunnelTest, FailedCheckedCallEndsTheProcess ) {
  destroyGroup( unit, groupId );
  sdk.rc = -7;
  const std::string text = deathOf( [ & ] { destroyGroup( unit, groupId ); } );
  const std::string place = std::string( __FILE__ ) + ":" + std::to_string( __LINE__ - 7 );
  EXPECT_THAT( text, testing::StartsWith( place + " bcm_field_group_destroy( unit, groupId )"
                                                  " API ERROR:Entry not found (-7)\n" ) );
  EXPECT_THAT( text, EndsWith( place + ": " + failedAt + ": Assertion `0' failed.\n" ) );
}

TEST_F( FunnelTest, UnexpectedResultsEndTheProcess ) {
  const struct {
    int rc;
    int tolerated;
    bool fatal;
  } rows[] = { { 0, 0, false },   { 3, 0, false }, { -7, -7, false }, { -7, -8, true },
               { -14, -7, true }, { -1, 0, true }, { -1, 1, true },   { -1, -1, false } };
  for ( const auto & row : rows ) {
    sdk.rc = row.rc;
    const auto code = [ & ] { SDK_TOLERATED( row.tolerated, bcm_field_group_dump( unit, 1 ) ); };
    EXPECT_EQ( inChild( code ).aborted, row.fatal ) << row.rc << " " << row.tolerated;
  }
  sdk.rc = -7;
  EXPECT_THAT( deathOf( [ & ] { SDK_ASSERTED( bcm_field_group_dump( unit, 1 ) ); } ),
               HasSubstr( ": Assertion `err == BCM_E_NONE' failed." ) );
  const int rc = SDK_CALL( bcm_field_group_dump( unit, 1 ) );
  EXPECT_THAT( deathOf( [ & ] { SDK_RESULT( rc ); } ),
               HasSubstr( " rc API ERROR:Entry not found (-7)\n" ) );
  EXPECT_THAT( deathOf( [ & ] { SDK_RESULT_OF( rc, bcm_field_group_dump( unit, 1 ) ); } ),
               HasSubstr( " bcm_field_group_dump( unit, 1 ) API ERROR:Entry not found (-7)\n" ) );
  const auto unchecked = [ & ] { SDK_UNCHECKED( bcm_field_group_dump( unit, 1 ) ); };
  EXPECT_EQ( inChild( unchecked ).text, "" );
}

// --- Decorators --------------------------------------------------------------------------------

struct Recorder : Shim::SdkDecorator {
  using SdkDecorator::SdkDecorator;
  int around( const Shim::SdkCallInfo & info, const Shim::SdkInvocation & call ) override {
    seen = info;
    return skip ? -11 : call();
  }
  Shim::SdkCallInfo seen{};
  bool skip = false;
};

template < class... A >
int callEmpty( Shim::SdkShim & shim, int ( Shim::SdkShim::*op )( U32, A... ) ) {
  return ( shim.*op )( 4, A{}... );
}

TEST_F( FunnelTest, DecoratorForwardsEveryOperation ) {
  Recorder recorder( sdk );
  bcm_field_group_config_t config = {};
  config.group = 0x5000007;
#define SDK_OP( name, params, args )                                                    \
  if ( SdkOp::name != SdkOp::bcm_field_group_config_create ) {                          \
    EXPECT_EQ( callEmpty( recorder, &Shim::SdkShim::name ), 0 );                        \
    EXPECT_TRUE( recorder.seen.op == SdkOp::name && sdk.last == SdkOp::name ) << #name; \
    EXPECT_TRUE( recorder.seen.unit == 4 && sdk.lastUnit == 4 ) << #name;               \
    EXPECT_STREQ( Shim::sdkOpName( SdkOp::name ), #name );                              \
  }
#define SDK_QUERY( name ) EXPECT_TRUE( recorder.name( 5 ) && !recorder.name( 4 ) ) << #name;
#include "shim/SdkOperations.inc"

  recorder.bcm_field_group_config_create( 1, &config );
  EXPECT_EQ( recorder.seen.id, 0x5000007U );
  recorder.bcm_field_entry_create_id( 1, 3, 0x1000009 );
  EXPECT_EQ( recorder.seen.id, 3U );
  recorder.skip = true;
  sdk.last = SdkOp::count;
  EXPECT_EQ( recorder.bcm_field_entry_install( 1, 9 ), -11 );
  EXPECT_EQ( sdk.last, SdkOp::count );
  EXPECT_STREQ( Shim::sdkOpName( SdkOp::count ), "unknown" );
}

// A binding that overrides one operation.
TEST( UnavailableSdkTest, AnswersWhatABindingDoesNot ) {
  struct Binding : Shim::UnavailableSdk {
    int bcm_field_entry_destroy( U32, bcm_field_entry_t ) override { return 0; }
  } binding;
#define SDK_OP( name, params, args )                                   \
  EXPECT_EQ( callEmpty( binding, &Shim::SdkShim::name ),               \
             SdkOp::name == SdkOp::bcm_field_entry_destroy ? 0 : -16 ) \
      << #name;
#define SDK_QUERY( name ) EXPECT_FALSE( binding.name( 0 ) ) << #name;
#include "shim/SdkOperations.inc"
}

}  // namespace
