#include "softasic/Stats.h"

#include "softasic/StageTables.h"

namespace SoftAsic {

int Stats::create( StageTable & table, int count, const bcm_field_stat_t * types, U32 * id ) {
  if ( count < 1 || count > BCM_FIELD_STAT_TYPES || types == nullptr || id == nullptr )
    return BCM_E_PARAM;
  U32 wanted = 0;
  for ( int i = 0; i < count; ++i ) {
    if ( types[ i ] < 0 || types[ i ] >= BCM_FIELD_STAT_TYPES ||
         ( wanted >> types[ i ] & 1U ) != 0 )
      return BCM_E_PARAM;
    wanted |= 1U << types[ i ];
  }
  if ( table.freeStats == 0 )
    return BCM_E_RESOURCE;
  if ( freeIds_.empty() ) {
    objects_.emplace_back();
    freeIds_.insert( static_cast< U32 >( objects_.size() ) );
  }
  *id = *freeIds_.begin();
  freeIds_.erase( freeIds_.begin() );
  --table.freeStats;
  objects_[ *id - 1 ].table = &table;
  objects_[ *id - 1 ].types = wanted;
  return BCM_E_NONE;
}

int Stats::destroy( U32 id ) {
  if ( !known( id ) )
    return BCM_E_NOT_FOUND;
  Object & object = objects_[ id - 1 ];
  if ( object.owner != 0 )
    return BCM_E_BUSY;
  ++object.table->freeStats;
  object = {};
  freeIds_.insert( id );
  return BCM_E_NONE;
}

int Stats::attach( Entry & entry, const StageTable & table, U32 id ) {
  if ( !known( id ) )
    return BCM_E_NOT_FOUND;
  Object & object = objects_[ id - 1 ];
  if ( entry.stat != 0 )
    return BCM_E_EXISTS;
  if ( object.owner != 0 )
    return BCM_E_BUSY;
  if ( object.table != &table )
    return BCM_E_PARAM;
  object.owner = entry.id;
  entry.stat = id;
  return BCM_E_NONE;
}

int Stats::detach( Entry & entry, U32 id ) {
  if ( !known( id ) || entry.stat != id )
    return BCM_E_NOT_FOUND;
  objects_[ id - 1 ].owner = 0;
  entry.stat = 0;
  return BCM_E_NONE;
}

int Stats::get( U32 id, bcm_field_stat_t type, U64 * value ) const {
  if ( !known( id ) )
    return BCM_E_NOT_FOUND;
  if ( value == nullptr || !has( objects_[ id - 1 ], type ) )
    return BCM_E_PARAM;
  *value = objects_[ id - 1 ].values[ type ];
  return BCM_E_NONE;
}

int Stats::set( U32 id, bcm_field_stat_t type, U64 value ) {
  if ( !known( id ) )
    return BCM_E_NOT_FOUND;
  if ( type < 0 || type >= BCM_FIELD_STAT_TYPES )
    return BCM_E_PARAM;
  if ( has( objects_[ id - 1 ], type ) )
    objects_[ id - 1 ].values[ type ] = value;
  return BCM_E_NONE;
}

void Stats::count( U32 id, U64 bytes, Colour colour ) {
  // Two counters per colour, packets and bytes, in the order of Colour.
  const int ofColour = bcmFieldStatGreenPackets + 2 * static_cast< int >( colour );
  U64 * values = objects_[ id - 1 ].values;
  for ( const int packets : { int{ bcmFieldStatPackets }, ofColour } ) {
    values[ packets ] += 1;
    values[ packets + 1 ] += bytes;
  }
}

StatView Stats::view( U32 id ) const {
  const Object & object = objects_[ id - 1 ];
  StatView view;
  view.id = id;
  view.stage = object.table->kind;
  view.pipe = object.table->pipe;
  view.copy = object.table->copy;
  view.owner = object.owner;
  for ( int type = 0; type < BCM_FIELD_STAT_TYPES; ++type )
    if ( has( object, type ) )
      view.values.emplace_back( static_cast< bcm_field_stat_t >( type ), object.values[ type ] );
  return view;
}

std::vector< StatView > Stats::views() const {
  std::vector< StatView > views;
  for ( U32 id = 1; id <= objects_.size(); ++id )
    if ( known( id ) )
      views.push_back( view( id ) );
  return views;
}

}  // namespace SoftAsic
