// Reduces a record to the fewest calls that still differ.
//
// Delta debugging: runs of calls are left out while the difference stays the same one, with the
// calls that use what a call left out has created. The result is a record in which no single call
// can be left out.
#pragma once

#include <functional>

#include "sdkrecord/Player.h"

namespace SdkRecord {

// Plays events on a new SDK.
using Trial = std::function< std::optional< Difference >( const Events & ) >;

// `first`: the difference of all events. The rest of them that ends with that event and gives the
// same difference: at that call, in the same value, with the same result.
Events minimise( const Events & events, const Difference & first, const Trial & trial );

}  // namespace SdkRecord
