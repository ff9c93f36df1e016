// The members of "groups" and "reservations" in a platform file.
#pragma once

#include <string>

#include "platform/JsonTree.h"
#include "platform/PlatformModel.h"

namespace Platform {

// Both throw InputError for what stands in the object itself; checkPlatform looks at the rest.
GroupData readGroup( const std::string & file, const JsonNode & node );
ReservationData readReservation( const std::string & file, const JsonNode & node );

}  // namespace Platform
