// A JSON document with the place of each value, in text order.
//
// The JSON library parses; its own values do not know their place, which error messages name, and
// keep neither the order of keys nor a key that occurs twice.
#pragma once

#include <string>
#include <vector>

#include "kiv/Types.h"
#include "platform/InputError.h"

namespace Platform {

using namespace Kiv::Integers;

struct JsonMember;

struct JsonNode {
  enum class Kind { null, boolean, integer, string, array, object, other };

  Kind kind = Kind::null;
  U32 line = 1;    // where the value begins, from 1
  U32 column = 1;  // in bytes, from 1
  bool boolean = false;
  S64 integer = 0;
  std::string string;
  std::vector< JsonNode > elements;   // of an array
  std::vector< JsonMember > members;  // of an object, in text order

  Place place() const { return { line, column }; }
};

struct JsonMember {
  std::string name;
  JsonNode value;
};

// UTF-8, with or without a byte order mark. Throws InputError for text that is not JSON or is
// truncated, a key that occurs twice in an object, integers beyond 63 bits, values nested more than
// 32 deep, and more than two million values: no chip holds what such a text describes, and its tree
// would take gigabytes.
JsonNode parseJson( const std::string & file, const std::string & text );

}  // namespace Platform
