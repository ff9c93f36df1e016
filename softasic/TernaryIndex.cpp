#include "softasic/TernaryIndex.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <limits>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace SoftAsic {

namespace {

constexpr U32 splitAt = 16;    // list length that triggers a split; retried at each doubling
constexpr U32 collapseAt = 8;  // item count at which a branch becomes a list again
constexpr U32 reviewGrowth = 8;
constexpr U32 sampleSize = 256;  // items that decide about a word
constexpr U32 migrateItems = 8;  // moved by an insert or a remove, at least
constexpr U64 worstRank = std::numeric_limits< U64 >::max();
constexpr size_t blocksFrom = 16;    // subtables
constexpr size_t blocksAtOnce = 16;  // of four subtables, with a bit each

U64 boundOf( const IndexItem * best ) {
  return best == nullptr ? worstRank : best->rank;
}

}  // namespace

// Items that decide about a word.
struct TernaryIndex::Sample {
  std::array< const IndexItem *, 2 * sampleSize > items;
  U32 count = 0;
  void add( const IndexItem & item ) {
    if ( count < items.size() )
      items[ count++ ] = &item;
  }
};

U64 TernaryIndex::Branch::best() const {
  const U64 own = subtables.empty() ? worstRank : subtables.front().children.best();
  return older == nullptr ? own : std::min( own, older->best() );
}

bool TernaryIndex::matches( const IndexItem & item, const U64 * key ) const {
  const U64 * value = item.key;
  const U64 * mask = item.key + words_;
  for ( U32 i = 0; i < words_; ++i )
    if ( ( ( key[ i ] ^ value[ i ] ) & mask[ i ] ) != 0 )
      return false;
  return true;
}

// Looks up below a child; inlined, because most children are short lists.
inline void TernaryIndex::lookup( const Node & node, const U64 * key, IndexItem *& best ) const {
  if ( node.branch != nullptr )
    return lookupInBranch( *node.branch, key, best );
  const U64 bound = boundOf( best );
  for ( IndexItem * item = node.head; item != nullptr && item->rank < bound; item = item->next )
    if ( matches( *item, key ) ) {
      best = item;
      return;
    }
}

void TernaryIndex::lookupInBranch( const Branch & first, const U64 * key,
                                   IndexItem *& best ) const {
  for ( const Branch * branch = &first; branch != nullptr; branch = branch->older.get() ) {
    if ( branch->blocks != nullptr ) [[unlikely]] {
      lookupInBlocks( *branch, key, best );
      continue;
    }
    const U64 word = key[ branch->word ];
    U64 bound = boundOf( best );
    for ( const Subtable & subtable : branch->subtables ) {
      if ( subtable.children.best() >= bound )
        break;
      const Node * child = subtable.children.find( word & subtable.mask );
      if ( child == nullptr )
        continue;
      lookup( *child, key, best );
      bound = boundOf( best );
    }
  }
}

void TernaryIndex::lookupInBlocks( const Branch & branch, const U64 * key,
                                   IndexItem *& best ) const {
  static const Candidates candidatesOf = selectCandidates();
  const U64 word = key[ branch.word ];
  const std::vector< Block > & blocks = *branch.blocks;
  for ( size_t first = 0; first < blocks.size(); first += blocksAtOnce ) {
    const size_t count = std::min( blocksAtOnce, blocks.size() - first );
    U64 left = candidatesOf( &blocks[ first ], count, word, boundOf( best ) );
    for ( ; left != 0; left &= left - 1 ) {
      const size_t at = 4 * first + static_cast< U32 >( std::countr_zero( left ) );
      const Subtable & subtable = branch.subtables[ at ];
      if ( subtable.children.best() >= boundOf( best ) )
        return;
      if ( const Node * child = subtable.children.find( word & subtable.mask ) )
        lookup( *child, key, best );
    }
  }
}

IndexItem * TernaryIndex::lookup( const U64 * key ) const {
  IndexItem * best = nullptr;
  lookup( root_, key, best );
  return best;
}

// Subtables, by bit, that may have the word and a rank below the bound.
U64 TernaryIndex::candidates( const Block * blocks, size_t count, U64 word, U64 bound ) {
  U64 found = 0;
  for ( size_t i = 0; i < 4 * count; ++i ) {
    const Block & block = blocks[ i / 4 ];
    if ( block.bests[ i % 4 ] >= bound )
      break;
    const U64 hash = hashOfWord( word & block.masks[ i % 4 ] );
    found |= ( block.filters[ i % 4 ] >> ( hash >> filterShift ) & 1 ) << i;
  }
  return found;
}

