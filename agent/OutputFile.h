// What the command writes: files, standard output and standard error.
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
// then replaces. What is there already keeps its permissions; a device, a pipe or a link to nothing
// is written to as it stands. Throws OutputError.
void writeFile( const std::string & file, const std::string & text );

// Prints a whole result. A reader that went away ends it quietly; OutputError for anything else
// that keeps it from being written.
void printOutput( const std::string & text );
// Prints a line for people, to whom nothing better can be told when that fails.
void printError( const std::string & line );

}  // namespace Agent
