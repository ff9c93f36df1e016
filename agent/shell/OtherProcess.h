// A second switch, while one is kept alive: the library's globals are those of a process.
#pragma once

#include <functional>
#include <string>

namespace Agent {

// What `make` returns in a copy of this process, which then ends. Throws ShellError if it throws or
// ends the process.
std::string inOtherProcess( const std::function< std::string() > & make );

}  // namespace Agent
