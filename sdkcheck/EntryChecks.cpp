// Entries: states, rules, priorities.
#include <algorithm>

#include "sdkcheck/Checks.h"

namespace SdkCheck {

namespace {

using Kind = Unit::Kind;

void states( Unit & u ) {
  const U32 entry = u.entry( u.group( 1 ), 1 );
  u.refused( u.sdk.bcm_field_entry_reinstall( u.unit, entry ) );
  for ( int round = 0; round < 2; ++round ) {
    u.ok( u.sdk.bcm_field_entry_install( u.unit, entry ) );
    u.ok( u.sdk.bcm_field_entry_install( u.unit, entry ) );
    u.ok( u.sdk.bcm_field_entry_reinstall( u.unit, entry ) );
    u.refused( u.sdk.bcm_field_entry_destroy( u.unit, entry ) );
    u.ok( u.sdk.bcm_field_entry_remove( u.unit, entry ) );
    u.refused( u.sdk.bcm_field_entry_reinstall( u.unit, entry ) );
  }
  u.destroy( Kind::entry, entry );
  u.refused( u.sdk.bcm_field_entry_install( u.unit, entry ) );
  u.refused( u.sdk.bcm_field_entry_destroy( u.unit, entry ) );
  u.entry( 1, 1 );
}

void taken( Unit & u ) {
  const U32 group = u.group( 1 );
  const U32 entry = u.entry( group, 1 );
  u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, entry, 77 ) );
  u.is( BCM_E_EXISTS, u.sdk.bcm_field_entry_create_id( u.unit, group, entry ) );
  u.equal( "priority of an entry whose id was refused", u.priority( entry ), 77 );
  u.equal( "entry_count after a refused id", Fields::groupEntryCount( u.status( group ) ), 1 );
}

void unknownId( Unit & u ) {
  const U32 entry = u.entry( u.group( 1 ), 1 );
  const U32 none = Unit::entryId( 1, 2 );
  std::uint32_t priority = 0;
  for ( const Outcome & outcome :
        { u.sdk.bcm_field_entry_destroy( u.unit, none ),
          u.sdk.bcm_field_entry_install( u.unit, none ),
          u.sdk.bcm_field_entry_remove( u.unit, none ),
          u.sdk.bcm_field_entry_enable_set( u.unit, none, 1 ),
          u.sdk.bcm_field_entry_prio_set( u.unit, none, 1 ),
          u.sdk.bcm_field_entry_prio_get( u.unit, none, &priority ),
          u.sdk.bcm_field_qualify_DstIp( u.unit, none, 0, 0 ),
          u.sdk.bcm_field_qualify_clear( u.unit, none ),
          u.sdk.bcm_field_action_add( u.unit, none, bcmFieldActionDrop, 0, 0 ),
          u.sdk.bcm_field_action_remove_all( u.unit, none ),
          u.sdk.kelmor_field_entry_copy_id( u.unit, entry, none ),
          u.sdk.kelmor_field_entry_copy_id( u.unit, none, entry ) } )
    u.refused( outcome );
}

// For users without a range: the SDK chooses the id.
void chosenId( Unit & u ) {
  const U32 instance = u.instances().back();
  const U32 group = u.group( 1, instance );
  const U32 given = u.entry( group, 1 );
  std::vector< U32 > ids = { given };
  for ( int i = 0; i < 3; ++i ) {
    bcm_field_entry_t id = 0;
    u.ok( u.sdk.bcm_field_entry_create( u.unit, group, &id ) );
    u.holds( "a chosen entry id is new and not 0",
             id != 0 && std::find( ids.begin(), ids.end(), U32( id ) ) == ids.end() );
    u.created( Kind::entry, id );
    ids.push_back( id );
    u.equal( "pipe and copy bits of a chosen entry id", U32( id ) >> 24, instance >> 24 );
    u.is( BCM_E_EXISTS, u.sdk.bcm_field_entry_create_id( u.unit, group, id ) );
  }
}

