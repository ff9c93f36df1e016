// The members of "groups", "reservations" and "vlans" in a platform file.
#pragma once

#include <string>

#include "platform/JsonTree.h"
#include "platform/PlatformModel.h"

namespace Platform {

// All throw InputError for faults within the object; checkPlatform checks the rest.
GroupData readGroup( const std::string & file, const JsonNode & node );
ReservationData readReservation( const std::string & file, const JsonNode & node );
VlanData readVlan( const std::string & file, const JsonNode & node );

}  // namespace Platform
