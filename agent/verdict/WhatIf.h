// Changes to a platform or to lists, tried before they are made.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/acl/AclRule.h"
#include "platform/PlatformModel.h"

namespace Agent {

// NAME=N sets a number of the chip, NAME=+N and NAME=-N change it; list:LIST*N repeats the rules of
// a list N times. Returns what is wrong with the change, or with the changed chip; empty: nothing.
std::optional< std::string > applyWhatIf( const std::string & change,
                                          Platform::PlatformData & platform,
                                          std::vector< Acl > & acls );

// Names of the numbers: "ports, range-checkers, ...".
std::string whatIfNames();

}  // namespace Agent
