// Fails SDK call 1, 2, 3 ... of every operation with each code that matters: the operation either
// ends as documented with equal records, or ends the process with its text.

#include "tests/morvane/TestSwitch.h"

namespace Test::Anomaly {

U32 noEntry( TestSwitch & ) {
  return 0;
}
U32 qualified( TestSwitch & sw ) {
  const U32 id = sw.take( ipAclTcamGroup, 1 );
  sw.match( 0, id, 7 );
  if ( sw.groups->ovidWar( 1 ) )
    SDK_CHECKED( bcm_field_qualify_OuterVlanId( 0, id, 10, 0xFFF ) );
  return id;
}
U32 installed( TestSwitch & sw ) {
  const U32 id = qualified( sw );
  sw.manager( ipAclTcamGroup ).installEntry( 0, id );
  return sw.manager( ipAclTcamGroup ).enableEntry( 0, id, false, 0 ), id;
}

bool create( TestSwitch & sw, U32 ) {
  return sw.manager( ipAclTcamGroup ).initializeGroup( 0 );
}
bool ask( TestSwitch & sw, U32 ) {
  return sw.groups->entriesAvailable( 0, 1 ) != 0;
}
bool get( TestSwitch & sw, U32 ) {
  return sw.take( ipAclTcamGroup, 2 ) != 0;
}
bool install( TestSwitch & sw, U32 id ) {
  return sw.manager( ipAclTcamGroup ).installEntry( 0, id ) == 0;
}
bool release( TestSwitch & sw, U32 id ) {
  return sw.manager( ipAclTcamGroup ).releaseEntry( 0, id ), true;
}

const struct Operation {
  const char * name;
  TcamAllocationStrategy strategy;
  bool first;                        // the unit has no other entry
  U32 ( *prepare )( TestSwitch & );  // an entry for the operation
  bool ( *run )( TestSwitch &, U32 entry );
} operations[] = {
    { "create a group", tcamAllocateOnDemand, true, noEntry, create },
    { "ask for room", tcamAllocateOnDemand, true, noEntry, ask },
    { "first on demand", tcamAllocateOnDemand, true, noEntry, get },
    { "next on demand", tcamAllocateOnDemand, false, noEntry, get },
    { "first unbounded", tcamAllocateUnbounded, true, noEntry, get },
    { "next unbounded", tcamAllocateUnbounded, false, noEntry, get },
    { "first of a chunk", tcamAllocateAsChunk, true, noEntry, get },
    { "first of a range", tcamAllocateAtBeginning, true, noEntry, get },
    { "install", tcamAllocateOnDemand, false, qualified, install },
    { "install again", tcamAllocateAtBeginning, false, installed, install },
    { "release the last", tcamAllocateOnDemand, true, installed, release },
    { "release one", tcamAllocateUnbounded, false, installed, release },
    { "release the last of a chunk", tcamAllocateAsChunk, true, installed, release },
    { "release one of a range", tcamAllocateAtBeginning, false, installed, release },
};

// Outcome when that call fails with rc: 1 succeeds, 0 refuses, -1 ends the process.
int documented( const Operation & operation, const SoftAsic::CallRecord & call, int rc,
                bool twins ) {
  switch ( call.op ) {
    case SdkOp::bcm_field_group_compress:
      return 1;
    case SdkOp::bcm_field_group_config_create:  // retried once
      return rc == -14 || rc == -16 ? 1 : -1;
    case SdkOp::bcm_field_stat_create:
      return rc == -14 ? 0 : -1;
    case SdkOp::bcm_field_entry_create:
    case SdkOp::bcm_field_entry_create_id:
      return operation.strategy != tcamAllocateAsChunk &&
                     ( twins || tcamPipeBits.get( call.id ) == 0 ) && ( rc == -14 || rc == -8 )
                 ? 0
                 : -1;
    default:
      return -1;
  }
}

// Runs in a child; any text on standard error is a failure.
void attempt( TestSwitch & sw, const Operation & operation, U32 entry, int expected ) {
  const std::string before = sw.state();
  const int result = operation.run( sw, entry ) ? 1 : 0;
  if ( result != expected || !Kiv::ActivityUnlockAnchor::lock().held() || sw.asic.sdkLockHeld() )
    std::fprintf( stderr, "answered %d, or left a lock astray\n", result );
  // A range stays when one of its entries gets no statistics.
  if ( result == 0 && operation.strategy < tcamAllocateAsChunk && sw.state() != before )
    std::fputs( ( "left\n" + difference( before, sw.state() ) ).c_str(), stderr );
  std::fputs( sw.audit().c_str(), stderr );
}

void failEachCall( const Operation & operation, const Chip & chip ) {
  TestSwitch sw( chip );
  const U32 size = operation.strategy == tcamAllocateUnbounded ? 0 : 4;
  if ( chip.shared )  // entries have twins
    sw.platform.group( 1, { bcmFieldQualifyOuterVlanId, bcmFieldQualifyDstIp } )
        .user( ipAclTcamGroup, 1, size, operation.strategy );
  else
    sw.platform.acl( 1, size, operation.strategy );
  sw.start();
  if ( !operation.first )
    sw.take( ipAclTcamGroup, 0 );
  const U32 entry = operation.prepare( sw );
  const auto calls = sw.callsOf( [ & ] { operation.run( sw, entry ); } );
  ASSERT_FALSE( calls.empty() );
  for ( U32 nth = 1; nth <= calls.size(); ++nth ) {
    const SoftAsic::CallRecord & call = calls[ nth - 1 ];
    for ( const int rc : { -14, -16, -8, -11 } ) {
      sw.faults.arm( { .nth = nth, .rc = rc } );
      const int expected = documented( operation, call, rc, chip.shared );
      const Ending end = inChild( [ & ] { attempt( sw, operation, entry, expected ); } );
      const std::string where = fmt::format( "{}: call {} {} {:#x} rc {}", operation.name, nth,
                                             sdkOpName( call.op ), call.id, rc );
      EXPECT_EQ( end.aborted, expected == -1 ) << where;
      const std::string text =
          fmt::format( " API ERROR:{} ({})\n", sw.asic.sdkErrorText( rc ), rc );
      const testing::Matcher< std::string > dying =
          testing::AnyOf( HasSubstr( text ), HasSubstr( "Failed to create per pipe entries" ) );
      EXPECT_THAT( end.text, expected == -1 ? dying : testing::Eq( "" ) ) << where;
    }
  }
}

TEST( AnomalyTest, EveryCallOfEveryOperationMayFail ) {
  for ( const Operation & operation : operations ) {
    failEachCall( operation, { .presels = true, .slices = 2, .largeSlices = 2 } );
    failEachCall( operation, { .pipes = 2, .secondCopy = true, .slices = 2 } );
    failEachCall( operation, { .pipes = 2, .shared = true, .slices = 2, .largeSlices = 2 } );
  }
}

}  // namespace Test::Anomaly
