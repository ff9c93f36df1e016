// Which share of the TCAM an access list goes into, and what the platform lets it do there.
#pragma once

#include <optional>
#include <string>

#include "agent/AclRule.h"
#include "platform/PlatformModel.h"

namespace Agent {

// The reservation, with a size, that lists of the kind and use go into; null when there is none.
// Of the platform's shares for mirroring, IPv4 lists go into the first one and MAC lists into the
// second: a mirroring group is about one kind of packets.
const Platform::ReservationData * shareOf( const Platform::PlatformData & platform, AclKind kind,
                                           AclUse use );

// Whether the group of a share can match the result of range checkers.
bool matchesRanges( const Platform::PlatformData & platform,
                    const Platform::ReservationData & share );

// Why a list cannot be programmed on a platform, whatever room there is.
struct ListFault {
  U32 line = 0;  // in the list's file; 0: the list as a whole
  std::string what;
};
std::optional< ListFault > listFault( const Platform::PlatformData & platform, const Acl & acl );

}  // namespace Agent
