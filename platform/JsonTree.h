// A JSON document with the line of each value.
//
// The JSON library parses; its own values do not know their line, which error messages name.
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
