// The generated operations of attributes. Each macro declares one member and one-line forwards to
// it; put them in the public part of an entity class that has a struct Notifiee with one callback
// per attribute. Name is name with a capital. Included by kiv/Attribute.h.
//
//   KIV_CONST( Type, name, Name );              name()  nameParam()
//     The constructor initialises it: name_( this, "name", value ). nameParam().requireSame( v )
//     is for a second construction under the same name.
//   KIV_SCALAR( Type, name, Name, init );       name()  nameIs( v )  nameNotify()
//   KIV_VALUES( Map, K, V, name, Name );        name( k )  nameIs( k, v )  nameDel( k )
//     nameDel( iter )  nameDelAll()  nameIter()  nameSize()  nameHas( k )  nameNotify( k )
//   KIV_COUNTS( Map, K, V, name, Name );        the same and nameInc( k, delta )
//   KIV_MEMBERS( Map, K, E, name, Name );       the same as values; nameIs( k ) gets or creates
//     through newName( k ), which the class defines as name_.make( parameters... ); nameDel returns
//     the removed member.
//
// Map is Kiv::HashMap, Kiv::PageMap or Kiv::RbTreeMap. An absent value reads as V(), an absent
// entity as null. Setters notify the observers (onName, onName( k )) after the change and only if
// there was one; setting an absent key to V() is a change. Deleting an absent key, or through an
// iterator at its end, notifies nobody and returns false or null. nameDelAll deletes one by one
// through nameDel. Keys are passed by value, so that a key inside the deleted member is safe to
// pass. Generic tools go through nameIs and nameDel.
#pragma once

// clang-format off
#define KIV_CONST( Type, name, Name ) \
 protected: \
  Kiv::Const< Type > name##_; \
\
 public: \
  const std::type_identity_t< Type > & name() const { return name##_.get(); } \
  const Kiv::Const< Type > & name##Param() const { return name##_; }

#define KIV_SCALAR( Type, name, Name, init ) \
 protected: \
  Kiv::Scalar< Type > name##_{ \
      this, #name, init, []( auto & self ) { self.name##Notify(); }, \
      []( auto & self, Type value ) { self.name##Is( std::move( value ) ); } }; \
\
 public: \
  Kiv::ReadType< Type > name() const { return name##_.get(); } \
  virtual void name##Is( Type value ) { name##_.set( std::move( value ) ); } \
  virtual void name##Notify() { this->notify( #name, &Notifiee::on##Name ); }

#define KIV_COLLECTION( Attribute, write, Map, K, name, Name ) \
 protected: \
  Attribute name##_{ \
      this, #name, []( auto & self, K key ) { self.name##Notify( key ); }, write, \
      []( auto & self, K key ) { return self.name##Del( key ); } }; \
\
 public: \
  using Name##Iter = decltype( name##_ )::Iter; \
  virtual void name##DelAll() { \
    name##_.forEachKey( [ this ]( K key ) { this->name##Del( key ); } ); \
  } \
  Name##Iter name##Iter() const { return name##_.iter(); } \
  Name##Iter name##IterConst() const { return name##_.iter(); } \
  Name##Iter name##IteratorConst() const { return name##_.iter(); } \
  Kiv::U32 name##Size() const { return name##_.size(); } \
  bool name##Has( K key ) const { return name##_.has( key ); } \
  virtual void name##Notify( K key ) { this->notify( #name, &Notifiee::on##Name, key ); }

#define KIV_VALUES( Map, K, V, name, Name ) \
  KIV_COLLECTION( KIV_TYPE( Kiv::Values< Map, K, V > ), \
                  []( auto & self, K key, V value ) { self.name##Is( key, std::move( value ) ); }, \
                  Map, K, name, Name ) \
  V name( K key ) const { return name##_.get( key ); } \
  virtual void name##Is( K key, V value ) { name##_.set( key, std::move( value ) ); } \
  virtual bool name##Del( K key ) { return name##_.del( key ); } \
  virtual bool name##Del( Name##Iter & iter ) { \
    return iter && this->name##Del( K( iter.key() ) ); \
  }

#define KIV_COUNTS( Map, K, V, name, Name ) \
  KIV_VALUES( Map, K, V, name, Name ) \
  virtual V name##Inc( K key, Kiv::S32 delta ) { return name##_.inc( key, delta ); }

#define KIV_MEMBERS( Map, K, E, name, Name ) \
  KIV_COLLECTION( KIV_TYPE( Kiv::Members< Map, K, E > ), \
                  []( auto & self, K key ) { return self.name##Is( key ); }, Map, K, name, Name ) \
  virtual Kiv::Ptr< E > new##Name( K key ); \
  Kiv::Ptr< E > name( K key ) const { return name##_.get( key ); } \
  virtual Kiv::ValidPtr< E > name##Is( K key ) { \
    return name##_.instantiate( key, [ & ] { return this->new##Name( key ); } ); \
  } \
  virtual Kiv::Ptr< E > name##Del( K key ) { return name##_.del( key ); } \
  virtual Kiv::Ptr< E > name##Del( Name##Iter & iter ) { \
    return iter ? this->name##Del( K( iter.key() ) ) : nullptr; \
  }

// Carries a type with commas through another macro.
#define KIV_TYPE( ... ) __VA_ARGS__
// clang-format on
