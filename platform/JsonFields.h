// Reads the members of one JSON object and refuses what nobody asked for.
//
//   JsonFields chip( file, node, "chip" );
//   profile.pipes = chip.number( "pipes", 1, 4 );
//   chip.finish();                                   // every other key is an error
//
// Every operation throws InputError with the line of the value, or of the object for a key that is
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
  // A list; `what` is expected of each element, and read by the caller.
  const std::vector< JsonNode > & list( const std::string & key );

  // Members with a value of their own when they are absent.
  std::string text( const std::string & key, const std::string & absent );
  U32 number( const std::string & key, U32 low, U32 high, U32 absent );
  bool flag( const std::string & key );  // absent: false

  // The member, null when it is absent.
  const JsonNode * find( const std::string & key );

  // Refuses members that were not read.
  void finish() const;

  [[noreturn]] void fail( U32 line, const std::string & message ) const;
  U32 line() const { return node_.line; }
  // Line of a member, of the object when it is absent.
  U32 line( const std::string & key ) const;
  const std::string & file() const { return file_; }

 private:
  const JsonNode & need( const std::string & key );

  const std::string & file_;
  const JsonNode & node_;
  std::string what_;
  std::set< std::string > read_;
};

// The value of a string node; throws InputError when it is not one, or has control characters,
// which would break the lines of reports.
const std::string & jsonText( const std::string & file, const JsonNode & node );

}  // namespace Platform
