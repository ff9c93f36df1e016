#include "sdkcheck/Checks.h"

#include <algorithm>
#include <exception>
#include <optional>

namespace SdkCheck {

namespace {

// The capacity record as text; empty if there is none.
std::string capacityOf( const Unit & u ) {
  auto info = initialised< kelmor_tcam_capacity_info_t >();
  if ( u.sdk.kelmor_bcm_tcam_capacity_info_get( u.unit, &info ).rc < 0 )
    return {};
  std::string text;
  for ( S32 i = 0; i < Fields::stageCount( info ) && i < KELMOR_TCAM_STAGES_MAX; ++i ) {
    const auto & stage = Fields::stage( info, i );
    for ( S32 j = 0; j < Fields::sliceCount( stage ) && j < KELMOR_TCAM_SLICES_MAX; ++j )
      text += std::to_string( Fields::sliceFree( Fields::slice( stage, j ) ) ) + "/" +
              std::to_string( Fields::sliceTotal( Fields::slice( stage, j ) ) ) + " ";
  }
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
  std::optional< Unit > unit;
  const auto ended = [ & ]( Verdict verdict, const std::string & reason ) {
    if ( unit )
      unit->clean( false );
    return Result{ &check, verdict, reason };
  };
  try {
    unit.emplace( sdk, number, limit );
    const std::string before = capacityOf( *unit );
    check.run( *unit );
    unit->clean( true );
    if ( capacityOf( *unit ) != before )
      unit->fail( "after everything was destroyed, the capacity record is not as before" );
  } catch ( const CheckEnd & end ) {
    return ended( end.verdict, end.reason );
  } catch ( const std::exception & error ) {
    return ended( Verdict::failed, std::string( "an operation threw: " ) + error.what() );
  }
  return ended( Verdict::ok, {} );
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
