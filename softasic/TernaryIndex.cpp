#include "softasic/TernaryIndex.h"

#include <algorithm>
#include <cassert>
#include <limits>

namespace SoftAsic {

namespace {

constexpr U32 splitAt = 16;    // list length that triggers a split; retried at each doubling
constexpr U32 collapseAt = 8;  // item count at which a branch becomes a list again
constexpr U32 reviewGrowth = 8;
constexpr U64 worstRank = std::numeric_limits< U64 >::max();

}  // namespace

bool TernaryIndex::matches( const IndexItem & item, const U64 * key ) const {
  const U64 * value = item.key;
  const U64 * mask = item.key + words_;
  for ( U32 i = 0; i < words_; ++i )
    if ( ( ( key[ i ] ^ value[ i ] ) & mask[ i ] ) != 0 )
      return false;
  return true;
}

IndexItem * TernaryIndex::lookup( const U64 * key ) const {
  IndexItem * best = nullptr;
  lookup( root_, key, best );
  return best;
}

void TernaryIndex::lookup( const Node & node, const U64 * key, IndexItem *& best ) const {
  U64 bound = best == nullptr ? worstRank : best->rank;
  if ( node.branch == nullptr ) {
    for ( IndexItem * item = node.head; item != nullptr && item->rank < bound; item = item->next )
      if ( matches( *item, key ) ) {
        best = item;
        return;
      }
    return;
  }
  const U64 word = key[ node.branch->word ];
  for ( const Subtable & subtable : node.branch->subtables ) {
    if ( subtable.best >= bound )
      return;
    const Node * child = subtable.children.find( word & subtable.mask );
    if ( child == nullptr )
      continue;
    lookup( *child, key, best );
    bound = best == nullptr ? worstRank : best->rank;
  }
}

void TernaryIndex::insert( IndexItem & item ) {
  insert( root_, item );
  ++size_;
}

void TernaryIndex::insert( Node & node, IndexItem & item ) {
  if ( node.branch != nullptr ) {
    insertIntoBranch( *node.branch, item );
    if ( node.branch->count >= node.branch->reviewAt )
      rebuild( node );
    return;
  }
  const U32 count = insertIntoList( node, item );
  if ( count >= splitAt && ( count & ( count - 1 ) ) == 0 )
    split( node );
}

// Returns the new list length.
U32 TernaryIndex::insertIntoList( Node & node, IndexItem & item ) {
  IndexItem ** at = &node.head;
  U32 count = 1;
  for ( ; *at != nullptr && ( *at )->rank < item.rank; at = &( *at )->next )
    ++count;
  item.next = *at;
  *at = &item;
  for ( const IndexItem * rest = item.next; rest != nullptr; rest = rest->next )
    ++count;
  return count;
}

void TernaryIndex::insertIntoBranch( Branch & branch, IndexItem & item ) {
  const U64 mask = item.key[ words_ + branch.word ];
  const U64 value = item.key[ branch.word ] & mask;
  auto & subtables = branch.subtables;
  size_t at = 0;
  while ( at < subtables.size() && subtables[ at ].mask != mask )
    ++at;
  if ( at == subtables.size() ) {
    subtables.push_back( Subtable() );
    subtables[ at ].mask = mask;
    subtables[ at ].best = item.rank;
  }
  Subtable & subtable = subtables[ at ];
  if ( Node * child = subtable.children.find( value ) ) {
    insert( *child, item );
  } else {
    item.next = nullptr;
    subtable.children.insert( value, Node{ &item, nullptr } );
  }
  ++branch.count;
  subtable.best = std::min( subtable.best, item.rank );
  for ( ; at > 0 && subtables[ at - 1 ].best > subtables[ at ].best; --at )
    std::swap( subtables[ at - 1 ], subtables[ at ] );
}

void TernaryIndex::remove( IndexItem & item ) {
  remove( root_, item );
  --size_;
}

void TernaryIndex::remove( Node & node, IndexItem & item ) {
  if ( node.branch != nullptr ) {
    removeFromBranch( *node.branch, item );
    if ( node.branch->count <= collapseAt )
      rebuild( node );
    return;
  }
  IndexItem ** at = &node.head;
  for ( ; *at != &item; at = &( *at )->next )
    assert( *at != nullptr );
  *at = item.next;
  item.next = nullptr;
}

void TernaryIndex::removeFromBranch( Branch & branch, IndexItem & item ) {
  const U64 mask = item.key[ words_ + branch.word ];
  auto & subtables = branch.subtables;
  size_t at = 0;
  while ( subtables[ at ].mask != mask )
    ++at;
  Subtable & subtable = subtables[ at ];
  Node * child = subtable.children.find( item.key[ branch.word ] & mask );
  assert( child != nullptr );
  remove( *child, item );
  --branch.count;
  if ( child->empty() )
    subtable.children.erase( child );
  if ( subtable.children.size() == 0 ) {
    subtables.erase( subtables.begin() + static_cast< std::ptrdiff_t >( at ) );
  } else if ( ++subtable.removed >= subtable.children.size() ) {
    subtable.removed = 0;
    subtable.best = worstRank;
    subtable.children.forEach( [ & ]( const Node & node ) {
      subtable.best = std::min( subtable.best, bestRank( node ) );
    } );
    sink( branch, at );
  }
}

// Restores the order after the bound of subtable `at` rose.
void TernaryIndex::sink( Branch & branch, size_t at ) {
  auto & subtables = branch.subtables;
  for ( ; at + 1 < subtables.size() && subtables[ at + 1 ].best < subtables[ at ].best; ++at )
    std::swap( subtables[ at ], subtables[ at + 1 ] );
}

// Lower bound of the ranks below a non-empty node.
U64 TernaryIndex::bestRank( const Node & node ) {
  return node.branch == nullptr ? node.head->rank : node.branch->subtables.front().best;
}

// Empties a node into an unsorted chain in front of `tail`.
IndexItem * TernaryIndex::takeAll( Node & node, IndexItem * tail ) {
  if ( node.branch == nullptr ) {
    while ( node.head != nullptr ) {
      IndexItem * item = std::exchange( node.head, node.head->next );
      item->next = tail;
      tail = item;
    }
    return tail;
  }
  for ( Subtable & subtable : node.branch->subtables )
    subtable.children.forEach( [ & ]( Node & child ) { tail = takeAll( child, tail ); } );
  node.branch.reset();
  return tail;
}

// Turns a branch that shrank into a list, or selects the word of one that grew again.
void TernaryIndex::rebuild( Node & node ) {
  const bool grew = node.branch->count > collapseAt;
  node.head = takeAll( node, nullptr );
  if ( !grew || !split( node ) )
    sortList( node );
}

void TernaryIndex::sortList( Node & node ) {
  std::vector< IndexItem * > items;
  for ( IndexItem * item = node.head; item != nullptr; item = item->next )
    items.push_back( item );
  std::sort( items.begin(), items.end(),
             []( const IndexItem * a, const IndexItem * b ) { return a->rank > b->rank; } );
  node.head = nullptr;
  for ( IndexItem * item : items )
    item->next = std::exchange( node.head, item );
}

// Number of distinct masked values of a word in a list.
U32 TernaryIndex::distinct( const IndexItem * head, U32 word ) const {
  std::vector< std::pair< U64, U64 > > values;
  for ( const IndexItem * item = head; item != nullptr; item = item->next )
    values.emplace_back( item->key[ words_ + word ],
                         item->key[ word ] & item->key[ words_ + word ] );
  std::sort( values.begin(), values.end() );
  return static_cast< U32 >( std::unique( values.begin(), values.end() ) - values.begin() );
}

// Turns an unsorted list into a branch; false if no word distinguishes its items.
bool TernaryIndex::split( Node & node ) {
  U32 best = 1;
  U32 word = words_;
  for ( U32 i = 0; i < words_; ++i ) {
    const U32 values = distinct( node.head, i );
    if ( values > best ) {
      best = values;
      word = i;
    }
  }
  if ( word == words_ )
    return false;
  IndexItem * items = std::exchange( node.head, nullptr );
  node.branch = std::make_unique< Branch >( Branch{ word, 0, ~0U, {} } );
  while ( items != nullptr ) {
    IndexItem * item = std::exchange( items, items->next );
    insertIntoBranch( *node.branch, *item );
  }
  node.branch->reviewAt = node.branch->count * reviewGrowth;
  return true;
}

}  // namespace SoftAsic
