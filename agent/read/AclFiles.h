// Reads files of access lists in all formats (AclFormats.h).
#pragma once

#include <string>

#include "agent/read/AclFormats.h"

namespace Agent {

// The name for a file's lists.
struct AclName {
  std::string text;
  // Given by the user: it replaces the name of a file's only list and precedes those of several,
  // NAME-LIST. Otherwise it names lists that have no name in their file.
  bool given = false;
};

// Null as `format`: chosen by content. Throws Platform::InputError for a file that is unreadable,
// malformed as a whole, or without lists; whatever is wrong in its rules is in the document's
// refusals.
AclDocument readAclFile( const AclName & name, const std::string & file, const AclFormat * format,
                         const ReaderOptions & options = {} );

// The same from its text.
AclDocument parseAclText( const AclName & name, const std::string & file, std::string text,
                          const AclFormat * format, const ReaderOptions & options = {} );

}  // namespace Agent
