// A JSON document that remembers on which line each value stands.
//
// The parser of the JSON library does the parsing; this tree exists because its own values have no
// place in the text, and a platform's author wants to know the line of a wrong one.
#pragma once

#include <string>
#include <vector>

#include "kiv/Types.h"

namespace Platform {

using namespace Kiv::Integers;

struct JsonMember;

struct JsonNode {
  enum class Kind { null, boolean, integer, string, array, object, other };

  Kind kind = Kind::null;
  U32 line = 1;  // where the value begins, from 1
  bool boolean = false;
  S64 integer = 0;
  std::string string;
  std::vector< JsonNode > elements;   // of an array
  std::vector< JsonMember > members;  // of an object, in text order
};

struct JsonMember {
  std::string name;
  JsonNode value;
};

// Throws InputError for text that is not JSON, a key that occurs twice in an object, and numbers
// beyond 63 bits.
JsonNode parseJson( const std::string & file, const std::string & text );

}  // namespace Platform