#ifdef __x86_64__
// The same, but for a block as a whole: leaves the bounds of its later subtables to the caller.
__attribute__( ( target( "avx2" ) ) ) U64 TernaryIndex::candidatesAvx2( const Block * blocks,
                                                                        size_t count, U64 word,
                                                                        U64 bound ) {
  const __m256i words = _mm256_set1_epi64x( static_cast< S64 >( word ) );
  const __m256i lowFactor = _mm256_set1_epi64x( hashFactor & 0xFFFFFFFF );
  const __m256i highFactor = _mm256_set1_epi64x( hashFactor >> 32 );
  U64 found = 0;
  for ( size_t i = 0; i < count && blocks[ i ].bests[ 0 ] < bound; ++i ) {
    const auto * block = reinterpret_cast< const __m256i * >( &blocks[ i ] );
    const __m256i masked = _mm256_and_si256( words, _mm256_loadu_si256( block ) );
    const __m256i high = _mm256_srli_epi64( masked, 32 );
    const __m256i folded = _mm256_xor_si256( masked, high );
    const __m256i upper = _mm256_add_epi64( _mm256_mul_epu32( folded, highFactor ),
                                            _mm256_mul_epu32( high, lowFactor ) );
    const __m256i hash =
        _mm256_add_epi64( _mm256_mul_epu32( folded, lowFactor ), _mm256_slli_epi64( upper, 32 ) );
    const __m256i index = _mm256_srli_epi64( hash, filterShift );
    const __m256i bits = _mm256_srlv_epi64( _mm256_loadu_si256( block + 1 ), index );
    const int hits = _mm256_movemask_pd( _mm256_castsi256_pd( _mm256_slli_epi64( bits, 63 ) ) );
    found |= static_cast< U64 >( hits ) << ( 4 * i );
  }
  return found;
}

TernaryIndex::Candidates TernaryIndex::selectCandidates() {
  return __builtin_cpu_supports( "avx2" ) ? candidatesAvx2 : candidates;
}
#else
TernaryIndex::Candidates TernaryIndex::selectCandidates() {
  return candidates;
}
#endif

// Copies changed subtables into their blocks; if their number crossed the limit, all.
void TernaryIndex::refresh( Branch & branch, size_t first, size_t end ) {
  const auto & subtables = branch.subtables;
  if ( subtables.size() < blocksFrom ) {
    branch.blocks = nullptr;
    return;
  }
  const size_t blocks = ( subtables.size() + 3 ) / 4;
  if ( branch.blocks == nullptr )
    branch.blocks = std::make_unique< std::vector< Block > >();
  if ( blocks != branch.blocks->size() ) {
    branch.blocks->resize( blocks );
    first = 0;
    end = 4 * blocks;
  }
  for ( size_t i = first; i < std::min( end, 4 * blocks ); ++i ) {
    Block & block = ( *branch.blocks )[ i / 4 ];
    const bool used = i < subtables.size();
    block.masks[ i % 4 ] = used ? subtables[ i ].mask : 0;
    block.filters[ i % 4 ] = used ? subtables[ i ].children.filter() : 0;
    block.bests[ i % 4 ] = used ? subtables[ i ].children.best() : worstRank;
  }
}

void TernaryIndex::insert( IndexItem & item ) {
  insert( root_, item );
  ++size_;
  migrate();
}

