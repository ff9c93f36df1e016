// The groups to which the platform's map assigns users. Internal.
#pragma once

#include <map>

#include "morvane/Platform.h"

namespace Morvane {

// By user, on chips of that type; of several records for a user the first one counts.
inline std::map< TcamGroupAssignment, U32 > groupsByUser( const PlatformTables & tables,
                                                          S32 chipType ) {
  std::map< TcamGroupAssignment, U32 > groups;
  for ( U32 i = 0; i < tables.numGroupMapEntries(); ++i ) {
    const TcamGroupMap & record = tables.groupMap( i );
    if ( record.chipType == chipType )
      groups.emplace( record.assignment, record.group );
  }
  return groups;
}

}  // namespace Morvane
