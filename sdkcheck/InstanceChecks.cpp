// Pipes and copies: one set of tables each, told apart by the bits of ids.
#include "sdkcheck/Checks.h"

namespace SdkCheck {

namespace {

using Kind = Unit::Kind;

void needSeveral( const Unit & u ) {
  if ( u.instances().size() < 2 )
    u.notApplicable( "there is one set of ingress tables" );
}

// Groups and entries of one number in every instance, each with its own priority and VLAN.
void separate( Unit & u ) {
  needSeveral( u );
  for ( const U32 bits : u.instances() ) {
    const U32 entry = u.entry( u.group( 1, bits ), 1 );
    u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, entry, 100 + ( bits >> pipeShift ) ) );
    u.ok( u.sdk.bcm_field_qualify_OuterVlanId(
        u.unit, entry, static_cast< bcm_vlan_t >( 200 + ( bits >> pipeShift ) ), 0xFFF ) );
    u.ok( u.sdk.bcm_field_entry_install( u.unit, entry ) );
  }
  for ( const U32 bits : u.instances() ) {
    const U32 entry = Unit::entryId( 1 | bits, 1 );
    const std::string of = " of entry " + textOfNumber( entry );
    u.equal( "priority" + of, u.priority( entry ), 100 + ( bits >> pipeShift ) );
    u.equal( "outer VLAN" + of, u.vlan( entry ).first, 200 + ( bits >> pipeShift ) );
    u.equal( "entry_count of its group", Fields::groupEntryCount( u.status( 1 | bits ) ), 1 );
    u.ok( u.sdk.bcm_field_entry_remove( u.unit, entry ) );
    u.refused( u.sdk.bcm_field_entry_reinstall( u.unit, entry ) );
    u.destroy( Kind::entry, entry );
    u.equal( "entry_count of its group", Fields::groupEntryCount( u.status( 1 | bits ) ), 0 );
    u.destroy( Kind::group, 1 | bits );
  }
}

void ownRoom( Unit & u ) {
  needSeveral( u );
  const U32 other = u.instances().back();
  const U32 elsewhere = u.group( 1, other );
  const S32 free = Fields::groupEntriesFree( u.status( elsewhere ) );
  const U32 group = u.takeAllSlices( 2 ).front();
  u.entry( group, 1 );
  u.equal( "entries_free of a group in another pipe or copy",
           Fields::groupEntriesFree( u.status( elsewhere ) ), free );
}

// With one field processor, pipe bits of entry ids only make them distinct: entry and twin.
void twins( Unit & u ) {
  if ( !u.shared() )
    u.notApplicable( "pipes have their own tables" );
  const U32 group = u.group( 1 );
  const U32 entry = u.entry( group, 1 );
  const U32 twin = entry | 1U << pipeShift;
  u.ok( u.sdk.bcm_field_entry_create_id( u.unit, group, twin ) );
  u.created( Kind::entry, twin );
  u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, entry, 1 ) );
  u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, twin, 2 ) );
  u.equal( "priority of an entry with a twin", u.priority( entry ), 1 );
  u.equal( "priority of the twin", u.priority( twin ), 2 );
  u.equal( "entry_count with an entry and its twin", Fields::groupEntryCount( u.status( group ) ),
           2 );
}

// To every other instance; with one instance, to an entry of the same group.
void copy( Unit & u ) {
  const U32 first = u.entry( u.group( 1 ), 1 );
  std::vector< U32 > targets;
  for ( const U32 bits : u.instances() )
    if ( bits != 0 )
      targets.push_back( u.entry( u.group( 1, bits ), 1 ) );
  if ( targets.empty() )
    targets.push_back( u.entry( 1, 2 ) );
  u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, first, 50 ) );
  u.ok( u.sdk.bcm_field_qualify_OuterVlanId( u.unit, first, 300, 0xFFF ) );
  u.ok( u.sdk.bcm_field_action_add( u.unit, first, bcmFieldActionDrop, 0, 0 ) );
  for ( const U32 target : targets ) {
    u.ok( u.sdk.bcm_field_entry_prio_set( u.unit, target, 60 ) );
    u.ok( u.sdk.bcm_field_qualify_OuterVlanId( u.unit, target, 1, 0xFFF ) );
    u.ok( u.sdk.bcm_field_action_add( u.unit, target, bcmFieldActionCopyToCpu, 0, 0 ) );
    u.ok( u.sdk.kelmor_field_entry_copy_id( u.unit, first, target ) );
    u.equal( "outer VLAN of the copy", u.vlan( target ).first, 300 );
    u.equal( "priority of the copy's target", u.priority( target ), 60 );
    u.refused( u.sdk.bcm_field_entry_reinstall( u.unit, target ) );  // not installed by it
    u.refused( u.sdk.bcm_field_action_remove( u.unit, target, bcmFieldActionCopyToCpu ) );
    u.ok( u.sdk.bcm_field_action_remove( u.unit, target, bcmFieldActionDrop ) );
  }
  u.ok( u.sdk.bcm_field_qualify_OuterVlanId( u.unit, first, 301, 0xFFF ) );
  for ( const U32 target : targets ) {
    u.equal( "outer VLAN of a copy whose source changed", u.vlan( target ).first, 300 );
    u.ok( u.sdk.bcm_field_qualify_clear( u.unit, target ) );
  }
  u.equal( "outer VLAN of an entry whose copies were cleared", u.vlan( first ).first, 301 );
}

}  // namespace

const std::vector< Check > instanceChecks = {
    { "instances-separate", "equal numbers in other pipes and copies are other objects", separate },
    { "instances-room", "each pipe and copy has its own slices", ownRoom },
    { "instances-twins", "pipe bits tell entries of shared tables apart", twins },
    { "copy", "a copied rule is equal to and independent of its source", copy },
};

}  // namespace SdkCheck
