// Finds the best of many ternary rules for a key without a linear search.
//
// A rule is a value and mask over a fixed number of words. It matches a key if key and value agree
// in all mask bits; the lowest rank wins. The index stores pointers: the address, key and rank of
// an item must not change while it is in the index.
//
// Algorithm: hierarchical tuple space search. A node with few items is a list sorted by rank. A
// larger node branches on one key word: one subtable per distinct mask of that word, each a hash
// map from the masked word to a child node. Subtables are sorted by the best rank they can hold;
// lookup stops at the first one that cannot beat the current match. A node branches on the most
// selective word, and selects it again whenever it has grown eightfold.
//
// Cost: lookup probes the subtables on its path, about a hundred with real access lists; insert and
// remove follow one path. Items with equal keys share a list, which both walk.
//
// A subtable's best rank is a lower bound: removals leave it stale, and it is recomputed after as
// many removals as the subtable has children.
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
  };
  struct Subtable {
    U64 mask = 0;
    U64 best = 0;     // lower bound of the ranks below
    U32 removed = 0;  // removals since `best` was exact
    WordMap< Node > children;
  };
  struct Branch {
    U32 word;
    U32 count;                          // items below
    U32 reviewAt;                       // count at which the word is selected again
    std::vector< Subtable > subtables;  // by ascending `best`
  };

  void insert( Node & node, IndexItem & item );
  void insertIntoBranch( Branch & branch, IndexItem & item );
  void remove( Node & node, IndexItem & item );
  void removeFromBranch( Branch & branch, IndexItem & item );
  void rebuild( Node & node );
  bool split( Node & node );
  static void sortList( Node & node );
  U32 distinct( const IndexItem * head, U32 word ) const;
  static U32 insertIntoList( Node & node, IndexItem & item );
  static IndexItem * takeAll( Node & node, IndexItem * tail );
  static U64 bestRank( const Node & node );
  static void sink( Branch & branch, size_t at );
  void lookup( const Node & node, const U64 * key, IndexItem *& best ) const;
  bool matches( const IndexItem & item, const U64 * key ) const;

  U32 words_;
  U32 size_ = 0;
  Node root_;
};

}  // namespace SoftAsic
