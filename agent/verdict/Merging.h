// Pairs of rules that one rule can replace.
#pragma once

#include <optional>
#include <vector>

#include "agent/acl/MatchFields.h"

namespace Agent {

// Rules with the same actions that differ in one field, by their places in `rules`.
struct MergePair {
  size_t first;
  size_t second;   // above `first`
  AclRule merged;  // with the first's name and line
};

// Every pair whose values in the field join: neighbouring prefixes, ranges that touch, values
// inside others. Rules that stand alone are left out. The order of rules, and rules between, are
// not looked at, nor what happens where a field becomes unrestricted. Null pointers are passed
// over.
std::vector< MergePair > mergePairs( AclKind kind, const std::vector< const AclRule * > & rules );

}  // namespace Agent
