// The ASIC's descriptions of hardware groups and entries.

#include <sstream>

#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamShow/ReportText.h"
#include "morvane/Operation.h"
#include "shim/SdkCall.h"

namespace Morvane {

Kiv::String8 MorvaneTcamGroupManager::entryDump( U32 unit, U32 entryId ) const {
  const Operation operation( *this, unit );
  std::ostringstream text;
  SDK_UNCHECKED( SdkShim->kelmor_field_entry_show( unit, entryId, &text ) );
  return Kiv::String8( std::string_view( text.str() ) );
}

Kiv::String8 MorvaneTcamGroupManager::groupDump( U32 unit, U32 pipeGroupId ) const {
  const Operation operation( *this, unit );
  std::ostringstream text;
  SDK_UNCHECKED( SdkShim->kelmor_field_group_show( unit, pipeGroupId, &text ) );
  return Kiv::String8( std::string_view( text.str() ) );
}

void MorvaneTcamGroupManager::showEntryTcamUsage( const Kiv::String8 & name, U32 fd, U32 unit,
                                                  U32 entryId ) const {
  MORVANE_TRACE( traceGroup ) << "showEntryTcamUsage";
  ReportWriter out( fd );
  appendFormatted( out.text(), "\n=== TCAM entry information for %s; entry ID: 0x%x (%d) ===\n",
                   name.charPtr(), entryId, static_cast< int >( entryId ) );
  out.text() += entryDump( unit, entryId ).view();
}

}  // namespace Morvane
