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

// Calls fn( rule ) for the pending and the installed rule of each entry.
template < class F >
void Group::forEachRule( F && fn ) const {
  rows_.forEach( [ & ]( const Entry & entry ) {
    fn( *entry.pending );
    if ( entry.effective != nullptr && entry.effective != entry.pending )
      fn( *entry.effective );
  } );
}

bool Group::usesMoreThan( const KeyLayout & layout ) const {
  bool uses = false;
  forEachRule( [ & ]( const Rule & rule ) {
    for ( U32 field = 0; field < keyFields().size(); ++field )
      uses = uses || ( rule.has( field ) && !layout.has( field ) );
    for ( const DataField & field : layout_.data() )
      uses = uses || ( rule.hasData( field ) && layout.data( field.id ) == nullptr );
  } );
  return uses;
}

void Group::setQualifiers( const bcm_field_qset_t & qset, KeyLayout layout ) {
  // Entries that share a rule still share it after the conversion.
  std::unordered_map< const Rule *, std::shared_ptr< Rule > > converted;
  const auto convert = [ & ]( const auto & rule ) {
    std::shared_ptr< Rule > & fresh = converted[ rule.get() ];
    if ( fresh == nullptr )
      fresh = std::make_shared< Rule >( rule->convert( layout_, layout ) );
    return fresh;
  };
  TernaryIndex index( layout.size() );
  rows_.forEach( [ & ]( Entry & entry ) {
    entry.pending = convert( entry.pending );
    if ( entry.effective != nullptr )
      entry.effective = convert( entry.effective );
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