void enable( Unit & u ) {
  const U32 entry = u.entry( u.group( 1 ), 1 );
  for ( const bool installed : { false, true } ) {
    u.ok( u.sdk.bcm_field_entry_enable_set( u.unit, entry, 0 ) );
    u.ok( u.sdk.bcm_field_entry_enable_set( u.unit, entry, 0 ) );
    if ( installed )
      u.ok( u.sdk.bcm_field_entry_reinstall( u.unit, entry ) );  // disabled is not removed
    u.ok( u.sdk.bcm_field_entry_enable_set( u.unit, entry, 1 ) );
    u.ok( u.sdk.bcm_field_entry_install( u.unit, entry ) );
  }
  u.ok( u.sdk.bcm_field_entry_remove( u.unit, entry ) );
}

void rule( Unit & u ) {
  const U32 entry = u.entry( u.group( 1 ), 1 );
  const U32 other = u.entry( 1, 2 );
  u.ok( u.sdk.bcm_field_qualify_OuterVlanId( u.unit, other, 9, 0xFFF ) );
  u.ok( u.sdk.bcm_field_qualify_OuterVlanId( u.unit, entry, 100, 0xFFF ) );
  u.ok( u.sdk.bcm_field_entry_install( u.unit, entry ) );
  u.ok( u.sdk.bcm_field_qualify_OuterVlanId( u.unit, entry, 0x120, 0xFF0 ) );
  u.equal( "value of the outer VLAN set last, not installed yet", u.vlan( entry ).first, 0x120 );
  u.equal( "mask of the outer VLAN set last, not installed yet", u.vlan( entry ).second, 0xFF0 );
  u.ok( u.sdk.bcm_field_entry_reinstall( u.unit, entry ) );
  u.ok( u.sdk.bcm_field_entry_remove( u.unit, entry ) );
  u.equal( "outer VLAN after the entry was removed", u.vlan( entry ).first, 0x120 );
  u.ok( u.sdk.bcm_field_qualify_clear( u.unit, entry ) );
  u.equal( "mask of the outer VLAN after bcm_field_qualify_clear", u.vlan( entry ).second, 0 );
  u.equal( "outer VLAN of another entry", u.vlan( other ).first, 9 );
}

// The library tolerates BCM_E_PARAM, and no other code, from a group without the qualifier.
void missingQualifier( Unit & u ) {
  const U32 group =
      u.group( u.config( 1, 0, without( u.qualifiers(), bcmFieldQualifyOuterVlanId ) ) );
  const U32 entry = u.entry( group, 1 );
  bcm_vlan_t data = 0;
  bcm_vlan_t mask = 0;
  u.refused( u.sdk.bcm_field_qualify_OuterVlanId( u.unit, entry, 1, 0xFFF ) );
  u.is( BCM_E_PARAM, u.sdk.bcm_field_qualify_OuterVlanId_get( u.unit, entry, &data, &mask ) );
}

void inPorts( Unit & u ) {
  if ( u.sdk.kelmor_field_single_port_key( u.unit ) )
    u.notApplicable( "keys hold one port" );
  const U32 entry = u.entry( u.group( 1 ), 1 );
  const bcm_pbmp_t & ports = Fields::pipePorts( u.ports(), 0 );
  const bcm_pbmp_t first =
      Shim::portsOf( ports, ports, []( U32 word, U32 ) { return word & 0x55555555U; } );
  bcm_pbmp_t data = {};
  bcm_pbmp_t mask = {};
  u.ok( u.sdk.bcm_field_qualify_InPorts( u.unit, entry, first, ports ) );
  u.ok( u.sdk.bcm_field_qualify_InPorts_get( u.unit, entry, &data, &mask ) );
  for ( U32 port = 0; port < BCM_PBMP_PORT_MAX; ++port )
    if ( has( ports, port ) )
      u.holds( "bcm_field_qualify_InPorts_get returns port " + std::to_string( port ) + " as set",
               has( data, port ) == has( first, port ) && has( mask, port ) );
}

