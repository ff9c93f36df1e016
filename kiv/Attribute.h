// Attributes: typed members that link themselves into their entity.
//
// Const, Scalar, Values and Members hold the state and notify of changes; the macros of
// kiv/AttributeMacros.h give them the generated operations. Where an operation is special, write
// it by hand over the same member, and pass it to the member, so that generic tools run it too:
//
//   Kiv::Scalar< bool > initialized_{ this, "initialized", false, nullptr,
//                                     []( auto & self, bool v ) { self.initializedIs( v ); } };
//   void initializedIs( bool value ) {
//     if( initialized_.set( value ) ) { handleInitialized(); }
//   }
//
// Invariants: an entity's attributes are its name and its own ones in declaration order, bases
// first, each once. A change is complete before observers are notified. A write that changes
// nothing notifies nobody. The entity may be destroyed during the notification: the operations
// touch nothing of it after it.
//
// Generic tools read, write and walk an attribute by its name (kiv/GenericIf.h) through the virtual
// operations of AttributeBase. Their writes run the owner's own setters and deleters.
//
// Cost: a write to a present member allocates nothing. A collection allocates as its map does. What
// generic tools need costs an attribute no memory.
#pragma once

#include <concepts>
#include <memory>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kiv/Any.h"
#include "kiv/AttributeBase.h"
#include "kiv/Entity.h"
#include "kiv/Exception.h"
#include "kiv/Export.h"
#include "kiv/MapIter.h"
#include "kiv/Ptr.h"
#include "kiv/Strep.h"

namespace Kiv {

template < class T >
T AttributeBase::valueOf( const Any & value ) const {
  return unwrap< T >(
      value, [ this ] { return text(); } );
}

template < class K >
K AttributeBase::keyOf( const Any & key ) const {
  requireHashable( key );
  return unwrap< K >( key, [ this ] { return keyText(); } );
}

template < class Iter >
class IterWalk final : public KeyWalk {
 public:
  explicit IterWalk( Iter iter ) : iter_( std::move( iter ) ) {}
  bool atEnd() const override { return !iter_; }
  Any key() const override { return Any( iter_.key() ); }
  void next() override { ++iter_; }

 private:
  Iter iter_;
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
      : AttributeBase( name ), value_( std::move( value ) ) {
    owner->saveConstructParams( *this );
  }

  AttributeKind kind() const override { return AttributeKind::constant; }
  U32 size() const override { return 1; }
  const T & get() const { return value_; }

  const Type & valueType() const override { return typeOf< Wrapped< T > >(); }
  Any read( const Any & key ) const override {
    requireNoKey( key );
    return wrap( value_ );
  }

  // For a second construction under the owner's name: throws NameInUseException unless equal.
  void requireSame( const T & newValue ) const {
    if ( !( value_ == newValue ) )
      throwNameInUse( valueToStrep( newValue ), valueToStrep( value_ ) );
  }

 private:
  T value_;
};

// An operation of the owner that an attribute calls: a lambda F( owner, arguments... ) without
// captures, kept as a plain function, so that the owner's own, overridable, operation runs. Null
// for std::nullptr_t.
template < class Owner, class F, class R, class... A >
constexpr auto ownerCall() -> R ( * )( Entity &, A... ) {
  if constexpr ( std::is_null_pointer_v< F > ) {
    return nullptr;
  } else {
    static_assert( std::derived_from< Owner, Entity > && std::is_empty_v< F > );
    return []( Entity & owner, A... arguments ) -> R {
      return static_cast< R >(
          F()( static_cast< Owner & >( owner ), std::forward< A >( arguments )... ) );
    };
  }
}

template < class T >
class Scalar : public AttributeBase {
 public:
  // What notifies of a change, and what generic writes call. nullptr, the default, means that the
  // caller of set notifies, and that there are no generic writes.
  template < class Owner, class Changed = std::nullptr_t, class Write = std::nullptr_t >
  Scalar( Owner * owner, const char * name, T value, Changed = {}, Write = {} )
      : AttributeBase( owner, name ),
        value_( std::move( value ) ),
        calls_( &callsOf< Owner, Changed, Write > ) {}

