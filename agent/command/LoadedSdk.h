// Plays a record of SDK calls on a binding.
//
// Each play runs in a process of its own, which loads the binding again: it starts with an SDK that
// was just initialised, and a binding that ends its process is a difference like others.
#pragma once

#include <string>

#include "sdkrecord/Player.h"

namespace Agent {

// Throws UsageError if the library cannot be loaded or the record cannot be played on it.
SdkRecord::Played playOnLibrary( const SdkRecord::Events & events, const std::string & library,
                                 const SdkRecord::PlayOptions & options );

}  // namespace Agent
