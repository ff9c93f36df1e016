// Policers: a logical policer is one hardware policer per pipe, attached to every entry copy.

#include <stdexcept>

#include "tests/morvane/TestSwitch.h"

namespace Test::Policers {

struct Switch : TestSwitch {
  explicit Switch( const Chip & size ) : TestSwitch( size ) {
    platform.acl( 1, 4 );
    start();
  }
  U8 * config() { return reinterpret_cast< U8 * >( &limits ); }
  std::vector< U32 > ids() const {
    std::vector< U32 > all;
    for ( const SoftAsic::PolicerView & policer : asic.policers( 0 ) )
      all.push_back( policer.id );
    return all;
  }

  bcm_policer_config_t limits = { 0, bcmPolicerModeCommitted, 1000, 64, 0, 0 };
};

TEST( PolicerTest, EveryPipeHasItsOwnPolicer ) {
  const struct {
    Chip chip;
    std::vector< U32 > ids;
    U32 flags;  // in the caller's record afterwards
    std::vector< std::string > attached;
  } rows[] = {
      { {}, { 1 }, 0, { "entry_policer_attach 10000" } },
      { { .pipes = 2, .shared = true }, { 1 }, 0, { "entry_policer_attach 10000" } },
      { { .pipes = 2, .secondCopy = true },
        { 1, 0x1000001 },
        BCM_POLICER_WITH_ID,
        { "entry_policer_attach 10000", "entry_policer_attach 4010000",
          "entry_policer_attach 1010000", "entry_policer_attach 5010000" } },
  };
  for ( const auto & row : rows ) {
    Switch sw( row.chip );
    MorvaneTcamEntryManager & acl = sw.manager( ipAclTcamGroup );
    const U32 base = sw.groups->createPolicer( 0, sw.config() );
    EXPECT_EQ( sw.ids(), row.ids );
    EXPECT_EQ( sw.limits.flags, row.flags );
    EXPECT_EQ( sw.groups->getPipePolicerId( 0, 1, 5 ), row.chip.shared ? 5U : 0x1000005U );
    const U32 entry = sw.take( ipAclTcamGroup );
    sw.log.clear();
    acl.attachPolicer( 0, entry, base, true );
    EXPECT_EQ( sw.calls( { SdkOp::bcm_field_entry_policer_attach } ), row.attached );
    sw.limits.ckbits_sec = 2000;
    sw.groups->setPolicer( 0, base, sw.config() );
    for ( const SoftAsic::PolicerView & policer : sw.asic.policers( 0 ) )
      EXPECT_TRUE( policer.config.ckbits_sec == 2000 && !policer.entries.empty() );
    EXPECT_EQ( sw.audit(), "" );
    acl.attachPolicer( 0, entry, base, false );
    sw.groups->removePolicer( 0, base );
    EXPECT_TRUE( sw.ids().empty() );
    EXPECT_EQ( sw.audit(), "" );
  }
}

TEST( PolicerTest, FailuresHaveTheirTextsAndChangeNothing ) {
  Switch sw( { .pipes = 4, .secondCopy = true } );
  MorvaneTcamEntryManager & acl = sw.manager( ipAclTcamGroup );
  const U32 entry = sw.take( ipAclTcamGroup );
  const U32 base = sw.groups->createPolicer( 0, sw.config() );
  const auto create = [ & ] { sw.limits.flags = 0, sw.groups->createPolicer( 0, sw.config() ); };
  const auto attach = [ & ] { acl.attachPolicer( 0, entry, base, true ); };
  const auto detach = [ & ] { acl.attachPolicer( 0, entry, base, false ); };
  // Throws from, then fails, each call of the operation.
  const auto failEach = [ & ]( const auto & run, U32 calls, const char * first,
                               const char * later ) {
    const std::string before = sw.state();
    for ( U32 nth = 1; nth <= calls; ++nth ) {
      sw.faults.arm(
          { .nth = nth, .exception = std::make_exception_ptr( std::runtime_error( "bus" ) ) } );
      EXPECT_THROW( run(), std::runtime_error );
      EXPECT_EQ( sw.state() + sw.audit(), before );
      sw.faults.arm( { .nth = nth, .rc = -14 } );
      EXPECT_THAT( deathOf( run ),
                   HasSubstr( fmt::format( " {} API ERROR:", nth == 1 ? first : later ) ) );
    }
    sw.faults.disarm();
  };
  failEach( create, 4, "bcm_policer_create( unit, polCfg, ( bcm_policer_t * )&basePolicerId )",
            "bcm_policer_create( unit, polCfg, ( bcm_policer_t * )&policerId )" );
  const char * text = "bcm_field_entry_policer_attach( unit, entryId, 0, policerId )";
  failEach( attach, 8, text, text );
  attach();
  text = "bcm_field_entry_policer_detach( unit, entryId, 0 )";
  failEach( detach, 8, text, text );
  EXPECT_THAT(
      callTexts( [ & ] { sw.groups->setPolicer( 0, base, sw.config() ); } ),
      testing::Each(
          "bcm_policer_set( unit, policerId, ( bcm_policer_config_t * )policerCfg ) (rc:0)" ) );
  // createPolicer leaves the fixed-id flag in the caller's record: using it again fails at pipe 0.
  EXPECT_THAT( deathOf( [ & ] { sw.groups->createPolicer( 0, sw.config() ); } ),
               HasSubstr( "&basePolicerId ) API ERROR:" ) );
  EXPECT_THAT( deathOf( [ & ] { sw.groups->removePolicer( 0, base ); } ),
               HasSubstr( " bcm_policer_destroy( unit, ( bcm_policer_t )policerId ) API ERROR:" ) );
  for ( const auto & run :
        { std::function< void() >( [ & ] { sw.groups->createPolicer( 0, nullptr ); } ),
          std::function< void() >( [ & ] { sw.groups->setPolicer( 0, base, nullptr ); } ) } )
    EXPECT_THAT( deathOf( run ), HasSubstr( "`__null != policerCfg && \"Invalid parameter, policer "
                                            "config is empty\"'" ) );
}

}  // namespace Test::Policers
