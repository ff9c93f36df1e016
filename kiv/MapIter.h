// The iterator of the maps, and the list through which a map knows its iterators.
//
//   for( auto i = map.iter(); i; ++i ) {
//     map.erase( i.key() );               // own member, or any other
//   }
//
// Invariants: an iterator may outlive any member and the map. After its own member was removed it
// is still true and key() still returns its key, value() throws, and ++ goes to the member that
// followed. It is at the end once its map was cleared or destroyed; key() throws there too. A
// member that is present during the whole walk is visited exactly once; one that is inserted during
// the walk may be missed.
//
// Locks: none; walking changes the map's list of iterators, so that even reading a map needs the
// lock that guards it.
#pragma once

#include <optional>

#include "kiv/Export.h"
#include "kiv/Types.h"

namespace Kiv {

class MapIterLink;

// The live iterators of one map, an intrusive list.
class MapIterList {
 public:
  bool empty() const { return first_ == nullptr; }

 private:
  template < class Map >
  friend class MapIter;
  friend class MapIterLink;

  MapIterLink * first_ = nullptr;
};

class KIV_API MapIterLink {
 protected:
  MapIterLink() = default;
  ~MapIterLink() = default;

  void link( MapIterList & list );
  // Does nothing while not linked.
  void unlink();

  MapIterLink * nextLink() const { return next_; }

  [[noreturn]] static void throwOutOfRange();

 private:
  MapIterList * list_ = nullptr;
  MapIterLink * next_ = nullptr;
  MapIterLink * previous_ = nullptr;
};

template < class Map >
class MapIter : private MapIterLink {
 public:
  using Key = typename Map::Key;
  using Mapped = typename Map::Mapped;
  using NodeRef = typename Map::NodeRef;

  explicit MapIter( const Map & map ) : map_( &map ) {
    link( map.iters_ );
    visit( map.firstNode() );
  }
  MapIter( const MapIter & other ) { *this = other; }
  ~MapIter() { unlink(); }

  MapIter & operator=( const MapIter & other ) {
    if ( this != &other ) {
      unlink();
      map_ = other.map_;
      node_ = other.node_;
      removed_ = other.removed_;
      key_ = other.key_;
      if ( map_ )
        link( map_->iters_ );
    }
    return *this;
  }

  // Whether a member is being visited, removed since or not.
  explicit operator bool() const { return node_ != Map::noNodeRef() || removed_; }

  // Goes to the next member; stays where it is at the end.
  MapIter & operator++() {
    if ( removed_ ) {
      removed_ = false;
      visit( map_->resumeNode( *key_, node_ ) );
    } else if ( node_ != Map::noNodeRef() ) {
      visit( map_->nextNode( node_ ) );
    }
    return *this;
  }

  // The key of the member being visited; kept when the member is removed. Throws RangeException at
  // the end.
  const Key & key() const {
    if ( !*this ) [[unlikely]]
      throwOutOfRange();
    return *key_;
  }

  // Throws RangeException at the end and after the member was removed.
  const Mapped & value() const {
    if ( node_ == Map::noNodeRef() || removed_ ) [[unlikely]]
      throwOutOfRange();
    return map_->nodeValue( node_ );
  }

  // Whether the map holds this key now, wherever the iterator is.
  bool isMemberOf( const Key & key ) const { return map_ && map_->find( key ) != nullptr; }

 private:
  friend Map;

  // Called by the map: before it takes a node out, and when all members go.
  static void memberRemoved( const MapIterList & list, const NodeRef & node ) {
    for ( auto * i = first( list ); i; i = next( *i ) ) {
      if ( i->node_ == node ) {
        i->node_ = i->map_->nextNode( node );
        i->removed_ = true;
      }
    }
  }

  static void mapEnded( const MapIterList & list ) {
    while ( auto * i = first( list ) ) {
      i->unlink();
      i->map_ = nullptr;
      i->node_ = Map::noNodeRef();
      i->removed_ = false;
    }
  }

  static MapIter * first( const MapIterList & list ) {
    return static_cast< MapIter * >( list.first_ );
  }
  static MapIter * next( const MapIter & iter ) {
    return static_cast< MapIter * >( iter.nextLink() );
  }

  void visit( const NodeRef & node ) {
    node_ = node;
    if ( node != Map::noNodeRef() )
      key_ = map_->nodeKey( node );
  }

  const Map * map_ = nullptr;
  // The member being visited; after its removal, the one that followed.
  NodeRef node_ = Map::noNodeRef();
  bool removed_ = false;  // the member being visited was removed
  std::optional< Key > key_;
};

}  // namespace Kiv
