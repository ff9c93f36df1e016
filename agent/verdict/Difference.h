// Packets whose fate differs between two versions of a table of lists.
//
// A row is what one rule of each version matches, or parts of it, without what earlier rules match.
// All its packets have one fate in the old version and another one in the new. Rows may overlap.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/verdict/Meaning.h"
#include "agent/verdict/Replace.h"

namespace Agent {

struct DifferenceRow {
  PacketSet packets;
  std::string text;                   // of these, without `except`
  std::vector< std::string > except;  // "rules 1-4 of old web"
  Fate before;
  Fate after;
  PacketPoint example;
  std::string oldRule;  // that decides, "rule 3 of web"; empty: none does
  std::string newRule;
  // What the chip did with the example, with the old version and with the new one.
  std::string chip;
};

struct TableDifference {
  std::string name;  // of the lists
  Direction direction = Direction::in;
  std::vector< DifferenceRow > rows;
  bool more = false;  // there are packets in none of the rows
  // How the old lists are replaced by the new ones on a switch; empty: they mean the same, or one
  // version has none.
  std::optional< ReplaceReport > replacement = {};

  // Sets must not outlive their space.
  void forgetSets();
};

// At most `rowsMax` rows. `before` and `after` are lists of the space's kind.
TableDifference differenceOf( const Space & space, const Meaning & before, const Meaning & after,
                              size_t rowsMax );

// Empty differences have no rows. With `columns`, longer lines are wrapped.
std::string differenceText( const std::vector< TableDifference > & tables, size_t columns = 0 );
std::string differenceJson( const std::vector< TableDifference > & tables, U64 refused );

}  // namespace Agent
