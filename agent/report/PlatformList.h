// Lists the built-in platforms.
#pragma once

#include <string>

namespace Agent {

// A table with one row each and a final newline.
std::string platformsText();

}  // namespace Agent
