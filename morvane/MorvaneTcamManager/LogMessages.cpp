// What the library writes to the agent's log and to its text trace.

#include "morvane/LogMessages.h"

#include "morvane/MorvaneTcamManager/Trace.h"

namespace Morvane {

Kiv::TraceHandle apiMorvane( "ApiMorvane" );

constinit const Kiv::LogHandle MORVANE_CONFIG_CHANGE(
    "MORVANE_CONFIG_CHANGE", 6, "Configuration change requires the Morvane agent %s to restart",
    "Configuration change requires the switch ASIC to be reconfigured, requiring the Morvane "
    "agent to restart.",
    Kiv::NoActionRequired, 0.0, 1.0 );

constinit const Kiv::LogHandle MORVANE_UNEXPECTED_RESTART(
    "MORVANE_UNEXPECTED_RESTART", 3, "Unexpected restart of Morvane agent %s occurred",
    "Unexpected restart of the Morvane agent occurred.", Kiv::CallSupportIfPersists, 0.0, 1.0 );

constinit const Kiv::LogHandle MORVANE_UDF_HW_RESOURCE_FULL(
    "MORVANE_UDF_HW_RESOURCE_FULL", 3, "Hardware resources insufficient to program UDF",
    "The switch is unable to program UDF due to insufficient hardware resources. ",
    "Reconfigure other ACLs or features that use UDF to free up UDF hardware resources.", 0.0,
    1.0 );

constinit const Kiv::LogHandle MORVANE_UDF_HW_RESOURCE_NORMAL(
    "MORVANE_UDF_HW_RESOURCE_NORMAL", 3, "All UDFs are programmed in hardware",
    "The switch was able to program all the UDFs in the hardware.", Kiv::NoActionRequired, 0.0,
    1.0 );

}  // namespace Morvane
