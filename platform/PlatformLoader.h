// Reads platforms from JSON files and from the texts built into the program.
//
// platform/README.md describes the files; platform/data/ holds three complete ones. A platform is
// returned only if checkPlatform accepts it; otherwise InputError, "FILE:LINE: what is wrong", is
// thrown. Unknown keys are errors.
#pragma once

#include <string>
#include <vector>

#include "platform/PlatformModel.h"

namespace Platform {

// `file` is the name used in messages.
PlatformData parsePlatform( const std::string & file, const std::string & text );

// A built-in platform by its name, otherwise a file.
PlatformData loadPlatform( const std::string & nameOrFile );

// Names of the platforms that are built in, smallest first.
std::vector< std::string > builtInPlatforms();

}  // namespace Platform
