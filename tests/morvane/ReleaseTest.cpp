// Release: undoes the steps of the allocation in reverse; ranges; the last entry.

#include "tests/morvane/TestSwitch.h"

namespace Test::Release {

// Gives the entry everything that an entry can have.
void use( TestSwitch & sw, U32 id ) {
  MorvaneTcamEntryManager & manager = sw.manager( ipAclTcamGroup );
  sw.match( 0, id, 5 );
  const bcm_pbmp_t ports = {};
  manager.inPortsForEntryIs( 0, id, ports, ports, true );
  manager.installEntry( 0, id );
  manager.loopbackRedirectIs( 0, id, bcmFieldActionRedirectPbmp, ports );
  manager.enableEntry( 0, id, false, 0 );
  sw.log.clear();
}

// Only for an entry that is handed out, even where its range exists.
void ( *const uses[] )( MorvaneTcamEntryManager &, U32 id ) = {
    []( auto & user, U32 id ) { user.releaseEntry( 0, id ); },
    []( auto & user, U32 id ) { user.installEntry( 0, id ); },
    []( auto & user, U32 id ) { user.removeEntry( 0, id ); },
    []( auto & user, U32 id ) { user.enableEntry( 0, id, false, 0 ); },
    []( auto & user, U32 id ) { user.attachPolicer( 0, id, 1, true ); },
    []( auto & user, U32 id ) { user.attachPolicer( 0, id, 1, false ); },
    []( auto & user, U32 id ) { user.loopbackRedirectIs( 0, id, bcmFieldActionRedirectPbmp, {} ); },
    []( auto & user, U32 id ) { user.inPortsForEntryIs( 0, id, {}, {}, true ); },
    []( auto & user, U32 id ) { user.inPortForEntryIs( 0, id, 3, true ); } };

TEST( ReleaseTest, StepsAreUndoneInReverse ) {
  for ( const auto strategy : { tcamAllocateUnbounded, tcamAllocateOnDemand, tcamAllocateAsChunk,
                                tcamAllocateAtBeginning } ) {
    TestSwitch sw( { .presels = true } );
    sw.platform.acl( 1, strategy == tcamAllocateUnbounded ? 0 : 3, strategy );
    sw.start();
    MorvaneTcamEntryManager & acl = sw.manager( ipAclTcamGroup );
    const U32 first = sw.take( ipAclTcamGroup, 0 );
    const std::string before = sw.state();
    const U32 second = sw.take( ipAclTcamGroup, 1 );
    use( sw, second );
    acl.releaseEntry( 0, second );
    const auto calls =
        sw.calls( { SdkOp::bcm_field_entry_remove, SdkOp::bcm_field_entry_enable_set,
                    SdkOp::bcm_field_entry_stat_detach, SdkOp::bcm_field_entry_destroy,
                    SdkOp::bcm_field_qualify_clear, SdkOp::bcm_field_action_remove_all } );
    const std::string wiped =
        "entry_remove 10001,entry_enable_set 10001,entry_stat_detach 10001,"
        "qualify_clear 10001,action_remove_all 10001";
    const std::string gone = "entry_remove {0},entry_stat_detach {0},entry_destroy {0}";
    EXPECT_EQ( fmt::format( "{}", fmt::join( calls, "," ) ),
               strategy >= tcamAllocateAsChunk
                   ? wiped
                   : fmt::format( fmt::runtime( gone ), second == 0x10001 ? "10001" : "fffffe" ) );
    EXPECT_EQ( sw.state(), before );
    EXPECT_EQ( sw.audit(), "" );
    EXPECT_FALSE( sw.records( acl ).tcamEntryBcmPbmpHas( second ) );
    for ( const auto & use : uses )
      EXPECT_THAT( deathOf( [ & ] { use( acl, second ); } ),
                   HasSubstr( "&& \"The entry is not handed out\"' failed." ) )
          << "use " << &use - uses;
    acl.releaseEntry( 0, first );  // the last one releases the group, unless a range stays in it
    EXPECT_EQ( sw.counts(), strategy == tcamAllocateAtBeginning ? "1/3" : "0/0" );
    EXPECT_EQ( sw.audit(), "" );
  }
}

}  // namespace Test::Release
