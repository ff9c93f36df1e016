// One value of a JSON document, for its readers.
//
// Every operation throws Platform::InputError with the value's key and place when the value has the
// wrong type or form or is out of range.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "agent/read/MatchSets.h"
#include "platform/JsonFields.h"

namespace Agent {

// Addresses of one family.
struct AddressMatch {
  bool ip6 = false;
  TernaryBits bits;
};

class Leaf {
 public:
  // The value of a member, or an element of one, of this key. Refers to the file and the node.
  Leaf( const std::string & file, std::string_view key, const Platform::JsonNode & node )
      : file_( file ), key_( key ), node_( node ) {}

  std::string_view key() const { return key_; }
  const std::string & file() const { return file_; }
  const Platform::JsonNode & node() const { return node_; }
  bool isText() const { return node_.kind == Platform::JsonNode::Kind::string; }

  const std::string & text() const;
  // A number, or its digits as a text: decimal, or hexadecimal after "0x".
  U32 number( U32 low, U32 high ) const;
  // A text without the module that may qualify it: "MODULE:NAME".
  std::string_view identity() const;
  // ADDRESS or ADDRESS/LENGTH, without bits beyond the length.
  AddressMatch address() const;
  TernaryBits address4() const;
  TernaryBits address6() const;
  // "VALUE" or "VALUE/MASK" of at most `max`.
  TernaryBits masked( U32 max, U32 defaultMask ) const;
  // ADDRESS or ADDRESS/MASK, without bits outside of the mask.
  TernaryBits mac() const;
  TernaryBits macAddress() const;  // without a mask
  // A number or LOW, the separator, HIGH.
  AnyRange range( U32 max, std::string_view separator ) const;
  // An ethertype by number or by one of its names.
  TernaryBits etherType() const;
  // A flag of TCP by name, with or without "TCP_" before it.
  U8 tcpFlag() const;

  // The elements of a list.
  std::vector< Leaf > elements() const;
  // Of a list, or of an object, of rules.
  Platform::JsonRows rows() const;
  Platform::JsonRows namedRows() const;

  // "KEY must be EXPECTED".
  [[noreturn]] void fail( const std::string & expected ) const;
  // "KEY must be EXPECTED (NAMES)": all, or those most like the wrong one.
  [[noreturn]] void failName( const std::string & expected, std::string_view name,
                              std::vector< std::string_view > names ) const;
  // "KEY WHY".
  [[noreturn]] void refuse( const std::string & why ) const;

 private:
  const std::string & file_;
  std::string key_;
  const Platform::JsonNode & node_;
};

std::optional< Leaf > findLeaf( Platform::JsonFields & fields, const char * key );
Leaf needLeaf( Platform::JsonFields & fields, const char * key );

// As JsonFields::finish, but says of a key in `unmatched`, its module left out, that no TCAM entry
// can match it.
void finishRefusing( const Platform::JsonFields & fields,
                     std::span< const std::string_view > unmatched );

// Reads the unsigned number that a text consists of; empty if it is none, or above 32 bits.
std::optional< U32 > numberOf( std::string_view text );

}  // namespace Agent
