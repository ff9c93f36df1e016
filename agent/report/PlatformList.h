// Lists the built-in platforms.
#pragma once

#include <string>

namespace Agent {

// A table with one row each and a final newline. Starts and shuts down each of them: call with the
// activity lock held.
std::string platformsText();

}  // namespace Agent
