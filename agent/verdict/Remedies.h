// What would make a list fit that does not.
#pragma once

#include <string>
#include <vector>

#include "agent/verdict/Cost.h"
#include "agent/verdict/Fit.h"

namespace Agent {

// What a switch had left before a list, and the slices of the list's group when it ran out.
struct SwitchRoom {
  AclRoom entries;
  U64 statistics = 0;
  U64 policers = 0;
  U64 udfChunks = 0;
  U32 sliceDepth = 0;  // 0: the group has no slices
  U32 entriesPerSlice = 0;
  U32 spareKeyBits = 0;  // each range checker takes one
};

// What is known of a list that ran out.
struct Shortfall {
  const Platform::PlatformData & platform;
  const Acl & acl;
  const AclShortage & shortage;
  const RangeChoice & choice;
  const std::vector< const Acl * > & lists;    // all of them, for which checkers are chosen
  const std::vector< const Acl * > & fitting;  // those before it that fit
  const CheckerModel & before;                 // checkers of these
  const ListCost & cost;
  const SwitchRoom & left;
};

// How much of the resource that ran out is missing; empty: not a number.
std::optional< U64 > shortBy( const Shortfall & shortfall );

// Each of them is enough, as far as resources are counted.
std::vector< std::string > remedies( const Shortfall & shortfall );

}  // namespace Agent
