#include "sdkcheck/Checks.h"

#include <cstring>

namespace SdkCheck {

namespace {

// The capacity record as text; empty if there is none.
std::string capacityOf( const Unit & u ) {
  kelmor_tcam_capacity_info_t info = {};
  if ( u.sdk.kelmor_bcm_tcam_capacity_info_get( u.unit, &info ).rc < 0 )
    return {};
  std::string text;
  for ( S32 i = 0; i < info.stage_count && i < KELMOR_TCAM_STAGES_MAX; ++i )
    for ( S32 j = 0; j < info.stage[ i ].slice_count && j < KELMOR_TCAM_SLICES_MAX; ++j )
      text += std::to_string( info.stage[ i ].slice[ j ].entries_free ) + "/" +
              std::to_string( info.stage[ i ].slice[ j ].entries_total ) + " ";
  return text;
}

const char * nameOf( Verdict verdict ) {
  switch ( verdict ) {
    case Verdict::ok:
      return "ok";
    case Verdict::notSupported:
      return "not supported";
    case Verdict::notApplicable:
      return "not applicable";
    case Verdict::failed:
      break;
  }
  return "FAILED";
}

}  // namespace

const std::vector< Check > & checks() {
  static const std::vector< Check > all = [] {
    std::vector< Check > joined;
    for ( const std::vector< Check > * part :
          { &chipChecks, &groupChecks, &entryChecks, &roomChecks, &instanceChecks, &counterChecks,
            &policerChecks, &selectionChecks } )
      joined.insert( joined.end(), part->begin(), part->end() );
    return joined;
  }();
  return all;
}

Result run( const Check & check, Shim::SdkShim & sdk, U32 number, U32 limit ) {
  Unit unit( sdk, number, limit );
  const std::string before = capacityOf( unit );
  try {
    check.run( unit );
    unit.clean( true );
    if ( capacityOf( unit ) != before )
      unit.fail( "after everything was destroyed, the capacity record is not as before" );
  } catch ( const CheckEnd & end ) {
    unit.clean( false );
    return { &check, end.verdict, end.reason };
  }
  return { &check, Verdict::ok, {} };
}

std::string textOf( const Result & result ) {
  std::string text = nameOf( result.verdict );
  text.resize( 16, ' ' );
  text += result.check->name;
  if ( result.verdict != Verdict::ok ) {
    text.resize( std::max< size_t >( text.size() + 2, 42 ), ' ' );
    text += result.reason;
  }
  return text;
}

}  // namespace SdkCheck
