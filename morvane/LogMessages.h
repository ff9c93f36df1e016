// The library's messages in the agent's system log.
//
// The library raises the two about user-defined fields; the agent raises the others.
#pragma once

#include "kiv/Export.h"
#include "kiv/LogHandle.h"

namespace Morvane {

// A configuration change that restarts the agent; the format's argument is the agent's name.
extern KIV_API const Kiv::LogHandle MORVANE_CONFIG_CHANGE;
extern KIV_API const Kiv::LogHandle MORVANE_UNEXPECTED_RESTART;
// A unit ran out of resources for user-defined fields; a later field could be programmed.
extern KIV_API const Kiv::LogHandle MORVANE_UDF_HW_RESOURCE_FULL;
extern KIV_API const Kiv::LogHandle MORVANE_UDF_HW_RESOURCE_NORMAL;

}  // namespace Morvane
