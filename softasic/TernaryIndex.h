// Finds the best of many ternary rules for a key without a linear search.
//
// A rule is a value and mask over a fixed number of words. It matches a key if key and value agree
// in all mask bits; the lowest rank wins. The index stores pointers: the address, key and rank of
// an item must not change while it is in the index.
//
// Algorithm: hierarchical tuple space search. A node with few items is a list sorted by rank. A
// larger node branches on one key word: one subtable per distinct mask of that word, each a hash
// map from the masked word to a child node. Subtables are sorted by the best rank they can hold;
// lookup stops at the first one that cannot beat the current match.
//
// A node branches on the most selective word, judged by a sample of its items, and reviews the
// choice whenever it has grown eightfold. If another word is better now, a branch on that word
// takes the place of the old one; each insert and remove then moves a few items over, and until the
// old branch is empty both are searched.
//
// Cost: lookup probes the subtables on its path, about a hundred with real access lists. The work
// of an insert or a remove has a bound that does not depend on the number of items, with two
// exceptions: items with equal keys share a list, which both walk, and a subtable is found among
// those of its branch by a walk. Masks of a word are few in access lists.
//
// A branch with many subtables keeps copies of their masks, filters and bounds side by side, from
// which SIMD instructions find those that may have the word.
//
// A subtable's best rank is a lower bound, see WordMap.
//
// Locking: none; the caller serialises all calls.
#pragma once

#include <memory>
#include <vector>

#include "softasic/WordMap.h"

namespace SoftAsic {

struct IndexItem {
  IndexItem * next = nullptr;  // owned by the index
  U64 rank = 0;                // lower wins; unique in the index
  const U64 * key = nullptr;   // values, then masks
};

class TernaryIndex {
 public:
  // `words`: key words; with 0 every rule matches.
  explicit TernaryIndex( U32 words ) : words_( words ) {}

  void insert( IndexItem & item );
  void remove( IndexItem & item );  // must be in the index

  // Null if none matches.
  IndexItem * lookup( const U64 * key ) const;

  U32 size() const { return size_; }

 private:
  struct Branch;

  // Empty, a list (head), or a branch.
  struct Node {
    IndexItem * head = nullptr;
    std::unique_ptr< Branch > branch;
    bool empty() const { return head == nullptr && branch == nullptr; }
    U64 best() const { return branch == nullptr ? head->rank : branch->best(); }
  };
  struct Subtable {
    U64 mask = 0;
    WordMap< Node > children;
  };
  // Copies of four subtables' masks, filters and bounds, for SIMD instructions.
  struct Block {
    U64 masks[ 4 ];
    U64 filters[ 4 ];
    U64 bests[ 4 ];
  };
  struct Branch {
    U32 word;
    U32 count;                          // items below, those of `older` too
    U32 reviewAt;                       // count at which the word is selected again
    U32 cursor = 0;                     // of takeList()
    std::unique_ptr< Branch > older;    // null, or the branch whose items move to this one
    std::vector< Subtable > subtables;  // by ascending `best`
    std::unique_ptr< std::vector< Block > > blocks;  // of all subtables; null if they are few
    U64 best() const;
  };
  struct Sample;
  using Candidates = U64 ( * )( const Block * blocks, size_t count, U64 word, U64 bound );

  static U64 candidates( const Block * blocks, size_t count, U64 word, U64 bound );
  static U64 candidatesAvx2( const Block * blocks, size_t count, U64 word, U64 bound );
  static Candidates selectCandidates();
  static void refresh( Branch & branch, size_t first, size_t end );
  void insert( Node & node, IndexItem & item );
  void insertIntoBranch( Branch & branch, IndexItem & item );
  static U32 insertIntoList( Node & node, IndexItem & item );
  bool remove( Node & node, IndexItem & item );
  bool removeFromBranch( Branch & branch, IndexItem & item );
  static bool removeFromList( Node & node, IndexItem & item );
  void split( Node & node );
  void collapse( Node & node );
  void takeAll( Node & node, std::vector< IndexItem * > & items );

  void review( Node & node );
  void migrate();
  IndexItem * takeList( Branch & branch );
  void discardEmpty( Branch & branch );
  static void sample( const Branch & branch, U32 quota, Sample & items );
  U32 distinct( const Sample & items, U32 word ) const;
  U32 selectWord( const Sample & items, U32 current ) const;

  void lookup( const Node & node, const U64 * key, IndexItem *& best ) const;

  void lookupInBranch( const Branch & first, const U64 * key, IndexItem *& best ) const;
  void lookupInBlocks( const Branch & branch, const U64 * key, IndexItem *& best ) const;
  bool matches( const IndexItem & item, const U64 * key ) const;

  U32 words_;
  U32 size_ = 0;
  Node root_;
  std::vector< Branch * > migrating_;  // those with an older branch
};

}  // namespace SoftAsic
