// Output to files, standard output and standard error.
#pragma once

#include <stdexcept>
#include <string>

namespace Agent {

// what(): one line, "FILE: error".
class OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Replaces the content of a file atomically, through a temporary file next to it. Permissions are
// kept; devices, pipes and dangling links are written in place. Throws OutputError.
void writeFile( const std::string & file, const std::string & text );

// Ignores a closed pipe; throws OutputError for any other failure.
void printOutput( const std::string & text );
// Ignores failures: there is nowhere left to report them.
void printError( const std::string & line );
void printErrorText( const std::string & text );

}  // namespace Agent
