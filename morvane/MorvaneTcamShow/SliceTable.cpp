// The raw slice table: each stage's slices as the ASIC reports them.

#include <iterator>

#include "kiv/Assert.h"
#include "morvane/MorvaneTcamGroupManager.h"
#include "morvane/MorvaneTcamManager/Trace.h"
#include "morvane/MorvaneTcamShow/ReportText.h"
#include "shim/SdkCall.h"

namespace Morvane {

namespace {

constexpr const char * dashes = "-----------------------------------------------\n";
constexpr const char * stageNames[] = { "IFP", "VFP", "EFP", "EXT", "EXACT", "CLASS" };
constexpr S32 ingressStage = 0;

// What a slice of the ingress stage reports while it is empty, and what it can hold, on a chip
// whose ingress keys take two rows.
constexpr S32 emptySliceReported = 512;
constexpr S32 emptySliceHolds = 256;

std::string stageName( S32 kind ) {
  const bool named = kind >= 0 && kind < static_cast< S32 >( std::size( stageNames ) );
  return named ? stageNames[ kind ] : std::to_string( kind );
}

void appendRow( std::string & table, const char * label, S32 total, S32 free ) {
  appendFormatted( table, "|%25s |%7d |%8d |\n", label, total, free );
}

void appendStage( std::string & table, const kelmor_tcam_stage_info_t & stage, bool halves ) {
  KIV_ASSERT( stage.slice_count <= KELMOR_TCAM_SLICES_MAX );
  appendFormatted( table, "%s|Stage%39s |\n%s|%25s |%7s |%8s |\n%s", dashes,
                   stageName( stage.stage ).c_str(), dashes, "SliceNumber", "Total", "Free",
                   dashes );
  S32 free = 0;
  for ( S32 j = 0; j < stage.slice_count; ++j ) {
    kelmor_tcam_slice_info_t slice = stage.slice[ j ];
    if ( halves && slice.entries_total == emptySliceReported &&
         slice.entries_free == emptySliceReported )
      slice = { emptySliceHolds, emptySliceHolds };
    free += slice.entries_free;
    appendRow( table, std::to_string( j ).c_str(), slice.entries_total, slice.entries_free );
  }
  table += dashes;
  appendRow( table, "", halves ? stage.entries_total / 2 : stage.entries_total, free );
}

}  // namespace

Kiv::String8 MorvaneTcamGroupManager::tcamUsage( U32 unit ) const {
  MORVANE_TRACE( traceGroup ) << "tcamUsage";
  kelmor_tcam_capacity_info_t info = {};
  SDK_CHECKED( kelmor_bcm_tcam_capacity_info_get( unit, &info ) );
  KIV_ASSERT( info.stage_count <= KELMOR_TCAM_STAGES_MAX );
  const bool halves = Shim::sdk_->kelmor_field_ingress_half_size( unit );
  std::string table;
  for ( S32 i = 0; i < info.stage_count; ++i )
    appendStage( table, info.stage[ i ], halves && info.stage[ i ].stage == ingressStage );
  if ( !table.empty() )
    table += dashes;
  return Kiv::String8( std::string_view( table ) );
}

void MorvaneTcamGroupManager::showRawTcamUsage( const Kiv::String8 & /* name */, U32 fd,
                                                U32 unit ) const {
  MORVANE_TRACE( traceGroup ) << "showRawTcamUsage";
  ReportWriter( fd ).text() = tcamUsage( unit ).view();
}

}  // namespace Morvane
