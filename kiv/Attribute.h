// Attributes: typed members that link themselves into their entity.
//
// Const, Scalar, Values and Members hold the state and tell of changes; the macros of
// kiv/AttributeMacros.h give them the generated operations. Where an operation is special, write
// it by hand over the same member:
//
//   Kiv::Scalar< bool > initialized_{ this, "initialized", false };
//   void initializedIs( bool value ) {
//     if( initialized_.set( value ) ) { handleInitialized(); }
//   }
//
// Invariants: an entity's attributes stand in declaration order, bases first, each once. A change
// is complete before anyone is told of it. A write that changes nothing tells nobody. After a
// change was told the entity may be gone: the operations touch nothing of it afterwards.
//
// Cost: a write to a present member allocates nothing. A collection allocates as its map does.
#pragma once

#include <concepts>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kiv/Entity.h"
#include "kiv/Exception.h"
#include "kiv/Export.h"
#include "kiv/MapIter.h"
#include "kiv/Ptr.h"
#include "kiv/Strep.h"

namespace Kiv {

enum class AttributeKind : U32 { constant, scalar, values, members };

// What generic tools see of an attribute. Grows with them; the typed classes below implement it.
class KIV_API AttributeBase {
 public:
  AttributeBase( Entity * owner, const char * name );
  AttributeBase( const AttributeBase & ) = delete;
  AttributeBase & operator=( const AttributeBase & ) = delete;

  virtual AttributeKind kind() const = 0;
  // Members of a collection, 1 for others.
  virtual U32 size() const = 0;

  std::string_view name() const { return name_; }
  Entity & owner() const { return *owner_; }
  // The attribute that was declared next; null after the last.
  AttributeBase * next() const { return next_; }

 protected:
  virtual ~AttributeBase();

  // Throws NameInUseException about a constructor parameter given a second time as newText.
  [[noreturn]] void throwNameInUse( const String8 & newText, const String8 & savedText ) const;

 private:
  const char * name_;
  Entity * owner_;
  AttributeBase * next_ = nullptr;
};

// Small values are read by copy, others by reference.
template < class T >
using ReadType =
    std::conditional_t< std::is_trivially_copyable_v< T > && sizeof( T ) <= 2 * sizeof( void * ), T,
                        const T & >;

// A constructor parameter: fixed for the entity's life.
template < class T >
class Const : public AttributeBase {
 public:
  Const( Entity * owner, const char * name, T value )
      : AttributeBase( owner, name ), value_( std::move( value ) ) {}

  AttributeKind kind() const override { return AttributeKind::constant; }
  U32 size() const override { return 1; }
  const T & get() const { return value_; }

  // For a second construction under the owner's name: throws NameInUseException unless equal.
  void requireSame( const T & newValue ) const {
    if ( !( value_ == newValue ) ) {
      throwNameInUse( valueToStrep( newValue ), valueToStrep( value_ ) );
    }
  }

 private:
  T value_;
};

// How an attribute tells its owner of a change: notifier( owner, key... ), a lambda without
// captures. It is kept as a plain function, so that the owner's own, overridable, operation runs.
template < class... Key >
class ChangeHook {
 public:
  ChangeHook() = default;

  template < std::derived_from< Entity > Owner, class F >
  requires std::is_empty_v< F > ChangeHook( Owner *, F )
      : call_( []( Entity & owner, const Key &... key ) {
          F()( static_cast< Owner & >( owner ), key... );
        } ) {}

  void operator()( Entity & owner, const Key &... key ) const {
    if ( call_ ) {
      call_( owner, key... );
    }
  }

 private:
  void ( *call_ )( Entity & owner, const Key &... key ) = nullptr;
};

template < class T >
class Scalar : public AttributeBase {
 public:
  // Without a hook the caller of set tells of the change.
  Scalar( Entity * owner, const char * name, T value )
      : AttributeBase( owner, name ), value_( std::move( value ) ) {}
  template < class Owner, class F >
  Scalar( Owner * owner, const char * name, T value, F changed )
      : AttributeBase( owner, name ), value_( std::move( value ) ), changed_( owner, changed ) {}

  AttributeKind kind() const override { return AttributeKind::scalar; }
  U32 size() const override { return 1; }
  ReadType< T > get() const { return value_; }

  // Whether the value changed; it was told then.
  bool set( T value ) {
    if ( value_ == value ) {
      return false;
    }
    std::swap( value_, value );
    changed_( owner() );
    return true;
  }

 private:
  T value_;
  ChangeHook<> changed_;
};

// A keyed collection of values.
template < template < class, class > class Map, class K, class V >
class Values : public AttributeBase {
 public:
  using Iter = typename Map< K, V >::Iter;

