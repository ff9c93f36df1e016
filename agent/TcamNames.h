// Groups, entries and users as a command line names them.
#pragma once

#include <string>

#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"

namespace Agent {

using namespace Kiv::Integers;

// Each takes the option that names the thing, and throws UsageError for what cannot be one. Ids are
// decimal or begin with 0x; that of any pipe and copy of the chip names the group or entry.

// One of the platform's groups, without pipe and copy bits.
U32 namedGroup( const std::string & option, const std::string & id,
                const Platform::PlatformData & platform );
// An entry id as it stands, of some user's range; whether there is such an entry shows when the
// lists are programmed.
U32 namedEntry( const std::string & option, const std::string & id,
                const Platform::PlatformData & platform );
// By the name that reports show, or by its assignment.
Morvane::TcamGroupAssignment namedUser( const std::string & option, const std::string & name,
                                        const Platform::PlatformData & platform );

// The manager in whose range an entry is, or that holds it; null when there is none.
Kiv::Ptr< Morvane::MorvaneTcamEntryManager > managerOfEntry(
    const Morvane::MorvaneTcamGroupManager & manager, U32 entryId );

}  // namespace Agent
