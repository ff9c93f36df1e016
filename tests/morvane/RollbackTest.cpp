// Throws from SDK call 1, 2, 3 ... of every operation, alone or together with the calls that follow
// it, so that the rollback fails too. When calls work again, the state is the one before the
// operation (after it for a release), and nothing stays allocated.

#include <stdexcept>
#include <utility>

#include "tests/Rounds.h"
#include "tests/morvane/OperationTable.h"

namespace Test::Rollback {

struct Bus : std::runtime_error {
  Bus() : runtime_error( "bus" ) {}
};

// The switch's state after the cleanup, which runs on request or in the next operation.
std::string settled( OperationSwitch & sw, bool onRequest ) {
  if ( onRequest )
    sw.groups->finishCleanup( 0 );
  else
    sw.manager( urpfTcamGroup ).entriesAvailable( 0 );
  return sw.state();
}

// Runs in a child; any text on standard error is a failure.
void attempt( OperationSwitch & sw, const TableOperation & operation, const SoftAsic::Fault & fault,
              const std::string & before, const std::string & after ) {
  sw.faults.arm( fault );
  bool thrown = false;
  try {
    operation.run( sw, 0 );
  } catch ( const Bus & ) {
    thrown = true;
  }
  if ( fault.times == 0 )
    try {
      sw.groups->finishCleanup( 0 );
    } catch ( const Bus & ) {
    }
  sw.faults.disarm();
  if ( !thrown || !Kiv::ActivityUnlockAnchor::lock().held() || sw.asic.sdkLockHeld() )
    std::fputs( "swallowed an exception, or left a lock astray\n", stderr );
  const std::string now = settled( sw, fault.nth % 2 == 0 );
  const bool isBefore = now == before, isAfter = now == after;
  const bool right[] = {
      isBefore, isAfter, isBefore || isAfter,
      isBefore || !sw.groups->groupExists( 0, 4 ) || !sw.groups->groupExists( 0, 5 ), true };
  if ( !right[ static_cast< U32 >( operation.left ) ] )
    std::fputs(
        ( "left\n" + difference( operation.left == Left::after ? after : before, now ) ).c_str(),
        stderr );
  std::fputs( sw.audit().c_str(), stderr );
  std::fputs( sw.emptied().c_str(), stderr );
}

void failEachCall( const TableOperation & operation, const Chip & chip ) {
  OperationSwitch sw( chip );
  operation.prepare( sw, 0 );
  const std::string before = sw.state();
  const std::string after = inChild( [ & ] {
                              operation.run( sw, 0 );
                              std::fputs( sw.state().c_str(), stderr );
                            } ).text;
  const U32 calls = static_cast< U32 >( sw.callsOf( [ & ] { operation.run( sw, 0 ); } ).size() );
  for ( U32 nth = 1; nth <= calls; ++nth )
    for ( const U32 times : { 1U, 2U, 3U, 0U } ) {
      if ( !inSample( nth + times, 3 ) )
        continue;
      const SoftAsic::Fault fault{
          .nth = nth, .times = times, .exception = std::make_exception_ptr( Bus() ) };
      const Ending end = inChild( [ & ] { attempt( sw, operation, fault, before, after ); } );
      EXPECT_EQ( end.text, "" ) << operation.name << " on " << testing::PrintToString( chip )
                                << ", call " << nth << " of " << calls << ", times " << times;
    }
}

TEST( RollbackTest, EveryCallOfEveryOperationMayThrow ) {
  for ( const TableOperation & operation : tableOperations() )
    for ( const Chip & chip : tableChips )
      if ( operation.left != Left::observed )  // OvidWarTest
        failEachCall( operation, chip );
}

// Runs in a child; any text on standard error is a failure.
void refuseAndThrow( OperationSwitch & sw, const TableOperation & operation,
                     const SoftAsic::Fault & refusal ) {
  const U32 next = refusal.nth + refusal.times;
  SoftAsic::FaultInjector undo( *Shim::sdk_ );
  undo.arm( { .nth = next, .exception = std::make_exception_ptr( Bus() ) } );
  sw.faults.arm( refusal );
  const auto below = std::exchange( Shim::sdk_, &undo );
  bool thrown = false;
  try {
    operation.run( sw, 0 );
  } catch ( const Bus & ) {
    thrown = true;
  }
  Shim::sdk_ = below;
  if ( undo.fired() && !thrown )
    std::fputs( "swallowed an exception\n", stderr );
  settled( sw, next % 2 == 0 );
  std::fputs( sw.audit().c_str(), stderr );
  std::fputs( sw.emptied().c_str(), stderr );
}

// The caller of an operation that ran out of resources learns that the undo failed, too.
TEST( RollbackTest, UndoOfARefusalMayThrow ) {
  for ( const TableOperation & operation : tableOperations() )
    for ( const Chip & chip : tableChips ) {
      if ( operation.left == Left::observed )
        continue;
      OperationSwitch sw( chip );
      operation.prepare( sw, 0 );
      const size_t calls = sw.callsOf( [ & ] { operation.run( sw, 0 ); } ).size();
      for ( U32 nth = 1; nth <= calls; ++nth )
        for ( const U32 times : { 1U, 2U } ) {
          if ( !inSample( nth + times, 3 ) )
            continue;
          const Ending end = inChild( [ & ] {
            refuseAndThrow( sw, operation, { .nth = nth, .times = times, .rc = BCM_E_RESOURCE } );
          } );
          EXPECT_TRUE( end.aborted || end.text.empty() )
              << operation.name << " on " << testing::PrintToString( chip ) << ", call " << nth
              << ", times " << times << ": " << end.text;
        }
    }
}

TEST( RollbackTest, CleanupResumesInTheMiddleOfAStep ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4, tcamAllocateAsChunk );
  sw.start();
  const U32 id = sw.take( ipAclTcamGroup );
  const auto failDestroy = [ & ]( U32 nth ) {
    sw.faults.arm( { .op = SdkOp::bcm_field_entry_destroy,
                     .nth = nth,
                     .exception = std::make_exception_ptr( Bus() ) } );
  };
  failDestroy( 1 );
  EXPECT_THROW( sw.manager( ipAclTcamGroup ).releaseEntry( 0, id ), Bus );
  failDestroy( 3 );
  EXPECT_THROW( sw.groups->finishCleanup( 0 ), Bus );
  EXPECT_EQ( sw.audit(), "" );
  sw.groups->finishCleanup( 0 );
  EXPECT_EQ( sw.audit() + sw.counts(), "0/0" );
}

