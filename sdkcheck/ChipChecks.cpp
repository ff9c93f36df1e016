// The chip: properties, ports, start-up, capacity and diagnosis.
#include <algorithm>
#include <sstream>

#include "sdkcheck/Checks.h"

namespace SdkCheck {

namespace {

using Kind = Unit::Kind;

void properties( Unit & u ) {
  const bool shared = u.sdk.kelmor_field_shared_by_pipes( u.unit );
  u.holds( "tables that are shared by pipes have no second copy",
           !shared || !u.sdk.kelmor_field_second_copy( u.unit ) );
  u.holds( "groups in tables that are shared by pipes are not chosen by preselector",
           !shared || !u.preselected() );
#define SDK_QUERY( name ) \
  u.holds( #name " returns the same at every call", u.sdk.name( u.unit ) == u.sdk.name( u.unit ) );
#include "shim/SdkOperations.inc"
  u.holds( "a result code has a text",
           u.sdk.errorText( BCM_E_RESOURCE ) != nullptr && u.sdk.errorText( -12345 ) != nullptr );
}

void ports( Unit & u ) {
  auto config = initialised< bcm_port_config_t >();
  u.ok( u.sdk.bcm_port_config_get( u.unit, &config ) );
  u.holds( "pipe 0 has ports", u.pipes() > 0 );
  for ( U32 port = 0; port < BCM_PBMP_PORT_MAX; ++port ) {
    U32 pipes = 0;
    for ( U32 pipe = 0; pipe < BCM_PIPES_MAX; ++pipe )
      pipes += has( Fields::pipePorts( config, pipe ), port ) ? 1 : 0;
    u.equal( "pipes of port " + std::to_string( port ), pipes,
             has( Fields::allPorts( config ), port ) ? 1 : 0 );
  }
  for ( U32 pipe = u.pipes(); pipe < BCM_PIPES_MAX; ++pipe )
    u.holds( "pipes with ports come before those without",
             Fields::pipePorts( config, pipe ) == bcm_pbmp_t{} );
}

void startUp( Unit & u ) {
  for ( const bcm_field_control_t control :
        { bcmFieldControlRedirectExcludeSrcPort, bcmFieldControlRedirectIngressVlanCheck,
          bcmFieldControlRedirectNonUcastTrunkResolve, bcmFieldControlPolicerGroupSharingEnable } )
    u.ok( u.sdk.bcm_field_control_set( u.unit, control, 1 ) );
  u.ok( u.sdk.bcm_port_control_set( u.unit, 0, bcmPortControlFilterIngress, 1 ) );
  u.ok( u.sdk.bcm_port_control_set( u.unit, 0, bcmPortControlFilterLookup, 1 ) );
}

kelmor_tcam_capacity_info_t capacity( const Unit & u ) {
  auto info = initialised< kelmor_tcam_capacity_info_t >();
  u.needs( u.sdk.kelmor_bcm_tcam_capacity_info_get( u.unit, &info ) );
  const S32 stages = Fields::stageCount( info );
  u.holds( "stage_count is 1 to " + std::to_string( KELMOR_TCAM_STAGES_MAX ),
           stages >= 1 && stages <= KELMOR_TCAM_STAGES_MAX );
  for ( S32 i = 0; i < stages; ++i ) {
    const S32 slices = Fields::sliceCount( Fields::stage( info, i ) );
    u.holds( "slice_count is 1 to " + std::to_string( KELMOR_TCAM_SLICES_MAX ),
             slices >= 1 && slices <= KELMOR_TCAM_SLICES_MAX );
  }
  return info;
}

void capacityRecord( Unit & u ) {
  const kelmor_tcam_capacity_info_t info = capacity( u );
  U32 seen = 0;
  for ( S32 i = 0; i < Fields::stageCount( info ); ++i ) {
    const auto & stage = Fields::stage( info, i );
    const S32 kind = Fields::stageNumber( stage );
    const std::string of = " of stage " + std::to_string( kind );
    u.holds( "the kind" + of + " is 0 to 5 and appears once",
             kind >= 0 && kind <= 5 && ( seen >> kind & 1U ) == 0 );
    seen |= 1U << kind;
    S32 total = 0;
    for ( S32 j = 0; j < Fields::sliceCount( stage ); ++j ) {
      const auto & slice = Fields::slice( stage, j );
      u.holds( "0 <= entries_free <= entries_total in slice " + std::to_string( j ) + of,
               Fields::sliceFree( slice ) >= 0 &&
                   Fields::sliceFree( slice ) <= Fields::sliceTotal( slice ) );
      total += Fields::sliceTotal( slice );
    }
    // Keys of two rows: the total may be in rows, the slices in entries.
    if ( kind != 0 || !u.sdk.kelmor_field_ingress_half_size( u.unit ) )
      u.equal( "entries_total" + of, Fields::stageTotal( stage ), total );
  }
  u.holds( "there is an ingress stage", ( seen & 1U ) != 0 );
}

S32 usedOfIngress( const Unit & u ) {
  const kelmor_tcam_capacity_info_t info = capacity( u );
  S32 used = 0;
  for ( S32 i = 0; i < Fields::stageCount( info ); ++i ) {
    const auto & stage = Fields::stage( info, i );
    for ( S32 j = 0; Fields::stageNumber( stage ) == 0 && j < Fields::sliceCount( stage ); ++j )
      used += Fields::sliceTotal( Fields::slice( stage, j ) ) -
              Fields::sliceFree( Fields::slice( stage, j ) );
  }
  return used;
}

void capacityUse( Unit & u ) {
  const S32 before = usedOfIngress( u );
  const U32 group = u.group( 1 );
  u.equal( "entries in use in the ingress stage with an empty group", usedOfIngress( u ), before );
  for ( U32 number = 1; number <= 3; ++number ) {
    u.entry( group, number );
    u.equal( "entries in use in the ingress stage", usedOfIngress( u ), before + S32( number ) );
  }
  u.destroy( Kind::entry, Unit::entryId( group, 2 ) );
  u.equal( "entries in use in the ingress stage", usedOfIngress( u ), before + 2 );
}

void texts( Unit & u ) {
  const U32 group = u.group( 1 );
  const U32 entry = u.entry( group, 1 );
  std::ostringstream banks;
  u.needs( u.sdk.kelmor_field_group_banks( u.unit, group, &banks ) );
  u.holds( "kelmor_field_group_banks appends a text", !banks.str().empty() );
  std::ostringstream ofGroup;
  u.needs( u.sdk.kelmor_field_group_show( u.unit, group, &ofGroup ) );
  u.holds( "kelmor_field_group_show appends a text", !ofGroup.str().empty() );
  std::ostringstream ofEntry;
  u.needs( u.sdk.kelmor_field_entry_show( u.unit, entry, &ofEntry ) );
  u.holds( "kelmor_field_entry_show appends a text", !ofEntry.str().empty() );
}

}  // namespace

const std::vector< Check > chipChecks = {
    { "properties", "the chip's properties go together and are fixed", properties },
    { "ports", "every port is in one pipe", ports },
    { "start-up", "the controls that start-up sets are accepted", startUp },
    { "capacity-record", "the capacity record is consistent", capacityRecord },
    { "capacity-use", "the capacity record counts entries", capacityUse },
    { "texts", "groups and entries are shown as text", texts },
};

}  // namespace SdkCheck
