// Selects the TCAM share of an access list and checks what the share supports.
#pragma once

#include <optional>
#include <string>

#include "agent/feature/AclCompiler.h"
#include "platform/PlatformModel.h"

namespace Agent {

// What selects a list's share; the lists of a share form one table.
struct ListClass {
  AclKind kind = AclKind::ipv4;
  AclUse use = AclUse::filter;
  Direction direction = Direction::in;
  friend bool operator==( const ListClass &, const ListClass & ) = default;
};
inline ListClass classOf( const Acl & acl ) {
  return { acl.kind, acl.use, acl.direction };
}

// The bounded reservation for lists of the class; null: none. A mirroring group matches one kind of
// packets: IPv4 lists use the platform's first mirroring share, MAC lists the second, IPv6 lists,
// where the platform supports them, the third. Lists for packets that leave can only filter.
const Platform::ReservationData * shareOf( const Platform::PlatformData & platform,
                                           const ListClass & lists );

// The library's type of lists of the kind.
S32 aclTypeOf( AclKind kind );

// The size of the platform's largest share: no list that is longer fits. Lists use no unbounded
// shares.
U32 largestShare( const Platform::PlatformData & platform );

// True if the share's group can match range checker results.
bool matchesRanges( const Platform::PlatformData & platform,
                    const Platform::ReservationData & share );

// How the share's group matches ingress ports.
PortKey portKey( const Platform::PlatformData & platform, const Platform::ReservationData & share,
                 AclKind kind );

// Why a platform does not support a list, regardless of free space.
struct ListFault {
  U32 line = 0;  // in the list's file; 0: the platform lacks something
  std::string what;
  U32 column = 0;  // in the line
};
// A rule on a user-defined field that its flow-programming group does not have. The first list of a
// use determines the group's fields.
std::optional< ListFault > flowFieldFault( const std::vector< Acl > & acls, const Acl & acl );
std::optional< ListFault > listFault( const Platform::PlatformData & platform, const Acl & acl );
// Both: of a list among all that are programmed.
std::optional< ListFault > listFault( const Platform::PlatformData & platform,
                                      const std::vector< Acl > & acls, const Acl & acl );

}  // namespace Agent
