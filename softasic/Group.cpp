#include "softasic/Group.h"

#include <cassert>
#include <unordered_map>
#include <utility>

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

// Calls fn( rule ) for what each entry holds, as it stands and as installed.
template < class F >
void Group::forEachRule( F && fn ) const {
  rows_.forEach( [ & ]( const Entry & entry ) {
    fn( *entry.pending );
    if ( entry.effective != nullptr && entry.effective != entry.pending )
      fn( *entry.effective );
  } );
}

bool Group::needsMoreThan( const KeyLayout & layout ) const {
  bool needs = false;
  forEachRule( [ & ]( const Rule & rule ) {
    for ( U32 field = 0; field < keyFields().size(); ++field )
      needs = needs || ( rule.has( field ) && !layout.has( field ) );
    for ( const DataField & field : layout_.data() )
      needs = needs || ( rule.hasData( field ) && layout.data( field.id ) == nullptr );
  } );
  return needs;
}

void Group::setQualifiers( const bcm_field_qset_t & qset, KeyLayout layout ) {
  std::unordered_map< const Rule *, std::shared_ptr< Rule > > moved;  // rules stay shared
  const auto move = [ & ]( const auto & rule ) {
    std::shared_ptr< Rule > & fresh = moved[ rule.get() ];
    if ( fresh == nullptr )
      fresh = std::make_shared< Rule >( rule->relaid( layout_, layout ) );
    return fresh;
  };
  TernaryIndex index( layout.size() );
  rows_.forEach( [ & ]( Entry & entry ) {
    entry.pending = move( entry.pending );
    if ( entry.effective != nullptr )
      entry.effective = move( entry.effective );
    if ( !entry.indexed )
      return;
    entry.key = entry.effective->key();
    index.insert( entry );
  } );
  index_ = std::move( index );
  layout_ = std::move( layout );
  config_.qset = qset;
}

Entry * Group::lookup( const PacketKey & key ) const {
  U64 stored[ keyWords ];
  layout_.gather( key, stored );
  return static_cast< Entry * >( index_.lookup( stored ) );
}

}  // namespace SoftAsic
