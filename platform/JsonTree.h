// A JSON document with the place of each value, in text order.
//
// The JSON library parses; its own values do not know their place, which error messages name, and
// keep neither the order of keys nor a key that occurs twice.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "kiv/Types.h"
#include "platform/InputError.h"

namespace Platform {

using namespace Kiv::Integers;

struct JsonMember;

struct JsonNode {
  // Number: no integer of 64 bits; -0 is none. Rows: an array or an object that JsonRows reads.
  enum class Kind { null, boolean, integer, number, string, array, object, arrayRows, objectRows };

  Kind kind = Kind::null;
  U32 line = 1;    // where the value begins, from 1
  U32 column = 1;  // in bytes, from 1
  bool boolean = false;
  S64 integer = 0;
  std::string string;                 // of a number: its text
  std::vector< JsonNode > elements;   // of an array
  std::vector< JsonMember > members;  // of an object, in text order
  std::string_view rows = {};         // their text, before the closing bracket
  U32 depth = 0;                      // of rows

  Place place() const { return { line, column }; }
};

struct JsonMember {
  std::string name;
  JsonNode value;
};

// Keys, without a module that qualifies them, of containers with many elements. These are left as
// text: the tree of a document of a million rules would take gigabytes.
using JsonRowKeys = std::span< const std::string_view >;

// UTF-8, with or without a byte order mark. Throws InputError for text that is not JSON or is
// truncated, a key that occurs twice in an object, values nested more than 32 deep, and more than a
// million values: no chip holds what such a text describes. What is
// wrong in rows is found when they are read. Their nodes refer to `text`.
JsonNode parseJson( const std::string & file, const std::string & text, JsonRowKeys rowKeys = {} );

// The elements of an array, or the members of an object, each parsed when it is reached:
//
//   for ( JsonRows rows( file, node ); rows.next(); )
//     read( rows.row().value );
class JsonRows {
 public:
  // Requires a node of the kind arrayRows or objectRows.
  JsonRows( const std::string & file, const JsonNode & node );

  bool empty() const { return at_ == end_; }  // no row is left
  // False after the last row. Throws InputError.
  bool next();
  const JsonMember & row() const { return row_; }  // without a name in an array
  const char * position() const { return at_; }    // after the row

 private:
  void skipBlanks();
  void moveTo( const char * position );
  void take( char separator );
  void checkName( const std::string & name, Place place );
  JsonNode value();
  [[noreturn]] void fail() const;

  const std::string & file_;
  const char * at_;
  const char * end_;
  Place place_;  // of at_
  const U32 depth_;
  const bool named_;
  JsonMember row_;
  std::unordered_set< std::string > names_;
};

}  // namespace Platform
