// The walk over the entry managers of both kinds. Internal.
#pragma once

#include "morvane/MorvaneTcamGroupManager.h"

namespace Morvane {

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
