// The raw slice table: the slices of each stage, from the ASIC's record.

#include "morvane/MorvaneTcamCapacity/CapacityInfo.h"
#include "morvane/MorvaneTcamCapacitySm.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamShow/ReportText.h"
#include "morvane/Operation.h"
#include "shim/SdkCall.h"

namespace Morvane {

using Shim::Fields;

namespace {

constexpr const char * sliceDashes = "-----------------------------------------------\n";

void appendRow( std::string & table, const char * label, S32 total, S32 free ) {
  appendFormatted( table, "|%25s |%7d |%8d |\n", label, total, free );
}

void appendStage( std::string & table, const kelmor_tcam_stage_info_t & stage ) {
  appendFormatted( table, "%s|Stage%39s |\n%s|%25s |%7s |%8s |\n%s", sliceDashes,
                   tcamStageName( Fields::stageNumber( stage ) ).charPtr(), sliceDashes,
                   "SliceNumber", "Total", "Free", sliceDashes );
  for ( S32 j = 0; j < Fields::sliceCount( stage ); ++j ) {
    const auto & slice = Fields::slice( stage, j );
    appendRow( table, std::to_string( j ).c_str(), Fields::sliceTotal( slice ),
               Fields::sliceFree( slice ) );
  }
  table += sliceDashes;
  appendRow( table, "", Fields::stageTotal( stage ), freeEntries( stage ) );
}

}  // namespace

Kiv::String8 MorvaneTcamGroupManager::tcamUsage( U32 unit ) const {
  const Operation operation( *this, unit );
  MORVANE_TRACE( traceGroup ) << "tcamUsage";
  kelmor_tcam_capacity_info_t info = {};
  SDK_CHECKED( kelmor_bcm_tcam_capacity_info_get( unit, &info ) );
  checkCapacity( unit, info );
  std::string table;
  for ( S32 i = 0; i < Fields::stageCount( info ); ++i )
    appendStage( table, Fields::stage( info, i ) );
  if ( !table.empty() )
    table += sliceDashes;
  return Kiv::String8( std::string_view( table ) );
}

void MorvaneTcamGroupManager::showRawTcamUsage( const Kiv::String8 & /* name */, U32 fd,
                                                U32 unit ) const {
  MORVANE_TRACE( traceGroup ) << "showRawTcamUsage";
  ReportWriter( fd ).text() = tcamUsage( unit ).view();
}

}  // namespace Morvane
