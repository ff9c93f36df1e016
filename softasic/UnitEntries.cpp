// Entries of a unit and their actions.
#include "softasic/Unit.h"

namespace SoftAsic {

int Unit::bcm_field_entry_create( bcm_field_group_t id, bcm_field_entry_t * entry ) {
  Group * group = groups_.find( id );
  return group == nullptr ? BCM_E_NOT_FOUND : entries_.create( *group, entry );
}

int Unit::bcm_field_entry_create_id( bcm_field_group_t id, bcm_field_entry_t entry ) {
  Group * group = groups_.find( id );
  return group == nullptr ? BCM_E_NOT_FOUND : entries_.createId( *group, entry );
}

int Unit::bcm_field_entry_destroy( bcm_field_entry_t entry ) {
  return entries_.destroy( entry );
}

int Unit::bcm_field_entry_install( bcm_field_entry_t entry ) {
  return entries_.install( entry );
}

int Unit::bcm_field_entry_reinstall( bcm_field_entry_t entry ) {
  return entries_.reinstall( entry );
}

int Unit::bcm_field_entry_remove( bcm_field_entry_t entry ) {
  return entries_.remove( entry );
}

int Unit::bcm_field_entry_enable_set( bcm_field_entry_t entry, int enable ) {
  return entries_.setEnabled( entry, enable != 0 );
}

int Unit::bcm_field_entry_prio_set( bcm_field_entry_t entry, std::uint32_t priority ) {
  return entries_.setPriority( entry, priority );
}

int Unit::bcm_field_entry_prio_get( bcm_field_entry_t id, std::uint32_t * priority ) {
  const Entry * entry = entries_.find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  if ( priority == nullptr )
    return BCM_E_PARAM;
  *priority = rankPriority( entry->rank );
  return BCM_E_NONE;
}

int Unit::bcm_field_entry_dump( bcm_field_entry_t ) {
  return BCM_E_NONE;
}

int Unit::kelmor_field_entry_copy_id( bcm_field_entry_t from, bcm_field_entry_t to ) {
  return entries_.copyRule( from, to );
}

int Unit::bcm_field_qualify_clear( bcm_field_entry_t id ) {
  Entry * entry = entries_.find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  Entries::edit( *entry ).clearQualifiers();
  return BCM_E_NONE;
}

int Unit::bcm_field_action_remove_all( bcm_field_entry_t id ) {
  Entry * entry = entries_.find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  Entries::edit( *entry ).clearActions();
  return BCM_E_NONE;
}

int Unit::bcm_field_action_remove( bcm_field_entry_t id, bcm_field_action_t action ) {
  Entry * entry = entries_.find( id );
  return entry == nullptr ? BCM_E_NOT_FOUND : Entries::edit( *entry ).removeAction( action );
}

int Unit::addAction( U32 entryId, const ActionView & action ) {
  Entry * entry = entries_.find( entryId );
  return entry == nullptr ? BCM_E_NOT_FOUND : Entries::edit( *entry ).addAction( action );
}

// Drop, permit and copy to CPU.
int Unit::bcm_field_action_add( bcm_field_entry_t entry, bcm_field_action_t action,
                                std::uint32_t param0, std::uint32_t param1 ) {
  if ( action != bcmFieldActionDrop && action != bcmFieldActionPermit &&
       action != bcmFieldActionCopyToCpu )
    return BCM_E_PARAM;
  return addAction( entry, { action, param0, param1, {} } );
}

// Redirect, egress mask and mirror.
int Unit::bcm_field_action_ports_add( bcm_field_entry_t entry, bcm_field_action_t action,
                                      bcm_pbmp_t ports ) {
  if ( action != bcmFieldActionRedirectPbmp && action != bcmFieldActionEgressMask &&
       action != bcmFieldActionMirrorPbmp )
    return BCM_E_PARAM;
  if ( !isSubset( ports, ports_.config().all ) )
    return BCM_E_PORT;
  return addAction( entry, { action, 0, 0, ports } );
}

}  // namespace SoftAsic
