// Completion scripts for shells, from the options that the command has.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace Agent {

// Adds the command that writes a script for `shell`. Help does not list it.
CLI::App & addCompletion( CLI::App & app, std::string & shell );

// The script for bash, zsh or fish: commands, options, and the values of those that take one of a
// few. Files are offered for all other values.
std::string completionScript( const CLI::App & app, const std::string & shell );

}  // namespace Agent
