// Checks a platform's groups against its chip.
#pragma once

#include <optional>

#include "platform/PlatformModel.h"

namespace Platform {

// Tries the groups of all reservations on a software ASIC: each by itself on an empty chip, then
// together those that start-up creates, with their ranges. Returns the first fault. `model` is made
// from `data` and has consistent tables.
std::optional< PlatformFault > checkChipFit( const PlatformData & data, PlatformModel & model );

}  // namespace Platform
