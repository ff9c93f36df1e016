// From the group manager to its entry managers, and back. Internal.
#pragma once

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

// The group manager that holds `user`. A caller may keep a deleted entry manager, whose group
// manager has started again or was deleted too: assertion.
inline MorvaneTcamGroupManager & holderOf( const MorvaneTcamEntryManager & user ) {
  KIV_ASSERT( user.parent() && "The entry manager does not belong to a group manager any more" );
  return *user.groupManager();
}

// Calls fn( const Kiv::Ptr< MorvaneTcamEntryManager > & ) for the bounded managers, then for the
// unbounded ones. The collections may change during the walk.
template < class F >
void forEachEntryManager( const MorvaneTcamGroupManager & groups, F fn ) {
  for ( auto it = groups.entryManagerIterConst(); it; ++it )
    fn( Kiv::Ptr< MorvaneTcamEntryManager >( it.member() ) );
  for ( auto it = groups.unboundedEntryManagerIterConst(); it; ++it )
    fn( Kiv::Ptr< MorvaneTcamEntryManager >( it.member() ) );
}

}  // namespace Morvane
