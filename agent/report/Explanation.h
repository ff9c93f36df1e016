// What happens to one packet, and why.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/report/RunReport.h"

namespace Agent {

// One action of an entry, and what comes of it.
struct ActionEffect {
  std::string action;  // "permit"
  std::string effect;  // "decides", "without effect: a table above decided"
};

// The entry that a packet matches in a table.
struct Winner {
  std::string rule;  // "web rule 3 (line 4)", or who owns the entry
  U32 entry = 0;     // with the bits of pipe and copy
  U32 priority = 0;
  U32 slice = 0;
  U32 row = 0;
  std::string match;   // the rule as text; empty for other users' entries
  std::string colour;  // of its policer; empty: it has none
  std::vector< ActionEffect > actions;
};

// A group of the pipe and copy that the packet's port has.
struct TableLookup {
  std::string stage;
  U32 group = 0;  // without the bits of pipe and copy
  U32 pipe = 0;
  U32 copy = 0;
  std::string users;
  std::optional< Winner > winner;
  std::string why;  // there is no winner
};

// Whether a rule won, or what kept it from winning.
struct RuleVerdict {
  std::string rule;
  bool won = false;
  std::string why;    // it did not
  std::string field;  // the first one that differs; empty: it is something else
  std::string wanted;
  std::string found;
};

struct Explanation {
  std::string platform;
  std::string packet;  // how it was given
  U64 bytes = 0;
  U32 inPort = 0;
  U32 outPort = 0;
  U32 pipe = 0;  // of the ingress port
  U32 copy = 0;
  std::vector< std::pair< std::string, std::string > > fields;  // that the chip sees
  std::vector< TableLookup > tables;                            // in the order of lookup
  std::string fate;
  std::optional< RuleVerdict > rule;  // if one is asked for
};

std::string explanationText( const Explanation & explanation );
std::string explanationJson( const Explanation & explanation );

}  // namespace Agent
