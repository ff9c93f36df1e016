#include "sdkrecord/IdMap.h"

#include <vector>

#include "shim/SdkTypes.h"
#include "softasic/InstanceId.h"

namespace SdkRecord {

void IdMap::created( U32 unit, IdKind kind, U32 recorded, U32 here ) {
  here_[ { unit, kind, recorded } ] = here;
  recorded_[ { unit, kind, here } ] = recorded;
}

void IdMap::destroyed( U32 unit, IdKind kind, U32 recorded ) {
  const auto found = here_.find( { unit, kind, recorded } );
  if ( found == here_.end() )
    return;
  recorded_.erase( { unit, kind, found->second } );
  here_.erase( found );
}

void IdMap::clear( U32 unit ) {
  for ( Ids * const ids : { &here_, &recorded_ } )
    std::erase_if(
        *ids, [ & ]( const auto & id ) { return std::get< 0 >( id.first ) == unit; } );
}

U32 IdMap::find( const Ids & ids, U32 unit, IdKind kind, U32 id ) {
  if ( kind == IdKind::entry && ( id & BCM_FIELD_QUALIFY_PRESEL ) != 0 )
    return BCM_FIELD_QUALIFY_PRESEL |
           find( ids, unit, IdKind::presel, id & ~BCM_FIELD_QUALIFY_PRESEL );
  if ( const auto found = ids.find( { unit, kind, id } ); found != ids.end() )
    return found->second;
  const auto number = ids.find( { unit, kind, SoftAsic::idNumber( id ) } );
  return number == ids.end() ? id : number->second | SoftAsic::idInstance( id );
}

void IdMap::translate( const Ids & ids, U32 unit, const std::vector< Leaf > & leaves ) {
  for ( const Leaf & leaf : leaves ) {
    if ( leaf.id == IdKind::none )
      continue;
    if ( const auto * const number = std::get_if< Number >( &leaf.value ) ) {
      number->set( find( ids, unit, leaf.id, static_cast< U32 >( number->get() ) ) );
      continue;
    }
    const Bits & bits = std::get< Bits >( leaf.value );
    std::vector< U32 > translated( bits.words.size() );
    const auto end = static_cast< U32 >( bits.words.size() * 32 );
    for ( U32 id = 0; id < end; ++id )
      if ( const U32 to = bits.has( id ) ? find( ids, unit, leaf.id, id ) : end; to < end )
        translated[ to / 32 ] |= 1U << ( to % 32 );
    std::copy( translated.begin(), translated.end(), bits.words.begin() );
  }
}

void IdMap::toHere( U32 unit, const std::vector< Leaf > & leaves ) const {
  translate( here_, unit, leaves );
}

void IdMap::toRecorded( U32 unit, const std::vector< Leaf > & leaves ) const {
  translate( recorded_, unit, leaves );
}

}  // namespace SdkRecord
