// The built-in platforms, as the command lists them.
#pragma once

#include <string>

namespace Agent {

// A table with a row for each, ending with a line end.
std::string platformsText();

}  // namespace Agent
