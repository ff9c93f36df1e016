// Steps on the whole switch: reports, counters, capacity, cleanup, re-initialisation.

#include <iostream>

#include "tools/random-walk/Walk.h"

namespace Test::RandomWalk {

std::string Walk::report( const Turn & turn ) {
  static constexpr Code ends[] = { { SdkOp::kelmor_field_group_banks, BCM_E_INTERNAL } };
  const U32 unit = turn.unit, fd = static_cast< U32 >( nowhere_ ), a = turn.action.a;
  const MorvaneTcamGroupManager & groups = *sw_.groups;
  const auto & rules = units_[ unit ].rules;
  const U32 entry = rules.empty() ? 5 : rules.begin()->first;
  attempt( turn, { .codes = ends, .inSteps = true }, [ & ] {
    switch ( turn.action.b % 8 ) {
      case 0:
        groups.showTcamUsage( "walk", fd, true, unit, -1 );
        break;
      case 1:
        groups.showTcamUsage( "walk", fd, true, unit, static_cast< S8 >( a % 4 ) );
        break;
      case 2:
        groups.showTcamUsage( "walk", fd, false, unit, -1 );
        break;
      case 3:
        groups.showRawTcamUsage( "walk", fd, unit );
        break;
      case 4:
        groups.showSummaryTcamUsage( "walk", fd, unit );
        break;
      case 5:
        groups.showEntryTcamUsage( "walk", fd, unit, entry );
        break;
      case 6:
        groups.entryDump( unit, entry );
        break;
      default:
        groups.groupDump( unit, turn.user.group );
    }
  } );
  return "";
}

std::string Walk::clear( const Turn & turn ) {
  if ( !mayUse( turn ) )
    return "";
  attempt( turn, { .inSteps = true }, [ & ] {
    switch ( turn.action.b % 4 ) {
      case 0:
        sw_.groups->clearGroupCounters( turn.unit, turn.user.group );
        break;
      case 1:
        sw_.groups->clearUnitCounters( turn.unit );
        break;
      case 2:
        sw_.groups->clearAllCounters();
        break;
      default:
        sw_.manager( turn.user.assignment ).clearCounters( turn.unit );
    }
  } );
  return "";
}

std::string Walk::poll( const Turn & turn ) {
  attempt( turn, { .inSteps = true }, [ & ] { capacity_->poll(); } );
  return "";
}

std::string Walk::cleanUp( const Turn & turn ) {
  attempt( turn, { .left = Left::either }, [ & ] { sw_.groups->finishCleanup( turn.unit ); } );
  return "";
}

// Releases groups with user-defined fields, whose records a re-initialisation keeps.
void Walk::leaveUdfGroups( U32 unit ) {
  for ( const User & user : users ) {
    if ( !isMirroring( user ) && user.assignment != openFlowUdfTcamGroup )
      continue;
    MorvaneTcamEntryManager & manager = sw_.manager( user.assignment );
    for ( auto it = sw_.records( manager, unit ).entryCreatedIterConst(); it; ++it )
      manager.releaseEntry( unit, it.key() );
    manager.uninitializeGroup( unit );
  }
}

std::string Walk::reInit( const Turn & turn ) {
  if ( turn.step == nullptr || turn.action.a % 8 != 0 )
    return "";
  for ( U32 unit = 0; unit < sw_.chip.units; ++unit ) {
    leaveUdfGroups( unit );
    sw_.asic.reset( unit );
  }
  // These records outlive a re-initialisation, until their group is created again.
  sw_.groups->groupIdToPreselIdDelAll();
  units_.assign( sw_.chip.units, {} );
  Step step = *turn.step;
  step.trouble = Trouble::none;
  std::streambuf * const out = std::cout.rdbuf( nullptr );
  attempt( { turn.action, turn.user, turn.unit, &step }, { .everything = true },
           [ & ] { sw_.groups->doSdkReInit(); } );
  std::cout.rdbuf( out );
  std::cout.clear();
  return "";
}

// --- The end ---------------------------------------------------------------------------------

std::string Walk::finish() {
  sw_.faults.disarm();
  const std::string wrong = checkAll();
  return wrong.empty() ? sw_.emptied() : wrong;
}

}  // namespace Test::RandomWalk
