// The shape of a red-black tree whose links are pool indices; RbTreeMap puts keys on it.
//
// Invariants: the root is black, a red node has no red child, and every path from a node down to a
// missing child passes the same number of black nodes, so that the height is at most
// 2 * log2( n + 1 ). Nodes are relinked, never copied: their indices stay valid.
#pragma once

#include <utility>

#include "kiv/NodePool.h"

namespace Kiv {

// The two children are an array so that each case is written once for both sides.
struct RbLinks {
  U32 child[ 2 ] = { noNode, noNode };
  U32 parent : 31 = noNode;
  U32 red : 1 = 1;
};

enum RbSide : U32 { rbLeft, rbRight };

// Pool[ index ] has a member links.
template < class Pool >
class RbTree {
 public:
  U32 root() const { return root_; }

  // The last node in the direction of side below a node; that node when it has no such child.
  U32 outermost( const Pool & pool, U32 node, U32 side ) const {
    while ( node != noNode && pool[ node ].links.child[ side ] != noNode )
      node = pool[ node ].links.child[ side ];
    return node;
  }

  // The next node in order, or noNode.
  U32 successor( const Pool & pool, U32 node ) const {
    U32 right = pool[ node ].links.child[ rbRight ];
    if ( right != noNode )
      return outermost( pool, right, rbLeft );
    U32 parent = pool[ node ].links.parent;
    while ( parent != noNode && pool[ parent ].links.child[ rbRight ] == node ) {
      node = parent;
      parent = pool[ node ].links.parent;
    }
    return parent;
  }

  // Puts a fresh node where the search for it ended: on that side of parent (noNode: empty tree).
  void insert( Pool & pool, U32 node, U32 parent, U32 side ) {
    pool[ node ].links.parent = parent;
    ( parent == noNode ? root_ : pool[ parent ].links.child[ side ] ) = node;
    while ( isRed( pool, pool[ node ].links.parent ) )
      node = repairRedParent( pool, node );
    pool[ root_ ].links.red = 0;
  }

  // Takes a node out of the shape; its own links are left as they were.
  void erase( Pool & pool, U32 node ) {
    RbLinks & links = pool[ node ].links;
    bool blackLost = !links.red;
    U32 hole;    // what took the place of the lost node; may be noNode
    U32 parent;  // of the hole
    if ( links.child[ rbLeft ] == noNode || links.child[ rbRight ] == noNode ) {
      hole = links.child[ links.child[ rbLeft ] == noNode ? rbRight : rbLeft ];
      parent = links.parent;
      replace( pool, node, hole );
    } else {
      U32 heir = outermost( pool, links.child[ rbRight ], rbLeft );
      RbLinks & heirLinks = pool[ heir ].links;
      blackLost = !heirLinks.red;
      hole = heirLinks.child[ rbRight ];
      parent = heirLinks.parent == node ? heir : heirLinks.parent;
      if ( parent != heir ) {
        replace( pool, heir, hole );
        adopt( pool, heir, rbRight, links.child[ rbRight ] );
      }
      replace( pool, node, heir );
      adopt( pool, heir, rbLeft, links.child[ rbLeft ] );
      heirLinks.red = links.red;
    }
    if ( blackLost )
      repairLostBlack( pool, hole, parent );
  }

 private:
  static bool isRed( const Pool & pool, U32 node ) {
    return node != noNode && pool[ node ].links.red;
  }

  [[gnu::always_inline]] static void adopt( Pool & pool, U32 parent, U32 side, U32 child ) {
    pool[ parent ].links.child[ side ] = child;
    if ( child != noNode )
      pool[ child ].links.parent = parent;
  }

  static U32 sideOf( const Pool & pool, U32 node, U32 parent ) {
    return pool[ parent ].links.child[ rbRight ] == node ? rbRight : rbLeft;
  }

  // Puts heir (may be noNode) under the parent of node.
  void replace( Pool & pool, U32 node, U32 heir ) {
    U32 parent = pool[ node ].links.parent;
    if ( parent != noNode ) {
      adopt( pool, parent, sideOf( pool, node, parent ), heir );
      return;
    }
    root_ = heir;
    if ( heir != noNode )
      pool[ heir ].links.parent = noNode;
  }

  // Moves node down to that side; its child of the other side takes its place.
  void rotate( Pool & pool, U32 node, U32 side ) {
    U32 up = pool[ node ].links.child[ !side ];
    replace( pool, node, up );
    adopt( pool, node, !side, pool[ up ].links.child[ side ] );
    adopt( pool, up, side, node );
  }

  // One step for a red node below a red parent; returns the next node to repair.
  U32 repairRedParent( Pool & pool, U32 node ) {
    U32 parent = pool[ node ].links.parent;
    U32 grandparent = pool[ parent ].links.parent;
    U32 side = sideOf( pool, parent, grandparent );
    U32 uncle = pool[ grandparent ].links.child[ !side ];
    pool[ grandparent ].links.red = 1;
    if ( isRed( pool, uncle ) ) {
      pool[ parent ].links.red = 0;
      pool[ uncle ].links.red = 0;
      return grandparent;
    }
    if ( sideOf( pool, node, parent ) != side ) {
      rotate( pool, parent, side );
      std::swap( node, parent );
    }
    pool[ parent ].links.red = 0;
    rotate( pool, grandparent, !side );
    return node;
  }

  // The paths through node, a child of parent, lack one black node.
  void repairLostBlack( Pool & pool, U32 node, U32 parent ) {
    while ( node != root_ && !isRed( pool, node ) ) {
      U32 side = sideOf( pool, node, parent );
      U32 sibling = pool[ parent ].links.child[ !side ];
      if ( isRed( pool, sibling ) ) {
        pool[ sibling ].links.red = 0;
        pool[ parent ].links.red = 1;
        rotate( pool, parent, side );
        sibling = pool[ parent ].links.child[ !side ];
      }
      bool nearRed = isRed( pool, pool[ sibling ].links.child[ side ] );
      bool farRed = isRed( pool, pool[ sibling ].links.child[ !side ] );
      if ( nearRed || farRed ) {
        borrowFromSibling( pool, parent, sibling, side, farRed );
        return;
      }
      pool[ sibling ].links.red = 1;
      node = parent;
      parent = pool[ node ].links.parent;
    }
    if ( node != noNode )
      pool[ node ].links.red = 0;
  }

  void borrowFromSibling( Pool & pool, U32 parent, U32 sibling, U32 side, bool farRed ) {
    if ( !farRed ) {
      pool[ pool[ sibling ].links.child[ side ] ].links.red = 0;
      pool[ sibling ].links.red = 1;
      rotate( pool, sibling, !side );
      sibling = pool[ parent ].links.child[ !side ];
    }
    pool[ sibling ].links.red = pool[ parent ].links.red;
    pool[ parent ].links.red = 0;
    pool[ pool[ sibling ].links.child[ !side ] ].links.red = 0;
    rotate( pool, parent, side );
  }

  U32 root_ = noNode;
};

}  // namespace Kiv
