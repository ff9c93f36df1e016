// The bank summary: banks with their users.

#include <map>
#include <sstream>
#include <vector>

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamShow/ReportText.h"
#include "morvane/Operation.h"
#include "morvane/Platform.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

constexpr const char * bankDashes = "--------------------------------------------\n";

// The ASIC's texts of the banks, with the names of their users.
using BankUsers = std::multimap< std::string, const char * >;

bool exists( const MorvaneTcamGroupManager & manager, U32 unit, U32 groupId ) {
  const Kiv::Ptr< GroupCounts > counts = manager.groupCounts( groupId );
  return counts && counts->unitRefCount( unit ) > 0;
}

// The hardware groups on the unit. A snapshot: groups may be created and destroyed while the report
// is written.
std::vector< U32 > groupsOnUnit( const MorvaneTcamGroupManager & manager, U32 unit ) {
  std::vector< U32 > groups;
  for ( auto it = manager.groupCountsIterConst(); it; ++it )
    if ( exists( manager, unit, it.key().pipeGroupId ) )
      groups.push_back( it.key().pipeGroupId );
  return groups;
}

BankUsers bankUsers( const MorvaneTcamGroupManager & manager, U32 unit ) {
  BankUsers users;
  for ( const U32 groupId : groupsOnUnit( manager, unit ) ) {
    const Operation operation( manager, unit );
    if ( !exists( manager, unit, groupId ) )
      continue;
    std::ostringstream banks;
    if ( SDK_CALL( SdkShim->kelmor_field_group_banks( unit, groupId, &banks ) ) != 0 ) {
      MORVANE_TRACE( traceFailure ) << "Unit: " << unit << " "
                                    << "showSummaryTcamUsage"
                                    << " showSummaryTcamUsageHelper error";
      break;
    }
    for ( U32 i = 0; i < numTcamReservations(); ++i )
      if ( getTcamReservation( i )->group == GroupIdToPipeGroupId( groupId ).groupId() )
        users.emplace( banks.str(), getTcamReservation( i )->name );
  }
  return users;
}

}  // namespace

void MorvaneTcamGroupManager::showSummaryTcamUsage( const Kiv::String8 & name, U32 fd,
                                                    U32 unit ) const {
  MORVANE_TRACE( traceGroup ) << "showSummaryTcamUsage";
  ReportWriter out( fd );
  appendFormatted( out.text(),
                   "=== TCAM summary for switch %s ===\n"
                   "--------------------------------------------\n"
                   " Banks           Used By\n",
                   name.charPtr() );
  out.text() += bankDashes;
  for ( const auto & [ banks, user ] : bankUsers( *this, unit ) )
    appendFormatted( out.text(), " %-15s %s\n", banks.c_str(), user );
  out.text() += bankDashes;
}

}  // namespace Morvane