void TernaryIndex::insert( Node & node, IndexItem & item ) {
  if ( Branch * branch = node.branch.get() ) {
    insertIntoBranch( *branch, item );
    if ( ++branch->count >= branch->reviewAt )
      review( node );
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

// Leaves the count to the caller.
void TernaryIndex::insertIntoBranch( Branch & branch, IndexItem & item ) {
  const U64 mask = item.key[ words_ + branch.word ];
  auto & subtables = branch.subtables;
  size_t at = 0;
  while ( at < subtables.size() && subtables[ at ].mask != mask )
    ++at;
  if ( at == subtables.size() ) {
    subtables.emplace_back();
    subtables[ at ].mask = mask;
  }
  insert( subtables[ at ].children.obtain( item.key[ branch.word ] & mask, item.rank ), item );
  const size_t end = at + 1;
  for ( ; at > 0 && subtables[ at - 1 ].children.best() > subtables[ at ].children.best(); --at )
    std::swap( subtables[ at - 1 ], subtables[ at ] );
  refresh( branch, at, end );
}

void TernaryIndex::remove( IndexItem & item ) {
  const bool found = remove( root_, item );
  assert( found );
  ( void )found;
  --size_;
  migrate();
}

// False if the item is not below the node.
bool TernaryIndex::remove( Node & node, IndexItem & item ) {
  Branch * branch = node.branch.get();
  if ( branch == nullptr )
    return removeFromList( node, item );
  if ( !removeFromBranch( *branch, item ) ) {
    if ( branch->older == nullptr || !removeFromBranch( *branch->older, item ) )
      return false;
    --branch->older->count;
    discardEmpty( *branch );
  }
  if ( --branch->count <= collapseAt )
    collapse( node );
  return true;
}

bool TernaryIndex::removeFromList( Node & node, IndexItem & item ) {
  IndexItem ** at = &node.head;
  while ( *at != nullptr && *at != &item )
    at = &( *at )->next;
  if ( *at == nullptr )
    return false;
  *at = item.next;
  item.next = nullptr;
  return true;
}

// Leaves the count to the caller.
bool TernaryIndex::removeFromBranch( Branch & branch, IndexItem & item ) {
  auto & subtables = branch.subtables;
  const U64 mask = item.key[ words_ + branch.word ];
  const U64 word = item.key[ branch.word ] & mask;
  size_t at = 0;
  while ( at < subtables.size() && subtables[ at ].mask != mask )
    ++at;
  if ( at == subtables.size() )
    return false;
  WordMap< Node > & children = subtables[ at ].children;
  Node * child = children.find( word );
  if ( child == nullptr || !remove( *child, item ) )
    return false;
  children.removed( word );
  if ( children.size() == 0 ) {
    subtables.erase( subtables.begin() + static_cast< std::ptrdiff_t >( at ) );
    refresh( branch, at, subtables.size() + 1 );
    return true;
  }
  const size_t first = at;
  for ( ; at + 1 < subtables.size() &&
          subtables[ at + 1 ].children.best() < subtables[ at ].children.best();
        ++at )
    std::swap( subtables[ at ], subtables[ at + 1 ] );
  refresh( branch, first, at + 1 );
  return true;
}

// Turns a list into a branch, unless no word distinguishes its items.
void TernaryIndex::split( Node & node ) {
  U32 count = 0;
  for ( const IndexItem * item = node.head; item != nullptr; item = item->next )
    ++count;
  Sample items;
  U32 at = 0;
  for ( const IndexItem * item = node.head; item != nullptr; item = item->next )
    if ( at++ % ( 1 + count / sampleSize ) == 0 )
      items.add( *item );
  const U32 word = selectWord( items, words_ );
  if ( word == words_ )
    return;
  IndexItem * rest = std::exchange( node.head, nullptr );
  node.branch = std::make_unique< Branch >();
  node.branch->word = word;
  node.branch->count = count;
  node.branch->reviewAt = count * reviewGrowth;
  while ( rest != nullptr ) {
    IndexItem * item = std::exchange( rest, rest->next );
    insertIntoBranch( *node.branch, *item );
  }
}

// Turns a branch that shrank into a list.
void TernaryIndex::collapse( Node & node ) {
  std::vector< IndexItem * > items;
  takeAll( node, items );
  std::sort( items.begin(), items.end(),
             []( const IndexItem * a, const IndexItem * b ) { return a->rank > b->rank; } );
  for ( IndexItem * item : items )
    item->next = std::exchange( node.head, item );
}

// Empties a node, and ends migrations below it.
void TernaryIndex::takeAll( Node & node, std::vector< IndexItem * > & items ) {
  for ( ; node.head != nullptr; node.head = node.head->next )
    items.push_back( node.head );
  if ( node.branch == nullptr )
    return;
  if ( node.branch->older != nullptr )
    std::erase( migrating_, node.branch.get() );
  for ( Branch * branch = node.branch.get(); branch != nullptr; branch = branch->older.get() )
    for ( Subtable & subtable : branch->subtables )
      subtable.children.forEach( [ & ]( Node & child ) { takeAll( child, items ); } );
  node.branch = nullptr;
}

// Selects the word of a branch again, and starts a migration if another is better.
void TernaryIndex::review( Node & node ) {
  Branch & branch = *node.branch;
  if ( branch.older != nullptr ) {
    branch.reviewAt = 2 * branch.count;
    return;
  }
  branch.reviewAt = branch.count * reviewGrowth;
  Sample items;
  sample( branch, sampleSize, items );
  const U32 word = selectWord( items, branch.word );
  if ( word == branch.word )
    return;
  auto fresh = std::make_unique< Branch >();
  fresh->word = word;
  fresh->count = branch.count;
  fresh->reviewAt = branch.reviewAt;
  fresh->older = std::move( node.branch );
  node.branch = std::move( fresh );
  migrating_.push_back( node.branch.get() );
}

// Moves some items to the branches where they belong.
void TernaryIndex::migrate() {
  for ( U32 moved = 0; moved < migrateItems && !migrating_.empty(); ) {
    Branch & branch = *migrating_.back();
    for ( IndexItem * items = takeList( *branch.older ); items != nullptr; ++moved ) {
      IndexItem * item = std::exchange( items, items->next );
      insertIntoBranch( branch, *item );
    }
    discardEmpty( branch );
  }
}

// Removes all items of some list from a branch.
IndexItem * TernaryIndex::takeList( Branch & branch ) {
  IndexItem * items = nullptr;
  if ( branch.older != nullptr ) {
    items = takeList( *branch.older );
    discardEmpty( branch );
  } else {
    WordMap< Node > & children = branch.subtables.back().children;
    const U64 word = children.anyWord( branch.cursor );
    Node & child = *children.find( word );
    if ( child.branch == nullptr )
      items = std::exchange( child.head, nullptr );
    else
      items = takeList( *child.branch );
    if ( child.branch != nullptr && child.branch->count == 0 )
      child.branch = nullptr;
    children.removed( word );
    if ( children.size() == 0 )
      branch.subtables.pop_back();
    const size_t last = branch.subtables.size();
    refresh( branch, last == 0 ? 0 : last - 1, last + 1 );
  }
  for ( const IndexItem * item = items; item != nullptr; item = item->next )
    --branch.count;
  return items;
}

// Ends the migration of a branch if it is complete.
void TernaryIndex::discardEmpty( Branch & branch ) {
  if ( branch.older->count != 0 )
    return;
  branch.older = nullptr;
  std::erase( migrating_, &branch );
}

// Whole lists, for each item of one shares words with the others.
void TernaryIndex::sample( const Branch & branch, U32 quota, Sample & items ) {
  const auto share = [ & ]( U32 count ) {
    return static_cast< U32 >( std::max( U64{ 1 }, U64{ quota } * count / branch.count ) );
  };
  for ( const Subtable & subtable : branch.subtables )
    subtable.children.sample( share( subtable.children.size() ), [ & ]( const Node & child ) {
      if ( child.branch != nullptr )
        sample( *child.branch, share( child.branch->count ), items );
      U32 listed = 0;
      for ( const IndexItem * item = child.head; item != nullptr && listed < splitAt; ++listed ) {
        items.add( *item );
        item = item->next;
      }
    } );
}

// Number of distinct masked values of a word in a sample.
U32 TernaryIndex::distinct( const Sample & sample, U32 word ) const {
  std::array< U64, 4 * sampleSize > seen;  // hashes by their last bits; 0: none
  const U32 last = std::bit_ceil( 2 * sample.count ) - 1;
  std::fill_n( seen.begin(), last + 1, 0 );
  U32 values = 0;
  for ( U32 i = 0; i < sample.count; ++i ) {
    const U64 mask = sample.items[ i ]->key[ words_ + word ];
    const U64 product = ( mask * 0x9E3779B97F4A7C15U ^ ( sample.items[ i ]->key[ word ] & mask ) ) *
                        0xD6E8FEB86659FD93U;
    const U64 hash = ( product ^ product >> 32 ) | 1;
    U32 at = static_cast< U32 >( hash >> 1 ) & last;
    while ( seen[ at ] != 0 && seen[ at ] != hash )
      at = ( at + 1 ) & last;
    values += seen[ at ] == 0 ? 1 : 0;
    seen[ at ] = hash;
  }
  return values;
}

// The word with the most distinct values. A current one stays unless another has clearly more;
// `words_`: none, also if no word distinguishes the items.
U32 TernaryIndex::selectWord( const Sample & items, U32 current ) const {
  U32 word = current;
  U32 most = current == words_ ? 1 : distinct( items, current ) * 33 / 32;
  for ( U32 i = 0; i < words_; ++i ) {
    const U32 values = i == current ? 0 : distinct( items, i );
    if ( values > most ) {
      most = values;
      word = i;
    }
  }
  return word;
}

}  // namespace SoftAsic
