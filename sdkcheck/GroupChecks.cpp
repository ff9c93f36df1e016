// Groups and their qualifier sets.
#include <algorithm>

#include "sdkcheck/Checks.h"

namespace SdkCheck {

namespace {

using Kind = Unit::Kind;

bcm_field_qset_t setOf( const Unit & u, U32 group ) {
  bcm_field_qset_t qset = {};
  u.ok( u.sdk.bcm_field_group_get( u.unit, group, &qset ) );
  return qset;
}

void create( Unit & u ) {
  const U32 group = u.group( 1 );
  u.holds( "bcm_field_group_get returns the set of the creation",
           equal( setOf( u, group ), u.qualifiers() ) );
  u.destroy( Kind::group, group );
  bcm_field_qset_t qset = {};
  u.refused( u.sdk.bcm_field_group_get( u.unit, group, &qset ) );
  u.refused( u.sdk.bcm_field_group_destroy( u.unit, group ) );
  u.group( 1 );
}

void duplicate( Unit & u ) {
  const U32 group = u.group( 1 );
  bcm_field_group_config_t again =
      u.config( 1, 0, without( u.qualifiers(), bcmFieldQualifyOuterVlanId ) );
  u.refused( u.sdk.bcm_field_group_config_create( u.unit, &again ) );
  u.holds( "a refused creation leaves the existing group's set",
           equal( setOf( u, group ), u.qualifiers() ) );
}

void unknown( Unit & u ) {
  u.group( 1 );
  const U32 none = 2;
  bcm_field_group_status_s status = {};
  bcm_field_entry_t entry = 0;
  u.refused( u.sdk.bcm_field_group_destroy( u.unit, none ) );
  u.refused( u.sdk.bcm_field_group_set( u.unit, none, u.qualifiers() ) );
  u.refused( u.sdk.bcm_field_group_status_get( u.unit, none, &status ) );
  u.refused( u.sdk.bcm_field_entry_create( u.unit, none, &entry ) );
  u.refused( u.sdk.bcm_field_entry_create_id( u.unit, none, Unit::entryId( none, 1 ) ) );
}

void inUse( Unit & u ) {
  const U32 group = u.group( 1 );
  const U32 entry = u.entry( group, 1 );
  u.refused( u.sdk.bcm_field_group_destroy( u.unit, group ) );
  ( void )u.priority( entry );
  u.destroy( Kind::entry, entry );
  u.destroy( Kind::group, group );
}

void status( Unit & u ) {
  const U32 group = u.group( 1 );
  const bcm_field_group_status_s empty = u.status( group );
  u.equal( "entry_count of a new group", Fields::groupEntryCount( empty ), 0 );
  u.holds( "a new group has room: entries_total > 0", Fields::groupEntriesTotal( empty ) > 0 );
  u.holds( "free slices count: entries_free >= entries_total",
           Fields::groupEntriesFree( empty ) >= Fields::groupEntriesTotal( empty ) );
  for ( int count = 1; count <= 3; ++count ) {
    u.entry( group, static_cast< U32 >( count ) );
    u.equal( "entry_count", Fields::groupEntryCount( u.status( group ) ), count );
    u.equal( "entries_free with " + std::to_string( count ) + " entries",
             Fields::groupEntriesFree( u.status( group ) ),
             Fields::groupEntriesFree( empty ) - count );
  }
  u.destroy( Kind::entry, Unit::entryId( group, 2 ) );
  u.equal( "entry_count after a destroy", Fields::groupEntryCount( u.status( group ) ), 2 );
  u.equal( "entries_free after a destroy", Fields::groupEntriesFree( u.status( group ) ),
           Fields::groupEntriesFree( empty ) - 2 );
}

// The library derives priorities from it: prio_max minus the entry's number.
void highestPriority( Unit & u ) {
  const bcm_field_group_status_s status = u.status( u.group( 1 ) );
  u.holds( "prio_max leaves a priority for every entry number: prio_max >= 0xFFFFFF",
           Fields::groupPrioMax( status ) >= 0xFFFFFF );
  u.holds( "prio_min <= 0", Fields::groupPrioMin( status ) <= 0 );
  const U32 entry = u.entry( 1, 1 );
  for ( const U32 priority :
        { static_cast< U32 >( Fields::groupPrioMax( status ) ), 0x7FFFFFFFU } ) {
    u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, entry, priority ) );
    u.equal( "bcm_field_entry_prio_get", u.priority( entry ), priority );
  }
}

