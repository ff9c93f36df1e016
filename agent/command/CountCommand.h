// The command `count`: reads access lists whole, however long they are, and prints how many rules
// they have and how many TCAM entries these would take. Nothing is programmed.
#pragma once

#include <string>

#include "agent/command/Run.h"

namespace Agent {

struct ListCount {
  std::string name;
  AclKind kind = AclKind::ipv4;
  U64 rules = 0;        // without the default action
  U64 expanded = 0;     // entries, port ranges by prefixes
  U64 withChecker = 0;  // entries, each range that a checker can match by one
  U64 ranges = 0;       // different ones that take a checker
  U32 share = 0;        // entries of the list's share
};

ListCount countList( const Platform::PlatformData & platform, const Acl & acl );

// Returns whether no rule was refused. Throws what readInput throws.
bool countCommand( RunOptions options, bool json );

}  // namespace Agent