void actions( Unit & u ) {
  const U32 entry = u.entry( u.group( 1 ), 1 );
  const auto remove = [ & ]( bcm_field_action_t action ) {
    return u.sdk.bcm_field_action_remove( u.unit, entry, action );
  };
  u.ok( u.sdk.bcm_field_action_add( u.unit, entry, bcmFieldActionDrop, 0, 0 ) );
  u.ok( u.sdk.bcm_field_action_add( u.unit, entry, bcmFieldActionCopyToCpu, 0, 0 ) );
  u.ok( remove( bcmFieldActionDrop ) );
  u.refused( remove( bcmFieldActionDrop ) );
  u.ok( remove( bcmFieldActionCopyToCpu ) );
  for ( const bcm_field_action_t action :
        { bcmFieldActionRedirectPbmp, bcmFieldActionEgressMask, bcmFieldActionMirrorPbmp } ) {
    u.ok(
        u.sdk.bcm_field_action_ports_add( u.unit, entry, action, Fields::allPorts( u.ports() ) ) );
    u.ok( remove( action ) );
    u.ok(
        u.sdk.bcm_field_action_ports_add( u.unit, entry, action, Fields::allPorts( u.ports() ) ) );
  }
  u.ok( u.sdk.bcm_field_action_remove_all( u.unit, entry ) );
  u.refused( remove( bcmFieldActionMirrorPbmp ) );
  u.ok( u.sdk.bcm_field_action_add( u.unit, entry, bcmFieldActionPermit, 0, 0 ) );
}

void priorities( Unit & u ) {
  const U32 group = u.group( 1 );
  constexpr U32 count = 16;
  const auto priorityOf = []( U32 number ) { return number * 7 % count * 1000 + 1; };
  for ( U32 number = 1; number <= count; ++number ) {
    const U32 entry = u.entry( group, number );
    u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, entry, priorityOf( number ) ) );
    u.ok( u.sdk.bcm_field_entry_install( u.unit, entry ) );
  }
  const U32 moved = Unit::entryId( group, 5 );
  u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, moved, 0 ) );
  u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, moved, 20000 ) );
  u.equal( "priority set last, of an installed entry", u.priority( moved ), 20000 );
  for ( U32 number = 1; number <= count; ++number ) {
    const U32 entry = Unit::entryId( group, number );
    if ( entry != moved )
      u.equal( "priority of entry " + textOfNumber( entry ), u.priority( entry ),
               priorityOf( number ) );
    u.ok( u.sdk.bcm_field_entry_remove( u.unit, entry ) );
  }
  u.equal( "priority of a removed entry", u.priority( moved ), 20000 );
}

void dump( Unit & u ) {
  const U32 entry = u.entry( u.group( 1 ), 1 );
  u.ok( u.sdk.bcm_field_entry_dump( u.unit, entry ) );
}

}  // namespace

const std::vector< Check > entryChecks = {
    { "entry-states", "created, installed, removed and destroyed, in this order only", states },
    { "entry-taken", "an entry id in use is refused with BCM_E_EXISTS", taken },
    { "entry-unknown", "operations on an unknown entry are refused", unknownId },
    { "entry-chosen-id", "ids that the SDK chooses are new and have the group's bits", chosenId },
    { "entry-enable", "a disabled entry stays installed", enable },
    { "entry-rule", "qualifiers of an entry's current rule can be read", rule },
    { "entry-missing-qualifier", "a qualifier that the group lacks is refused", missingQualifier },
    { "entry-ports", "the ports of an entry's current rule can be read", inPorts },
    { "entry-actions", "actions are added and removed one by one", actions },
    { "entry-priorities", "each entry keeps the priority set last", priorities },
    { "entry-dump", "entries can be dumped", dump },
};

}  // namespace SdkCheck
