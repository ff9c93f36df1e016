#include "softasic/Group.h"

#include <cassert>

namespace SoftAsic {

void Group::index( Entry & entry ) {
  if ( entry.indexed )
    return;
  assert( entry.effective != nullptr );
  entry.key = entry.effective->key();
  index_.insert( entry );
  entry.indexed = true;
}

void Group::unindex( Entry & entry ) {
  if ( !entry.indexed )
    return;
  index_.remove( entry );
  entry.indexed = false;
}

Entry * Group::lookup( const PacketKey & key ) const {
  U64 stored[ keyWords ];
  layout_.gather( key, stored );
  return static_cast< Entry * >( index_.lookup( stored ) );
}

}  // namespace SoftAsic
