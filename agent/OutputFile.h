// Files that the command writes.
#pragma once

#include <stdexcept>
#include <string>

namespace Agent {

// One line for the user, "FILE: what is wrong".
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Makes `text` the content of a file, whole or not at all: it is written beside the file, which it
// then replaces. What is there already keeps its permissions; a device or pipe is written to as it
// stands. Throws OutputError.
void writeFile( const std::string & file, const std::string & text );

}  // namespace Agent
