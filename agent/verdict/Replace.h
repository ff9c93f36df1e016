// How lists that are programmed are replaced by others, shown on the software ASIC.
//
// Of the ways that keep every packet in the old lists or in the new ones, the first that fits is
// taken: all new entries beside the old ones, then only those that differ. If neither fits, old
// entries must be removed before new ones are added, and packets can meet neither list in between.
//
// Locking: call with the activity lock held.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/feature/AclTable.h"
#include "agent/packets/Packet.h"
#include "agent/verify/Replay.h"

namespace Agent {

struct ReplaceReport {
  // Why the lists cannot be compared or programmed; empty: they can, and the rest is valid.
  std::string fault;
  Replacement by = Replacement::makeBeforeBreak;
  U32 oldEntries = 0;
  U32 newEntries = 0;
  U32 peakEntries = 0;
  AclRoom room;  // of an empty switch
  EditCounts counts;
  U64 sdkCalls = 0;
  U64 callsBetween = 0;  // in which packets can meet neither list
  U64 packets = 0;       // sent after SDK calls
  U64 neither = 0;       // of `packets`: treated neither as the old lists do nor as the new ones
};

// The lists must all be of one class, which only filters, and supported by the platform. After
// every SDK call some of `packets` are sent, in turn, each by its one of `ports`.
ReplaceReport replaceLists( const Platform::PlatformData & platform, const std::vector< Acl > & old,
                            const std::vector< Acl > & fresh, PortMethod method,
                            const std::vector< Packet > & packets,
                            const std::vector< PortPair > & ports );

const char * replacementName( Replacement by );
// For people, indented by two blanks.
std::string replacementText( const ReplaceReport & report );

}  // namespace Agent
