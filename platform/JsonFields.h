// Reads the members of one JSON object and refuses unknown ones.
//
//   JsonFields chip( file, node, "chip" );
//   profile.pipes = chip.number( "pipes", 1, 4 );
//   chip.finish();                                   // every other key is an error
//
// Every operation throws InputError with the line of the value, or of the object if the key is
// missing.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "platform/JsonTree.h"

namespace Platform {

class JsonFields {
 public:
  // `what` names the object in messages. Throws when `node` is not an object.
  JsonFields( const std::string & file, const JsonNode & node, const std::string & what );

  // Required members.
  std::string text( const std::string & key );
  U32 number( const std::string & key, U32 low, U32 high );
  // A list; the caller reads its elements.
  const std::vector< JsonNode > & list( const std::string & key );

  // Optional members, with a default.
  std::string text( const std::string & key, const std::string & absent );
  U32 number( const std::string & key, U32 low, U32 high, U32 absent );
  bool flag( const std::string & key );  // absent: false

  // Null if the member is absent.
  const JsonNode * find( const std::string & key );

  // Refuses members that were not read.
  void finish() const;

  [[noreturn]] void fail( U32 line, const std::string & message ) const;
  U32 line() const { return node_.line; }
  // Line of a member, or of the object if the member is absent.
  U32 line( const std::string & key ) const;
  const std::string & file() const { return file_; }

 private:
  const JsonNode & need( const std::string & key );

  const std::string & file_;
  const JsonNode & node_;
  std::string what_;
  std::set< std::string > read_;
};

// Value of a string node. Throws InputError for another kind of node, and for control characters,
// which would break the lines of reports.
const std::string & jsonText( const std::string & file, const JsonNode & node );

}  // namespace Platform
