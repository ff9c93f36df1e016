// A smaller list that means exactly the same.
#pragma once

#include <string>
#include <vector>

#include "agent/feature/RangeChoice.h"
#include "agent/space/Space.h"
#include "agent/verdict/Meaning.h"

namespace Agent {

struct CompactList {
  const Acl * before = nullptr;
  Acl after;
  // For each rule of `after`, the rules that it stands for, by index; more than one: merged.
  std::vector< std::vector< U32 > > from;
  std::vector< U32 > widened;  // rules of `after` that match more than these, as others come first
  std::vector< U32 > removed;  // rules that changed nothing
  U64 entriesBefore = 0;
  U64 entriesAfter = 0;
};

// Never takes more entries than the list, with the platform's range checkers. Rules that stand
// alone are kept. The platform must support the list (listFault), which must outlive the result.
CompactList compactList( const Acl & acl, const Platform::PlatformData & platform,
                         PortMethod method, const SpaceLimits & limits, Forwarding rest );

std::string compactText( const std::vector< CompactList > & lists );
std::string compactJson( const std::vector< CompactList > & lists, U64 refused );

// The list as a rules file (docs/rules-file.md). Ports that it is bound to become its rules' ports.
std::string rulesFileText( const Acl & acl );

}  // namespace Agent
