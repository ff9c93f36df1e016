// One operation at a time: a second activity that arrives in the middle of any operation waits, and
// the result is that of one order or the other.

#include "kiv/Exception.h"
#include "shim/SdkDecorator.h"
#include "tests/Rounds.h"
#include "tests/morvane/OperationTable.h"

namespace Test::Operations {

struct Pair {
  const TableOperation & first;
  const TableOperation & second;
  U32 place;  // of the second; the first is at place 0
};

std::string endOf( OperationSwitch & sw, const std::function< void() > & code ) {
  const Ending end = inChild( [ & ] {
    alarm( 20 );
    code();
    std::fputs( ( sw.audit() + sw.state() ).c_str(), stderr );
  } );
  return ( end.aborted ? "aborted: " : "" ) + end.text;
}

std::string describe( const Pair & pair, const Chip & chip ) {
  return fmt::format( "{} at place {} during {} on {}", pair.second.name, pair.place,
                      pair.first.name, testing::PrintToString( chip ) );
}

// The second activity arrives at up to three calls of the first one's operation.
void meet( const Pair & pair, const Chip & chip, U32 from ) {
  OperationSwitch sw( chip );
  pair.first.prepare( sw, 0 );
  if ( pair.place != 0 )
    pair.second.prepare( sw, pair.place );
  const auto first = [ & ] { pair.first.run( sw, 0 ); };
  const auto second = [ & ] { pair.second.run( sw, pair.place ); };
  const std::string inOrder = endOf(
      sw, [ & ] { first(), second(); } );
  const std::string reversed = endOf( sw, [ & ] { second(), first(); } );
  // The second cannot use what the first has released.
  if ( inOrder.starts_with( "aborted" ) )
    return;
  const U32 calls = static_cast< U32 >( sw.callsOf( first ).size() );
  constexpr U32 samples = 3;
  for ( U32 i = 0; i < std::min( calls, samples ); ++i ) {
    const U32 nth = 1 + ( from + i * calls / samples ) % calls;
    const Arrival when = ( from + i ) % 2 == 0 ? Arrival::beforeCall : Arrival::afterCall;
    const std::string end = endOf( sw, [ & ] {
      sw.second.arm( nth, when, { second } );
      first();
      if ( !sw.second.join() )
        std::fputs( "did not arrive\n", stderr );
    } );
    EXPECT_TRUE( end == inOrder || end == reversed )
        << describe( pair, chip ) << ", call " << nth << " of " << calls << "\n"
        << difference( inOrder, end );
  }
}

TEST( OperationTest, EveryPairEndsAsInOneOfTheTwoOrders ) {
  const auto table = tableOperations();
  for ( U32 i = 0; i < table.size(); ++i )
    for ( U32 j = 0; j < table.size(); ++j ) {
      // Each pair runs at one place on one chip; the table as a whole covers all of them.
      const U32 turn = i * 5 + j;
      if ( !inSample( turn, 7 ) )
        continue;
      meet( { table[ i ], table[ j ], 1 + turn % 3 },
            tableChips[ turn / 3 % std::size( tableChips ) ], turn );
    }
}

TEST( OperationTest, RepeatableOperationsMayRunAtTheSameTime ) {
  for ( const TableOperation & operation : tableOperations() )
    for ( const Chip & chip : tableChips )
      if ( operation.twice )
        meet( { operation, operation, 0 }, chip, 0 );
}

// Calls that no operation may make.
struct CallsBack : Shim::SdkDecorator {
  CallsBack( Shim::SdkShim & next, MorvaneTcamGroupManager & manager )
      : SdkDecorator( next ), groups( manager ) {}
  int bcm_port_config_get( U32 unit, bcm_port_config_t * ) override KIV_NO_THREAD_SAFETY_ANALYSIS {
    Kiv::ActivityUnlockAnchor::lock().lock();
    return groups.initializeGroup( unit, 2 ) ? 0 : -1;
  }
  MorvaneTcamGroupManager & groups;
};

TEST( OperationTest, MisuseIsRefusedInClearWords ) {
  TestSwitch sw;
  sw.platform.acl( 1, 4 ).acl( 2, 0, tcamAllocateUnbounded, qosTcamGroup );
  sw.construct();
  const auto create = [ & ] { sw.groups->initializeGroup( 0, 1 ); };
  EXPECT_THAT( deathOf( create ), HasSubstr( "\"The group manager has not been started\"" ) );
  sw.start();
  const Kiv::Ptr< MorvaneBoundedTcamEntryManager > acl( &sw.bounded( ipAclTcamGroup ) );
  EXPECT_THAT( deathOf( [ & ] { acl->getEntry( 7, 0x10000, "rule" ); } ),
               HasSubstr( "\"The entry manager does not know the unit\"" ) );
  EXPECT_THAT( deathOf( [ & ] { Shim::sdk_ = nullptr, create(); } ),
               HasSubstr( "\"Shim::sdk_ has not been set\"" ) );
  EXPECT_THAT( deathOf( [ & ] {
                 sw.groups->entryManagerDelAll();
                 acl->installEntry( 0, 0x10000 );
               } ),
               HasSubstr( "\"The entry manager does not belong to a group manager any more\"" ) );
  CallsBack callsBack( sw.log, *sw.groups );
  EXPECT_THAT( deathOf( [ & ] { Shim::sdk_ = &callsBack, create(); } ),
               HasSubstr( "\"An SDK call must not call the TCAM manager\"" ) );
  Kiv::Lock & activity = Kiv::ActivityUnlockAnchor::lock();
  activity.assumeHeld();
  const Kiv::UnlockAnchor anchor( activity );
  EXPECT_THAT( create, testing::ThrowsMessage< Kiv::InternalException >(
                           "Lock Protocol exception -- operation without the activity lock" ) );
}

}  // namespace Test::Operations
