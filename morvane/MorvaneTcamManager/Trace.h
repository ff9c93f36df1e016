// The library's traces: the text trace "ApiMorvane" with the default ring buffer, and the
// diagnostic-shell echo of hardware changes.
#pragma once

#include "kiv/Trace.h"
#include "snaptrace/BcmFpCmd.h"
#include "snaptrace/Line.h"

namespace Morvane {

extern Kiv::TraceHandle apiMorvane;

// Levels of the text trace.
inline constexpr unsigned traceFailure = 0;  // hardware refused something
inline constexpr unsigned traceGroup = 1;    // groups are created and destroyed
inline constexpr unsigned traceEntry = 2;    // entries are handed out, changed and released
inline constexpr unsigned traceDetail = 3;   // every step
inline constexpr unsigned traceCommand = 4;  // the diagnostic-shell echo

}  // namespace Morvane

#define MORVANE_TRACE( level ) \
  SNAPTRACE( Snaptrace::defaultSnaptraceHandle, &::Morvane::apiMorvane, level )
// One diagnostic-shell command, e.g. "fp entry create 3 12".
#define FP_COMMAND() SNAPTRACE( bcmFpCmd, &::Morvane::apiMorvane, ::Morvane::traceCommand )