  Values( Entity * owner, const char * name ) : AttributeBase( owner, name ) {}
  template < class Owner, class F >
  Values( Owner * owner, const char * name, F changed )
      : AttributeBase( owner, name ), changed_( owner, changed ) {}

  AttributeKind kind() const override { return AttributeKind::values; }
  U32 size() const override { return map_.size(); }
  const Map< K, V > & map() const { return map_; }
  Iter iter() const { return map_.iter(); }
  bool has( const K & key ) const { return map_.find( key ) != nullptr; }

  // V() when absent.
  V get( const K & key ) const {
    const V * value = map_.find( key );
    return value ? *value : V();
  }

  // Inserts or replaces; whether that changed anything.
  bool set( const K & key, V value ) {
    auto [ member, inserted ] = map_.insert( key, value );
    if ( !inserted ) {
      if ( *member == value ) {
        return false;
      }
      std::swap( *member, value );
    }
    changed_( owner(), key );
    return true;
  }

  // Adds modulo the width of V to a member, created with 0 when absent; the new value. Told only
  // when the value changes.
  V inc( const K & key, S32 delta ) requires std::integral< V > {
    V & member = *map_.insert( key, V() ).first;
    V sum = static_cast< V >( static_cast< U64 >( member ) + static_cast< U64 >( S64( delta ) ) );
    if ( sum != member ) {
      member = sum;
      changed_( owner(), key );
    }
    return sum;
  }

  // Whether there was such a member.
  bool del( const K & key ) {
    if ( !map_.erase( key ) ) {
      return false;
    }
    changed_( owner(), key );
    return true;
  }

  // Calls function( key ) for each member; it may remove members and end the owner's life.
  template < class F >
  void forEachKey( F function ) const {
    for ( Iter i = iter(); i; ++i ) {
      function( i.key() );
    }
  }

 private:
  Map< K, V > map_;
  ChangeHook< K > changed_;
};

// Iterator over the entities of a collection; member() may be called while the member is there.
template < class MapType >
class MemberIter : public MapIter< MapType > {
 public:
  using MapIter< MapType >::MapIter;
  typename MapType::Mapped member() const { return this->value(); }
};

// A keyed collection of entities that it owns; their parent is the collection's owner.
template < template < class, class > class Map, class K, class E >
class Members : public AttributeBase {
 public:
  using Iter = MemberIter< Map< K, Ptr< E > > >;

  Members( Entity * owner, const char * name ) : AttributeBase( owner, name ) {}
  template < class Owner, class F >
  Members( Owner * owner, const char * name, F changed )
      : AttributeBase( owner, name ), changed_( owner, changed ) {}
  ~Members() override {
    for ( Iter i = iter(); i; ++i ) {
      i.value()->parentIs( nullptr );
    }
  }

  AttributeKind kind() const override { return AttributeKind::members; }
  U32 size() const override { return map_.size(); }
  const Map< K, Ptr< E > > & map() const { return map_; }
  Iter iter() const { return Iter( map_ ); }
  bool has( const K & key ) const { return map_.find( key ) != nullptr; }

  // Null when absent.
  Ptr< E > get( const K & key ) const {
    const Ptr< E > * member = map_.find( key );
    return member ? *member : nullptr;
  }

  // The member, made by make() when absent: its parent is set, it is inserted, and this is told
  // once. Throws RangeException( "null ValidPtr" ) when make returns null. A member that appeared
  // under the key while make ran is kept and returned.
  template < class F >
  requires std::convertible_to< std::invoke_result_t< F >, Ptr< E > > ValidPtr< E > instantiate(
      const K & key, F make ) {
    if ( Ptr< E > present = get( key ) ) {
      return present;
    }
    ValidPtr< E > made{ Ptr< E >( make() ) };
    auto [ member, inserted ] = map_.insert( key, made.ptr() );
    if ( !inserted ) {
      return *member;
    }
    made->parentIs( &owner() );
    changed_( owner(), key );
    return made;
  }

  // The removed member, its parent cleared; null when absent.
  Ptr< E > del( const K & key ) {
    Ptr< E > removed = get( key );
    if ( removed ) {
      map_.erase( key );
      removed->parentIs( nullptr );
      changed_( owner(), key );
    }
    return removed;
  }

  // Calls function( key ) for each member; it may remove members and end the owner's life.
  template < class F >
  void forEachKey( F function ) const {
    for ( Iter i = iter(); i; ++i ) {
      function( i.key() );
    }
  }

 private:
  Map< K, Ptr< E > > map_;
  ChangeHook< K > changed_;
};

}  // namespace Kiv

#include "kiv/AttributeMacros.h"
