// What is wrong with a list, whatever it is looked up with: rules that can never match, rules and
// pairs that others can stand for, rules in conflict.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/verdict/Meaning.h"
#include "agent/verdict/Merging.h"

namespace Agent {

// Rules are indices in the list.
struct NeverMatches {
  U32 rule;
  std::vector< U32 > covers;  // earlier rules that match all its packets, none of them to spare
  bool agree = true;          // all of these have the rule's fate
};

struct ActionOverlap {
  U32 first;
  U32 second;
  PacketPoint example;
};

struct ListCheck {
  const Acl * acl;
  std::vector< NeverMatches > never;
  // Rules that change nothing when all of them are removed, with those that never match.
  std::vector< U32 > redundant;
  std::vector< MergePair > mergeable;  // no rule is in two pairs
  std::optional< Fate > onlyFate;      // of all packets
  std::vector< ActionOverlap > overlaps;

  bool clean() const {
    return never.empty() && redundant.empty() && mergeable.empty() && !onlyFate && overlaps.empty();
  }
};

struct CheckOptions {
  bool overlaps = false;               // look for them
  Forwarding rest = Forwarding::none;  // for packets that the list does not decide
};

// The list must outlive the result. Throws what Meaning throws.
ListCheck checkList( const Acl & acl, const SpaceLimits & limits, const CheckOptions & options );

// The findings as text, and as one JSON object.
std::string checkText( const std::vector< ListCheck > & checks );
std::string checkJson( const std::vector< ListCheck > & checks, U64 refused );

}  // namespace Agent
