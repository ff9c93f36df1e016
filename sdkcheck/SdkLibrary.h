// A binding loaded from a shared library (shim/SdkPlugin.h). It is never unloaded.
#pragma once

#include <string>

#include "shim/SdkShim.h"

namespace SdkCheck {

// Throws std::runtime_error with a one-line reason if the library cannot be loaded, has no
// function, is of another interface version or has no SDK.
Shim::SdkShim & loadSdk( const std::string & path );

}  // namespace SdkCheck
