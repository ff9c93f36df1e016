// An error in a file of the user.
//
// Readers throw it before anything is programmed. The message is one line for the user,
// "FILE:LINE:COLUMN: what is wrong", without the column or both where they are not known.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "kiv/Types.h"

namespace Platform {

using namespace Kiv::Integers;

// In a text file.
struct Place {
  U32 line = 0;    // from 1; 0: the file as a whole
  U32 column = 0;  // in bytes, from 1; 0: the line as a whole

  Place() = default;
  Place( U32 lineOfFile, U32 columnOfLine = 0 ) : line( lineOfFile ), column( columnOfLine ) {}
};

// "FILE:LINE:COLUMN: what", or "FILE: what" of the file as a whole. Cuts long messages, and
// replaces control characters: messages quote the input, which may hold any bytes.
std::string placedMessage( const std::string & file, Place place, const std::string & what );

class InputError : public std::runtime_error {
 public:
  InputError( const std::string & file, Place place, const std::string & what );

  Place place() const { return place_; }
  // What is wrong, without the place.
  const std::string & reason() const { return reason_; }

 private:
  Place place_;
  std::string reason_;
};

// What is wrong concerns the file as a whole: a reader that continues after a refused part stops
// here.
class FileError : public InputError {
 public:
  using InputError::InputError;
};

// The bytes of a file. Throws InputError when it cannot be read.
std::string readFile( const std::string & file );

// The text without its byte order mark. Throws InputError for UTF-16 and for NUL bytes.
std::string_view textBody( const std::string & file, std::string_view text );

}  // namespace Platform
