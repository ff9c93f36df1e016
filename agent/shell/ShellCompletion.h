// What can be typed next on a command line of the shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/shell/Shell.h"

namespace Agent {

struct Completions {
  size_t from = 0;                   // where the word begins that they replace
  std::vector< std::string > words;  // sorted; one that ends in "/" or ":" is not the whole word
};

// For the text before the cursor. Empty where nothing is known: numbers, addresses, new names.
Completions completions( const LiveSwitch & live, std::string_view line );

// The longest start that all words have.
std::string commonStart( const std::vector< std::string > & words );

}  // namespace Agent
