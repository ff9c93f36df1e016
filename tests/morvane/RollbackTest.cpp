// Throws from SDK call 1, 2, 3 ... of every operation, alone or together with the calls that follow
// it, so that the rollback fails too. When calls work again, the state is the one before the
// operation (after it for a release), and nothing stays allocated.

#include <stdexcept>

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

}  // namespace Test::Rollback
