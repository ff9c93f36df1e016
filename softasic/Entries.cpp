#include "softasic/Entries.h"

namespace SoftAsic {

Entry * Entries::find( U32 id ) {
  const auto entry = entries_.find( id );
  return entry == entries_.end() ? nullptr : &entry->second;
}

Rule & Entries::edit( Entry & entry ) {
  if ( entry.pending.use_count() > 1 )
    entry.pending = std::make_shared< Rule >( *entry.pending );
  return *entry.pending;
}

// Highest free number; 0: none.
U32 Entries::nextNumber( U32 instance ) {
  Numbers & numbers = numbers_[ instance >> 24 ];
  if ( !numbers.returned.empty() )
    return *numbers.returned.rbegin();
  while ( numbers.lowest > 1 && find( ( numbers.lowest - 1 ) | instance ) != nullptr )
    --numbers.lowest;
  return numbers.lowest - 1;
}

bool Entries::idFits( const Group & group, U32 id ) const {
  if ( !idWellFormed( id ) || idNumber( id ) == 0 )
    return false;
  return sharedByPipes_ ? idCopy( id ) == 0 : idInstance( id ) == idInstance( group.id() );
}

int Entries::create( Group & group, U32 * id ) {
  if ( id == nullptr )
    return BCM_E_PARAM;
  const U32 instance = idInstance( group.id() );
  const U32 number = nextNumber( instance );
  if ( number == 0 )
    return BCM_E_RESOURCE;
  const int rc = add( group, number | instance );
  if ( rc == BCM_E_NONE )
    *id = number | instance;
  return rc;
}

int Entries::createId( Group & group, U32 id ) {
  if ( !idFits( group, id ) )
    return BCM_E_PARAM;
  return find( id ) != nullptr ? BCM_E_EXISTS : add( group, id );
}

int Entries::add( Group & group, U32 id ) {
  Entry & entry = entries_[ id ];
  entry.id = id;
  entry.group = &group;
  entry.rank = entryRank( 0, group.nextSerial() );
  if ( !group.rows().insert( entry ) ) {
    entries_.erase( id );
    return BCM_E_RESOURCE;
  }
  entry.pending = std::make_shared< Rule >( group.layout().size() );
  ++group.table().entries;
  Numbers & numbers = numbers_[ idInstance( id ) >> 24 ];
  if ( idNumber( id ) + 1 == numbers.lowest )
    --numbers.lowest;
  numbers.returned.erase( idNumber( id ) );
  return BCM_E_NONE;
}

int Entries::destroy( U32 id ) {
  Entry * entry = find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  if ( entry->installed || entry->stat != 0 || entry->policer != 0 )
    return BCM_E_BUSY;
  entry->group->rows().erase( *entry );
  --entry->group->table().entries;
  entries_.erase( id );
  Numbers & numbers = numbers_[ idInstance( id ) >> 24 ];
  if ( idNumber( id ) >= numbers.lowest )
    numbers.returned.insert( idNumber( id ) );
  return BCM_E_NONE;
}

int Entries::install( U32 id ) {
  Entry * entry = find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  entry->group->unindex( *entry );
  entry->effective = entry->pending;
  entry->installed = true;
  if ( entry->enabled )
    entry->group->index( *entry );
  return BCM_E_NONE;
}

int Entries::reinstall( U32 id ) {
  const Entry * entry = find( id );
  return entry == nullptr || !entry->installed ? BCM_E_NOT_FOUND : install( id );
}

int Entries::remove( U32 id ) {
  Entry * entry = find( id );
  if ( entry == nullptr || !entry->installed )
    return BCM_E_NOT_FOUND;
  entry->group->unindex( *entry );
  entry->installed = false;
  entry->effective.reset();
  return BCM_E_NONE;
}

int Entries::setEnabled( U32 id, bool enabled ) {
  Entry * entry = find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  entry->enabled = enabled;
  if ( !enabled )
    entry->group->unindex( *entry );
  else if ( entry->installed )
    entry->group->index( *entry );
  return BCM_E_NONE;
}

int Entries::setPriority( U32 id, U32 priority ) {
  Entry * entry = find( id );
  if ( entry == nullptr )
    return BCM_E_NOT_FOUND;
  if ( priority > entryPriorityMax )
    return BCM_E_PARAM;
  const U64 rank = entryRank( priority, rankSerial( entry->rank ) );
  if ( rank == entry->rank )
    return BCM_E_NONE;
  const bool indexed = entry->indexed;
  entry->group->unindex( *entry );
  entry->group->rows().rerank( *entry, rank );
  if ( indexed )
    entry->group->index( *entry );
  return BCM_E_NONE;
}

int Entries::copyRule( U32 from, U32 to ) {
  Entry * source = find( from );
  Entry * target = find( to );
  if ( source == nullptr || target == nullptr )
    return BCM_E_NOT_FOUND;
  if ( source->group->layout() != target->group->layout() )
    return BCM_E_PARAM;
  target->pending = source->pending;
  return BCM_E_NONE;
}

}  // namespace SoftAsic
