// Completion scripts for shells, from the options that a command has.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

namespace Cli {

// Names that options take in place of a file, by the options' names without dashes.
using OptionValues = std::map< std::string, std::vector< std::string > >;

// Adds the command that writes a script for `shell`. Help does not list it.
CLI::App & addCompletion( CLI::App & app, std::string & shell );

// The script for bash, zsh or fish: commands, options, and the values of options and operands that
// take one of a few. Files are offered for all other values.
std::string completionScript( const CLI::App & app, const std::string & shell,
                              const OptionValues & known = {} );

}  // namespace Cli
