// An error in a file of the user.
//
// Readers throw it before anything is programmed. The message is one line for the user,
// "FILE:LINE: what is wrong".
#pragma once

#include <stdexcept>
#include <string>

#include "kiv/Types.h"

namespace Platform {

using namespace Kiv::Integers;

class InputError : public std::runtime_error {
 public:
  // `line` counts from 1; 0 means the file as a whole.
  InputError( const std::string & file, U32 line, const std::string & what );
};

// The bytes of a file. Throws InputError when it cannot be read.
std::string readFile( const std::string & file );

}  // namespace Platform
