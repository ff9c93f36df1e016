// Help texts, and messages for words of the command line that are not known.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace Agent {

// Adds --version, and to the help of every command its examples and the exit statuses.
void addHelp( CLI::App & app );

// One line for arguments that the parser left over: the first of them, and the command or option
// that is nearest to it.
std::string unknownArgument( const CLI::App & app, const std::vector< std::string > & arguments );

// Accepts one of the names; otherwise says which there are, and which may be meant.
CLI::Validator oneOf( const std::vector< std::string > & names );

// Accepts decimal numbers of 64 bits.
CLI::Validator wholeNumber();

}  // namespace Agent
