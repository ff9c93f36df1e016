// What would make a list fit that does not.
#pragma once

#include <string>
#include <vector>

#include "agent/verdict/Cost.h"
#include "agent/verdict/Fit.h"

namespace Agent {

// What is known of a list and of the switch when the list ran out.
struct Shortfall {
  const Platform::PlatformData & platform;
  const Acl & acl;
  const AclShortage & shortage;
  PortMethod method;
  const CheckerModel & before;  // checkers of the lists before it
  const ListCost & cost;
  AclRoom room;        // before the list
  U64 freeStatistics;  // likewise
  U64 freePolicers;    // likewise
  U64 freeChunks;      // likewise
  U32 sliceDepth = 0;  // of the slices of the list's group; 0: it has none
  U32 entriesPerSlice = 0;
  U32 spareKeyBits = 0;  // of its key; each range checker takes one
};

// How much of the resource that ran out is missing; empty: not a number.
std::optional< U64 > shortBy( const Shortfall & shortfall );

// Each of them is enough, as far as resources are counted.
std::vector< std::string > remedies( const Shortfall & shortfall );

}  // namespace Agent