void widen( Unit & u ) {
  const U32 group = u.group( 1 );
  const U32 entry = u.entry( group, 1 );
  u.ok( u.sdk.bcm_field_qualify_DstIp( u.unit, entry, 0x0A000000, 0xFF000000 ) );
  const bcm_field_qset_t narrow = without( u.qualifiers(), bcmFieldQualifyOuterVlanId );
  u.ok( u.sdk.bcm_field_group_set( u.unit, group, narrow ) );
  u.holds( "bcm_field_group_get returns the narrower set", equal( setOf( u, group ), narrow ) );
  u.ok( u.sdk.bcm_field_group_set( u.unit, group, u.qualifiers() ) );
  u.holds( "bcm_field_group_get returns the former set again",
           equal( setOf( u, group ), u.qualifiers() ) );
  u.ok( u.sdk.bcm_field_qualify_OuterVlanId( u.unit, entry, 7, 0xFFF ) );

  const bcm_field_qset_t wide = with( u.qualifiers(), bcmFieldQualifySrcIp );
  const Outcome outcome = u.sdk.bcm_field_group_set( u.unit, group, wide );
  if ( u.preselected() )
    u.isOneOf( { BCM_E_NONE, BCM_E_RESOURCE, BCM_E_UNAVAIL }, outcome );
  else
    u.isOneOf( { BCM_E_NONE, BCM_E_RESOURCE }, outcome );
  u.holds( outcome.rc == 0 ? "bcm_field_group_get returns the wider set"
                           : "a refused bcm_field_group_set changes nothing",
           equal( setOf( u, group ), outcome.rc == 0 ? wide : u.qualifiers() ) );
  u.equal( "outer VLAN of an entry after its group was widened", u.vlan( entry ).first, 7 );
  u.equal( "entry_count after the group was widened", Fields::groupEntryCount( u.status( group ) ),
           1 );
}

// Without the flag the library creates a group with data qualifiers; with it, most others.
void large( Unit & u ) {
  bcm_field_group_config_t config = u.config( 1, 0 );
  if ( ( Fields::groupFlags( config ) & BCM_FIELD_GROUP_CREATE_WITH_PORT ) != 0 )
    u.notApplicable( "groups are placed by port" );
  Fields::groupFlagsIs( config, Fields::groupFlags( config ) | BCM_FIELD_GROUP_CREATE_LARGE );
  const Outcome outcome = u.sdk.bcm_field_group_config_create( u.unit, &config );
  u.isOneOf( { BCM_E_NONE, BCM_E_RESOURCE, BCM_E_UNAVAIL }, outcome );
  if ( outcome.rc == 0 )
    u.created( Kind::group, Fields::groupId( config ) );
  else
    u.group( 1 );
  u.entry( 1, 1 );
}

}  // namespace

const std::vector< Check > groupChecks = {
    { "group-create", "a group has its id and qualifier set, and can be created again", create },
    { "group-duplicate", "a group id in use is refused", duplicate },
    { "group-unknown", "operations on an unknown group are refused", unknown },
    { "group-in-use", "a group with entries is not destroyed", inUse },
    { "group-status", "counts of entries follow creation and destruction", status },
    { "group-priorities", "prio_max leaves room for the library's priorities", highestPriority },
    { "group-widen", "a live group's qualifier set changes whole or not at all", widen },
    { "group-large", "a group that is refused a large slice can be created without", large },
};

}  // namespace SdkCheck
