// What is wrong with a list: rules that can never match, rules and pairs that others can stand for,
// rules in conflict; and rules whose packets earlier lists of the same table decide.
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

// What earlier lists of the table leave of a list.
struct TakenByOthers {
  std::vector< U32 > rules;          // that match packets, but only ones that these lists decide
  std::vector< const Acl * > lists;  // in order of precedence; empty: no rule is taken
  bool all = false;                  // no packet reaches the list, its default action included
};

struct ListCheck {
  const Acl * acl;
  std::vector< NeverMatches > never;
  // Rules that change nothing when all of them are removed, with those that never match.
  std::vector< U32 > redundant;
  std::vector< MergePair > mergeable;  // no rule is in two pairs
  std::optional< Fate > onlyFate;      // of all packets
  std::vector< ActionOverlap > overlaps;
  TakenByOthers taken;

  bool clean() const {
    return never.empty() && redundant.empty() && mergeable.empty() && !onlyFate &&
           overlaps.empty() && taken.rules.empty() && !taken.all;
  }
};

struct CheckOptions {
  bool overlaps = false;               // look for them
  Forwarding rest = Forwarding::none;  // for packets that the list does not decide
};

// The list must outlive the result. Throws what Meaning throws.
ListCheck checkList( const Acl & acl, const SpaceLimits & limits, const CheckOptions & options );

// Of each of the lists, which are looked up as one, in order of precedence.
std::vector< TakenByOthers > takenByOthers( const std::vector< const Acl * > & lists,
                                            const SpaceLimits & limits );

// The findings as text, and as one JSON object. With `columns`, longer lines are
// wrapped.
std::string checkText( const std::vector< ListCheck > & checks, size_t columns = 0 );
std::string checkJson( const std::vector< ListCheck > & checks, U64 refused );

}  // namespace Agent
