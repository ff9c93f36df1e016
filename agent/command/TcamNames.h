// Parses rules, groups, entries and users given on the command line.
#pragma once

#include <string>
#include <vector>

#include "agent/acl/Policy.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "platform/PlatformModel.h"

namespace Agent {

using namespace Kiv::Integers;

// `option` is the name of the command line option, for messages. All throw UsageError for invalid
// values. Ids are decimal or start with 0x and may have pipe and copy bits of the chip.

// A group of the platform, without pipe and copy bits.
U32 namedGroup( const std::string & option, const std::string & id,
                const Platform::PlatformData & platform );
// An entry id in some user's range, unchanged. Whether the entry exists is known only after the
// lists have been programmed.
U32 namedEntry( const std::string & option, const std::string & id,
                const Platform::PlatformData & platform );
// By the name shown in reports, or by assignment.
Morvane::TcamGroupAssignment namedUser( const std::string & option, const std::string & name,
                                        const Platform::PlatformData & platform );

// [LIST/]RULE, a number from 1; the list is needed if there are several.
RuleIndex namedRule( const std::string & option, const std::string & text,
                     const std::vector< Acl > & acls );

// The manager whose range contains the entry or that holds it; null: none.
Kiv::Ptr< Morvane::MorvaneTcamEntryManager > managerOfEntry(
    const Morvane::MorvaneTcamGroupManager & manager, U32 entryId );

}  // namespace Agent
