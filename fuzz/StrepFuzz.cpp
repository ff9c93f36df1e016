// Fuzzes the readers of all text forms. Any text must either be read or rejected with an exception
// of the object model; a value that was read must print, and its text must read back to the same
// value. Every value has one text form, so text without \xNN must print unchanged.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

#include "kiv/Any.h"
#include "morvane/MorvaneTcamCapacitySm.h"
#include "morvane/MorvaneTcamGroupManager.h"

namespace {

using namespace Kiv::Integers;

std::span< const Kiv::Type * const > types() {
  using Manager = Morvane::MorvaneTcamGroupManager;
  static const Kiv::Type * const all[] = {
      &Kiv::typeOf< U8 >(),
      &Kiv::typeOf< S16 >(),
      &Kiv::typeOf< U32 >(),
      &Kiv::typeOf< S64 >(),
      &Kiv::typeOf< U64 >(),
      &Kiv::typeOf< bool >(),
      &Kiv::typeOf< Kiv::String8 >(),
      &Kiv::typeOf< Kiv::Name >(),
      &Kiv::typeOf< Morvane::TcamGroupAssignment >(),
      &Kiv::typeOf< Morvane::UdfOffsetBase >(),
      &Kiv::typeOf< Morvane::TcamAllocationStrategy >(),
      &Kiv::typeOf< bcm_pbmp_t >(),
      &Kiv::typeOf< Morvane::EntryInPorts >(),
      &Kiv::typeOf< Morvane::MorvaneCentral::ChipInfo >(),
      &Kiv::typeOf< Morvane::RangeCheckerDesc >(),
      &Kiv::typeOf< Morvane::GroupQsetModKey >(),
      &Kiv::typeOf< Morvane::GroupIdToPipeGroupId >(),
      &Kiv::typeOf< Manager::UnitGroupId >(),
      &Kiv::typeOf< Morvane::UdfUnitSpec >(),
      &Kiv::typeOf< Morvane::GroupUdfQualApplyStatus >(),
      &Kiv::typeOf< Morvane::MorvaneUnitOvidKey >(),
      &Kiv::typeOf< Morvane::OvidTwin >(),
      &Kiv::typeOf< Morvane::TcamCapacityKey >(),
      &Kiv::typeOf< Morvane::TcamCapacityRow >(),
      &Kiv::typeOf< Morvane::TcamCapacityThreshold >(),
      &Kiv::typeOf< Kiv::Ptr< Kiv::Entity > >(),
  };
  return all;
}

void require( bool holds, const Kiv::Type & type, const char * what ) {
  if ( !holds ) {
    std::fprintf( stderr, "%s: %s\n", type.name(), what );
    std::abort();
  }
}

void check( const Kiv::Type & type, std::string_view text ) {
  Kiv::Any value;
  try {
    value = type.fromStrRep( text );
  } catch ( const Kiv::Exception & ) {
    return;
  }
  const Kiv::String8 printed = value.strep();
  require( printed.view() == text || text.find( "\\x" ) != text.npos, type,
           "two forms of one value were read" );
  require( type.fromStrRep( printed.view() ).strep() == printed, type,
           "the printed form does not read back" );
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t * data, std::size_t size ) {
  const std::string_view text( reinterpret_cast< const char * >( data ), size );
  for ( const Kiv::Type * type : types() )
    check( *type, text );
  return 0;
}
