// Whether rules of a list can be removed, joined and moved without a change of what it means.
#pragma once

#include <vector>

#include "agent/verdict/Meaning.h"
#include "agent/verdict/Merging.h"

namespace Agent {

// A rule in its place. Packets whose deciding rules are of one class have the same fate, and so
// have their counters and policers.
struct PlacedRule {
  PacketSet matched;
  U32 fate = 0;        // class of its fate
  bool fixed = false;  // must stay: it stands alone, or is a default action
  bool removed = false;
};

// The rows of one table as placed rules, and after them the packets that no row matches. Rules that
// stand alone have classes of their own.
std::vector< PlacedRule > placedRules( const Space & space, const Meaning & meaning );

// Marks rules as removed, from the last to the first, that match nothing that the rules after them
// would not treat likewise. Returns those that it marked and that some packet reaches, in order.
// `decided`: the packets that each rule decides.
std::vector< size_t > removeRedundant( std::vector< PlacedRule > & rules,
                                       const std::vector< PacketSet > & decided );

// The place where one rule can stand for both: that of the first or of the second. Empty: rules
// between decide about their packets, or the merged rule matches others.
std::optional< size_t > placeOfMerged( const std::vector< PlacedRule > & rules,
                                       const MergePair & pair, const PacketSet & merged );

}  // namespace Agent
