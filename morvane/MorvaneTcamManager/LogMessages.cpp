// What the library writes to the agent's log and to its text trace.

#include "morvane/LogMessages.h"

#include "morvane/MorvaneTcamManager/RestartMessages.h"
#include "morvane/MorvaneTcamManager/Trace.h"

namespace Morvane {

constinit Kiv::TraceHandle apiMorvane( "ApiMorvane" );
const Kiv::TraceRegistration apiMorvaneRegistration( apiMorvane );

constinit const Kiv::LogHandle MORVANE_CONFIG_CHANGE = handleOf( configChange );
constinit const Kiv::LogHandle MORVANE_UNEXPECTED_RESTART = handleOf( unexpectedRestart );

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