// What an operation echoes after its last SDK call throws.
std::string undoing( const TableOperation & operation ) {
  const auto echo = [ & ]( bool throws ) {
    return inChild( [ & ] {
             OperationSwitch sw( { .pipes = 2 } );
             operation.prepare( sw, 0 );
             const auto run = [ & ] { operation.run( sw, 0 ); };
             if ( throws )
               sw.faults.arm( { .nth = static_cast< U32 >( sw.callsOf( run ).size() ),
                                .exception = std::make_exception_ptr( Bus() ) } );
             const std::string text = traced(
                 [ & ] {
                   try {
                     run();
                   } catch ( const Bus & ) {
                   }
                 },
                 traceFailure );
             std::fputs( text.c_str(), stderr );
           } )
        .text;
  };
  const std::string done = echo( false ), undone = echo( true );
  const auto differs = std::mismatch( done.begin(), done.end(), undone.begin(), undone.end() );
  const size_t same = static_cast< size_t >( differs.second - undone.begin() );
  return same == undone.size() ? "" : undone.substr( undone.rfind( '\n', same - 1 ) + 1 );
}

TEST( RollbackTest, EchoesWhatItUndoes ) {
  std::string text = "\n";
  for ( const TableOperation & operation : tableOperations() )
    if ( const std::string undone = undoing( operation ); !undone.empty() )
      text += fmt::format( "{}\n{}", operation.name, undone );
  EXPECT_EQ( text, R"(
get the first
4 fp stat detach entry=16842753 StatId=2
4 fp stat destroy StatId= 2
4 fp stat detach entry=65537 StatId=1
4 fp stat destroy StatId= 1
4 fp entry destroy 16842753
4 fp entry destroy 65537
get another
4 fp stat detach entry=16842753 StatId=4
4 fp stat destroy StatId= 4
4 fp stat detach entry=65537 StatId=3
4 fp stat destroy StatId= 3
4 fp entry destroy 16842753
4 fp entry destroy 65537
get of a chunk
4 fp stat detach entry=16842761 StatId=2
4 fp stat destroy StatId= 2
4 fp stat detach entry=65545 StatId=1
4 fp stat destroy StatId= 1
4 fp entry destroy 16842763
4 fp entry destroy 16842762
4 fp entry destroy 16842761
4 fp entry destroy 16842760
4 fp entry destroy 65547
4 fp entry destroy 65546
4 fp entry destroy 65545
4 fp entry destroy 65544
get of a range
4 fp stat detach entry=16842765 StatId=2
4 fp stat destroy StatId= 2
4 fp stat detach entry=65549 StatId=1
4 fp stat destroy StatId= 1
get of a flow group
4 fp stat destroy StatId= 2
4 fp stat detach entry=16777215 StatId=1
4 fp stat destroy StatId= 1
4 fp entry destroy 33554431
4 fp entry destroy 16777215
4 fp group destroy 16777222
4 fp group destroy 6
4 fp data qualifier format delete 2
4 fp data qualifier destroy 2
4 fp data qualifier format delete 1
4 fp data qualifier destroy 1
install
4 fp action remove 65537 4
4 fp entry remove 16842753
4 fp qual clear 16842753
4 fp action remove 16842753
4 fp entry remove 65537
install with ports
4 fp qual clear 16842753
4 fp action remove 16842753
4 fp entry remove 65537
install again
4 fp entry install 65537
4 fp entry copy 65537 16842753
4 fp entry install 16842753
4 fp action add 65537 4 port 7
4 fp entry install 65537
4 fp action add 16842753 4 port 15
4 fp entry install 16842753
disable
4 fp entry enable 65537 1
set a priority
4 fp entry prio 65537 2147418109
4 fp group compress 1
4 fp group compress 16777217
attach a policer
4 fp policer detach entry=65537
detach a policer
4 fp policer attach entry=65537 policer=1
create a policer
4 fp policer destroy 1
set a policer
4 fp policer set 1
add a field
4 fp group set 4
4 fp data qualifier format delete 1
4 fp data qualifier destroy 1
add a shared field
4 fp group set 5
add a field too wide
4 fp group set 4
4 fp data qualifier format delete 4
4 fp data qualifier destroy 4
add a MAC field
4 fp group set 4
4 fp data qualifier format delete 1
4 fp data qualifier destroy 1
)" );
}

}  // namespace Test::Rollback