  AttributeKind kind() const override { return AttributeKind::scalar; }
  U32 size() const override { return 1; }
  ReadType< T > get() const { return value_; }

  // Whether the value changed; if so, observers were notified.
  bool set( T value ) {
    if ( value_ == value )
      return false;
    std::swap( value_, value );
    if ( calls_->changed )
      calls_->changed( owner() );
    return true;
  }

  const Type & valueType() const override { return typeOf< Wrapped< T > >(); }
  Any read( const Any & key ) const override {
    requireNoKey( key );
    return wrap( value_ );
  }
  void write( const Any & key, const Any & value ) override {
    requireNoKey( key );
    if ( !calls_->write )
      throwNotSupported( "write" );
    calls_->write( owner(), valueOf< T >( value ) );
  }

 private:
  struct Calls {
    void ( *changed )( Entity & );
    void ( *write )( Entity &, T );
  };
  template < class Owner, class Changed, class Write >
  static constexpr Calls callsOf{ ownerCall< Owner, Changed, void >(),
                                  ownerCall< Owner, Write, void, T >() };

  T value_;
  const Calls * calls_;
};

// A keyed collection of values.
template < template < class, class > class Map, class K, class V >
class Values : public AttributeBase {
 public:
  using Iter = typename Map< K, V >::Iter;

  // As for Scalar; `Del` is what generic deletions call.
  template < class Owner, class Changed = std::nullptr_t, class Write = std::nullptr_t,
             class Del = std::nullptr_t >
  Values( Owner * owner, const char * name, Changed = {}, Write = {}, Del = {} )
      : AttributeBase( owner, name ), calls_( &callsOf< Owner, Changed, Write, Del > ) {}

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
    auto [ member, inserted ] = map_.insert( key, std::move( value ) );
    if ( !inserted ) {
      if ( *member == value )
        return false;
      std::swap( *member, value );
    }
    changed( key );
    return true;
  }

  // Adds to a member, modulo the width of V; an absent one is created with 0. Returns the new
  // value; notifies only when the value changes.
  V inc( const K & key, S32 delta ) requires std::integral< V > {
    V & member = *map_.insert( key, V() ).first;
    V sum = static_cast< V >( static_cast< U64 >( member ) + static_cast< U64 >( S64( delta ) ) );
    if ( sum != member ) {
      member = sum;
      changed( key );
    }
    return sum;
  }

  // Whether there was such a member. Its value is destroyed last: that may end the owner's life.
  bool del( const K & key ) {
    const auto removed = [ & ] {
      if constexpr ( std::is_trivially_destructible_v< V > )
        return map_.erase( key );
      else
        return map_.take( key );
    }();
    if ( removed )
      changed( key );
    return static_cast< bool >( removed );
  }

  // Calls function( key ) for each member; it may remove members and end the owner's life.
  template < class F >
  void forEachKey( F function ) const {
    for ( Iter i = iter(); i; ++i )
      function( i.key() );
  }

  const Type & valueType() const override { return typeOf< Wrapped< V > >(); }
  const Type * keyType() const override { return &typeOf< K >(); }
  bool has( const Any & key ) const override { return has( keyOf< K >( key ) ); }
  Any read( const Any & key ) const override { return wrap( get( keyOf< K >( key ) ) ); }
  void write( const Any & key, const Any & value ) override {
    if ( !calls_->write )
      throwNotSupported( "write" );
    calls_->write( owner(), keyOf< K >( key ), valueOf< V >( value ) );
  }
  bool del( const Any & key ) override {
    if ( !calls_->del )
      throwNotSupported( "delete" );
    return calls_->del( owner(), keyOf< K >( key ) );
  }
  std::unique_ptr< KeyWalk > walk() const override {
    return std::make_unique< IterWalk< Iter > >( iter() );
  }

