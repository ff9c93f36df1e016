// The library's messages in the agent's system log.
//
// Each carries the name by which the log knows it. The library raises the two about user-defined
// fields; the others are declared for the agent to raise.
#pragma once

#include "kiv/Export.h"
#include "kiv/LogHandle.h"

namespace Morvane {

// A change of configuration that makes the agent restart; its format takes the agent's name.
extern KIV_API const Kiv::LogHandle MORVANE_CONFIG_CHANGE;
extern KIV_API const Kiv::LogHandle MORVANE_UNEXPECTED_RESTART;
// A unit ran out of resources for user-defined fields, and has programmed one again.
extern KIV_API const Kiv::LogHandle MORVANE_UDF_HW_RESOURCE_FULL;
extern KIV_API const Kiv::LogHandle MORVANE_UDF_HW_RESOURCE_NORMAL;

}  // namespace Morvane
