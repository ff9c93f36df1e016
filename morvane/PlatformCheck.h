// Consistency of the platform's tables.
//
// Start-up runs these checks and ends the process in an assertion with the first text. An agent
// that reads its tables from a file calls checkPlatformTables before it starts the library.
//
// Locks: none; called on the agent's activity thread.
#pragma once

#include <string>
#include <vector>

#include "kiv/Export.h"
#include "morvane/Platform.h"

namespace Morvane {

// One unit of the group manager.
struct PlatformUnit {
  U32 unit = 0;
  MorvaneCentral::ChipInfo record = {};
  ChipProperties properties = {};
};

// One inconsistency and its place.
struct KIV_API PlatformTableFault {
  enum class Table { groups, excludes, includes, reservations, units };

  Table table = Table::groups;
  U32 row = 0;  // of the table; of units the unit's number
  std::string field;
  std::string what;
  // Start-up has its own assertion for it, with another text.
  bool assertedElsewhere = false;

  std::string text() const;  // "reservations[3].size: ..."
};

// In table order: groups, excludes, includes, units, reservations. The group map is applied to the
// reservations, as start-up does.
KIV_API std::vector< PlatformTableFault > platformTableFaults(
    PlatformTables & tables, const std::vector< PlatformUnit > & units );

// Their texts; empty for consistent tables.
KIV_API std::vector< std::string > checkPlatformTables( PlatformTables & tables,
                                                        const std::vector< PlatformUnit > & units );

}  // namespace Morvane