 private:
  struct Calls {
    void ( *changed )( Entity &, const K & );
    void ( *write )( Entity &, const K &, V );
    bool ( *del )( Entity &, const K & );
  };
  template < class Owner, class Changed, class Write, class Del >
  static constexpr Calls callsOf{ ownerCall< Owner, Changed, void, const K & >(),
                                  ownerCall< Owner, Write, void, const K &, V >(),
                                  ownerCall< Owner, Del, bool, const K & >() };

  void changed( const K & key ) {
    if ( calls_->changed )
      calls_->changed( owner(), key );
  }

  Map< K, V > map_;
  const Calls * calls_;
};

// Iterator over the entities of a collection; member() throws as value() does.
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

  // As for Values; `Insert` is what generic insertions call.
  template < class Owner, class Changed = std::nullptr_t, class Insert = std::nullptr_t,
             class Del = std::nullptr_t >
  Members( Owner * owner, const char * name, Changed = {}, Insert = {}, Del = {} )
      : AttributeBase( owner, name ), calls_( &callsOf< Owner, Changed, Insert, Del > ) {}
  ~Members() override {
    for ( Iter i = iter(); i; ++i )
      i.value()->parentIs( nullptr );
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

  // A new member with the owner as its parent, for newX; it is not inserted.
  template < class... A >
  Ptr< E > make( A &&... parameters ) {
    Ptr< E > made = Kiv::make< E >( std::forward< A >( parameters )... );
    made->uninsertedParentIs( owner() );
    return made;
  }

  // The member; when absent, make() builds it, it is inserted, and observers are notified once.
  // Throws RangeException( "null ValidPtr" ) when make returns null. A member that appeared under
  // the key while make ran is kept and returned.
  template < class F >
  requires std::convertible_to< std::invoke_result_t< F >, Ptr< E > > ValidPtr< E > instantiate(
      const K & key, F make ) {
    if ( Ptr< E > present = get( key ) )
      return present;
    ValidPtr< E > made{ Ptr< E >( make() ) };
    auto [ member, inserted ] = map_.insert( key, made.ptr() );
    if ( !inserted )
      return *member;
    made->parentIs( &owner() );
    changed( key );
    return made;
  }

  // The removed member, its parent cleared; null when absent.
  Ptr< E > del( const K & key ) {
    Ptr< E > removed = get( key );
    if ( removed ) {
      map_.erase( key );
      removed->parentIs( nullptr );
      changed( key );
    }
    return removed;
  }

  // Calls function( key ) for each member; it may remove members and end the owner's life.
  template < class F >
  void forEachKey( F function ) const {
    for ( Iter i = iter(); i; ++i )
      function( i.key() );
  }

  const Type & valueType() const override { return typeOf< Ptr< Entity > >(); }
  const Type * keyType() const override { return &typeOf< K >(); }
  bool has( const Any & key ) const override { return has( keyOf< K >( key ) ); }
  Any read( const Any & key ) const override { return wrap( get( keyOf< K >( key ) ) ); }
  Any insert( const Any & key ) override {
    if ( !calls_->insert )
      throwNotSupported( "insert" );
    return Any( calls_->insert( owner(), keyOf< K >( key ) ) );
  }
  bool del( const Any & key ) override {
    if ( !calls_->del )
      throwNotSupported( "delete" );
    return calls_->del( owner(), keyOf< K >( key ) );
  }
  std::unique_ptr< KeyWalk > walk() const override {
    return std::make_unique< IterWalk< Iter > >( iter() );
  }

 private:
  struct Calls {
    void ( *changed )( Entity &, const K & );
    Ptr< Entity > ( *insert )( Entity &, const K & );
    bool ( *del )( Entity &, const K & );
  };
  template < class Owner, class Changed, class Insert, class Del >
  static constexpr Calls callsOf{ ownerCall< Owner, Changed, void, const K & >(),
                                  ownerCall< Owner, Insert, Ptr< Entity >, const K & >(),
                                  ownerCall< Owner, Del, bool, const K & >() };

  void changed( const K & key ) {
    if ( calls_->changed )
      calls_->changed( owner(), key );
  }

  Map< K, Ptr< E > > map_;
  const Calls * calls_;
};

}  // namespace Kiv

#include "kiv/AttributeMacros.h"
