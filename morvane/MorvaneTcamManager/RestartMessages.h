// The restart messages, with one handle each for the manager and for the capacity reports.
// Internal.
#pragma once

#include "kiv/LogHandle.h"

namespace Morvane {

using namespace Kiv::Integers;

struct RestartMessage {
  const char * mnemonic;
  U32 severity;
  const char * format;
  const char * explanation;
  Kiv::StandardLogAction action;
};

inline constexpr RestartMessage configChange{
    "MORVANE_CONFIG_CHANGE", 6, "Configuration change requires the Morvane agent %s to restart",
    "Configuration change requires the switch ASIC to be reconfigured, requiring the Morvane "
    "agent to restart.",
    Kiv::NoActionRequired };

inline constexpr RestartMessage unexpectedRestart{
    "MORVANE_UNEXPECTED_RESTART", 3, "Unexpected restart of Morvane agent %s occurred",
    "Unexpected restart of the Morvane agent occurred.", Kiv::CallSupportIfPersists };

constexpr Kiv::LogHandle handleOf( const RestartMessage & message ) {
  return Kiv::LogHandle( message.mnemonic, message.severity, message.format, message.explanation,
                         message.action, 0.0, 1.0 );
}

}  // namespace Morvane
