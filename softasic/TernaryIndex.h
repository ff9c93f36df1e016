// Finds the best of many ternary rules for a key, without looking at all of them.
//
// A rule is a value and a mask over a fixed number of words; it matches a key when every word of
// the key, under the mask, equals the value under the mask. The best match is the one with the
// lowest rank. The index holds pointers only: an item's key and rank stay as they are, and the item
// stays where it is, while it is in the index.
//
// How it works: a hierarchical tuple space. A node with few items is a list sorted by rank. A node
// with more branches on one key word: one subtable per distinct mask of that word, each a hash map
// from the masked word to the node below. Subtables stand in the order of the best rank that they
// can hold, and a lookup stops at the first one that cannot beat the match it has. A node branches
// on the word that tells its items apart best; it chooses anew each time it has grown eightfold.
//
// Cost: a lookup probes the subtables along its way, about a hundred with real access lists; insert
// and remove follow one path. Items with equal keys share a list, which both walk.
//
// A subtable's rank is a lower bound: removals let it grow stale and repair it after as many of
// them as the subtable has children.
//
// Locks: none; the caller serialises all calls.
#pragma once

#include <memory>
#include <vector>

#include "softasic/WordMap.h"

namespace SoftAsic {

struct IndexItem {
  IndexItem * next = nullptr;  // the index's own
  U64 rank = 0;                // lower wins; distinct among the items of an index
  const U64 * key = nullptr;   // values, then masks
};

class TernaryIndex {
 public:
  // `words` is the number of words of a key; 0 makes every rule match.
  explicit TernaryIndex( U32 words ) : words_( words ) {}

  void insert( IndexItem & item );
  void remove( IndexItem & item );  // the item must be in the index

  // The matching item with the lowest rank; null when none matches.
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
    U64 best = 0;     // no item below has a lower rank
    U32 removed = 0;  // removals of the best since `best` was exact
    WordMap< Node > children;
  };
  struct Branch {
    U32 word;
    U32 count;                          // items below
    U32 reviewAt;                       // count at which the choice of the word is reviewed
    std::vector< Subtable > subtables;  // by rising `best`
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
