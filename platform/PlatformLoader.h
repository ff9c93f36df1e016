// Reads platforms from JSON files and from the texts built into the program.
//
// platform/README.md describes the files; platform/data/ holds three complete ones. Everything
// is checked before a platform is returned: InputError, "FILE:LINE: what is wrong", otherwise.
// Unknown keys are errors.
#pragma once

#include <string>
#include <vector>

#include "platform/PlatformModel.h"

namespace Platform {

// `file` is the name that messages use.
PlatformData parsePlatform( const std::string & file, const std::string & text );

// Reads a built-in platform by its name, or else a file.
PlatformData loadPlatform( const std::string & nameOrFile );

// Names of the platforms that are built in, smallest first.
std::vector< std::string > builtInPlatforms();

}  // namespace Platform
