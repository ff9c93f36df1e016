// The manual pages of the command and of its commands, from its own help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace Agent {

// Adds the command that writes the pages to `folder`. Help does not list it.
CLI::App & addManual( CLI::App & app, std::string & folder );

// morvane-tcam.1, and morvane-tcam-COMMAND.1 for each command. Throws OutputError.
void writeManualPages( const CLI::App & app, const std::string & folder );

}  // namespace Agent
