// The binding on which a run programs its lists, in place of the software ASIC (--sdk).
#pragma once

#include "agent/command/Run.h"

namespace Agent {

// Loads the library that the option names. Throws UsageError if it cannot be loaded, has another
// chip than the platform, or if other options need the software ASIC.
Shim::SdkShim & loadSdkOption( const RunOptions & options,
                               const Platform::PlatformData & platform );

}  // namespace Agent
