// The manual page of the command, from its own help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace Agent {

// Adds the command that writes the page. Help does not list it.
CLI::App & addManual( CLI::App & app );

std::string manualPage( const CLI::App & app );

}  // namespace Agent
