// Reads the members of one JSON object and refuses unknown ones.
//
//   JsonFields chip( file, node, "chip" );
//   profile.pipes = chip.number( "pipes", 1, 4 );
//   chip.finish();                                   // every other key is an error
//
// Every operation throws InputError with the place of the value, or of the object if the key is
// missing.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/JsonTree.h"

namespace Platform {

class JsonFields {
 public:
  using Modules = std::span< const std::string_view >;

  // `what` names the object in messages. A member's name may be qualified by one of the modules,
  // "MODULE:NAME" (RFC 7951). Throws when `node` is not an object.
  JsonFields( const std::string & file, const JsonNode & node, const std::string & what,
              Modules modules = {} );

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
  const JsonNode & need( const std::string & key );
  const std::vector< JsonMember > & members() const { return node_.members; }

  // The first member that was not read; null: all were.
  const JsonMember * unread() const;
  // The keys that the object can have, all or those most like a wrong one, for messages.
  std::string keysLike( const std::string & wrong ) const;
  // Refuses members that were not read.
  void finish() const;

  [[noreturn]] void fail( Place place, const std::string & message ) const;
  Place place() const { return node_.place(); }
  // Of a member's value, or of the object if the member is absent.
  Place place( const std::string & key ) const;
  U32 line() const { return node_.line; }
  U32 line( const std::string & key ) const { return place( key ).line; }
  const std::string & file() const { return file_; }

 private:
  bool isNamed( std::string_view name, std::string_view key ) const;

  const std::string & file_;
  const JsonNode & node_;
  std::string what_;
  Modules modules_;
  std::vector< bool > read_;  // the members, in their order
  std::string absent_;        // keys that were looked for and are not there, each before a blank
};

// The value for messages: 7, "text", true, a list.
std::string jsonShown( const JsonNode & node );

// Value of a string node; `what` names it in messages. Throws InputError for another kind of node,
// and for control characters, which would break the lines of reports.
const std::string & jsonText( const std::string & file, const JsonNode & node,
                              const std::string & what );

}  // namespace Platform
