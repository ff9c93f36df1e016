// The formats of access lists: one table, which --format, recognition and messages walk.
#pragma once

#include <span>
#include <string>

#include "agent/read/AclDocument.h"

namespace Agent {

struct AclFormat {
  const char * name;   // for --format
  const char * title;  // in messages
  bool json;           // holds() and read() need the source's root
  bool ( *holds )( const AclSource & source );
  // Throws Platform::InputError for what is wrong with the file as a whole.
  void ( *read )( const AclSource & source, AclDocument & document );
};

std::span< const AclFormat > aclFormats();
// Null if there is none.
const AclFormat * formatNamed( const std::string & name );
// The formats' names and titles, for messages.
std::string formatList();

// The format of the text. Throws Platform::InputError, which names formats that are known but not
// read (XML, nft, YANG, ..), and lists those that are.
const AclFormat & formatOf( const AclSource & source );

}  // namespace Agent
