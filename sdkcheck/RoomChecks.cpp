// Room: slices, rows, what remains possible when they run out, and moves of rows.
#include <algorithm>
#include <iterator>

#include "sdkcheck/Checks.h"

namespace SdkCheck {

namespace {

using Kind = Unit::Kind;

void slices( Unit & u ) {
  const std::vector< U32 > groups = u.takeAllSlices( 1 );
  u.holds( "there is a slice for a first group", !groups.empty() );
  const U32 refused = groups.back() + 1;
  bcm_field_group_status_s status = {};
  u.refused( u.sdk.bcm_field_group_status_get( u.unit, refused, &status ) );
  u.refused( u.sdk.bcm_field_group_destroy( u.unit, refused ) );
  for ( const U32 group : groups )
    u.equal( "entry_count", Fields::groupEntryCount( u.status( group ) ), 0 );
  u.destroy( Kind::group, groups.front() );
  u.entry( u.group( refused ), 1 );
}

// Fills a group that can take no further slice; returns the number of entries.
U32 fill( Unit & u, U32 group ) {
  const bcm_field_group_status_s status = u.status( group );
  const U32 room = static_cast< U32 >( std::max( Fields::groupEntriesFree( status ), 0 ) );
  if ( room > u.limit || room >= 0xFFFF )  // numbers of 16 bits
    u.notApplicable( "a slice has " + std::to_string( room ) + " rows" );
  for ( U32 number = 1; number <= room; ++number )
    u.entry( group, number );
  return room;
}

void rows( Unit & u ) {
  const std::vector< U32 > groups = u.takeAllSlices( 1 );
  const U32 group = groups.front();
  const U32 room = fill( u, group );
  u.equal( "entries_free of a full group", Fields::groupEntriesFree( u.status( group ) ), 0 );
  const U32 refused = Unit::entryId( group, room + 1 );
  bcm_field_entry_t chosen = 0;
  std::uint32_t priority = 0;
  u.is( BCM_E_RESOURCE, u.sdk.bcm_field_entry_create_id( u.unit, group, refused ) );
  u.is( BCM_E_RESOURCE, u.sdk.bcm_field_entry_create( u.unit, group, &chosen ) );
  u.refused( u.sdk.bcm_field_entry_prio_get( u.unit, refused, &priority ) );
  u.equal( "entry_count of a full group", Fields::groupEntryCount( u.status( group ) ), room );
  // Moves within a full group.
  for ( const U32 number : { 1U, room, room / 2 + 1 } ) {
    const U32 entry = Unit::entryId( group, number );
    u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, entry, 5 + number ) );
    u.ok( u.sdk.bcm_field_entry_install( u.unit, entry ) );
    u.ok( u.sdk.bcm_field_entry_remove( u.unit, entry ) );
  }
  for ( const U32 number : { 1U, room } )
    u.destroy( Kind::entry, Unit::entryId( group, number ) );
  u.equal( "entries_free after two entries of a full group were destroyed",
           Fields::groupEntriesFree( u.status( group ) ), 2 );
  u.entry( group, room + 1 );
  u.entry( group, 1 );
  u.is( BCM_E_RESOURCE, u.sdk.bcm_field_entry_create_id( u.unit, group, refused + 1 ) );
}

void freedSlice( Unit & u ) {
  const std::vector< U32 > groups = u.takeAllSlices( 1 );
  if ( groups.size() < 2 )
    u.notApplicable( "one group takes all slices" );
  const U32 group = groups.front();
  const S32 before = Fields::groupEntriesFree( u.status( group ) );
  u.destroy( Kind::group, groups.back() );
  u.holds( "a slice that a destroyed group had counts as free for another",
           Fields::groupEntriesFree( u.status( group ) ) > before );
}

void compress( Unit & u ) {
  const U32 group = u.group( 1 );
  constexpr U32 count = 40;
  for ( U32 number = 1; number <= count; ++number ) {
    const U32 entry = u.entry( group, number );
    u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, entry, number * 17 % 41 ) );
    u.ok( u.sdk.bcm_field_qualify_OuterVlanId( u.unit, entry, static_cast< bcm_vlan_t >( number ),
                                               0xFFF ) );
    u.ok( u.sdk.bcm_field_entry_install( u.unit, entry ) );
  }
  for ( U32 number = 1; number <= count; number += 2 ) {
    u.ok( u.sdk.bcm_field_entry_remove( u.unit, Unit::entryId( group, number ) ) );
    u.destroy( Kind::entry, Unit::entryId( group, number ) );
  }
  const bcm_field_group_status_s before = u.status( group );
  u.ok( u.sdk.bcm_field_group_compress( u.unit, group ) );
  u.equal( "entry_count after a compression", Fields::groupEntryCount( u.status( group ) ),
           Fields::groupEntryCount( before ) );
  u.holds( "a compression leaves no less room",
           Fields::groupEntriesFree( u.status( group ) ) >= Fields::groupEntriesFree( before ) );
  for ( U32 number = 2; number <= count; number += 2 ) {
    const U32 entry = Unit::entryId( group, number );
    u.equal( "priority after a compression", u.priority( entry ), number * 17 % 41 );
    u.equal( "outer VLAN after a compression", u.vlan( entry ).first, number );
    u.ok( u.sdk.bcm_field_entry_remove( u.unit, entry ) );  // still installed
  }
}

}  // namespace

const std::vector< Check > roomChecks = {
    { "slices-full", "a group without a slice is refused with BCM_E_RESOURCE and does not exist",
      slices },
    { "rows-full", "entries_free entries fit, the next is refused with BCM_E_RESOURCE", rows },
    { "slices-freed", "the slices of a destroyed group are free for others", freedSlice },
    { "compress", "a compression keeps entries, their rules, priorities and states", compress },
};

}  // namespace SdkCheck
