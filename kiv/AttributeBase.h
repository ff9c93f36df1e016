// What generic tools see of an attribute (kiv/Attribute.h, kiv/GenericIf.h), and how attributes
// hang together.
//
// Invariants: an attribute is a member of its owner, the entity, and registers there when it is
// constructed. The entity's name comes first, then the attributes in the order of construction.
//
// Cost: a pointer to the name and two 32-bit offsets, on either word size.
#pragma once

#include <memory>
#include <string_view>

#include "kiv/Export.h"
#include "kiv/Name.h"
#include "kiv/Types.h"

namespace Kiv {

class Any;
class Entity;
class Type;

enum class AttributeKind : U32 { constant, scalar, values, members };

// A walk over the keys of a collection. It stays valid while members come and go.
class KIV_API KeyWalk {
 public:
  virtual ~KeyWalk();
  virtual bool atEnd() const = 0;
  // The key being visited, also after its member was deleted. Throws RangeException at the end.
  virtual Any key() const = 0;
  virtual void next() = 0;
};

// What generic tools see of an attribute; the typed classes below implement it. Keys are for
// collections: a key that is missing, needless or of another type throws TypeException, one whose
// type has no hash UnhashableException. A value of another type throws TypeException. What an
// attribute does not do throws NoImplementationException, which is also the default here.
class KIV_API AttributeBase {
 public:
  // Registers with the owner.
  AttributeBase( Entity * owner, const char * name );
  AttributeBase( const AttributeBase & ) = delete;
  AttributeBase & operator=( const AttributeBase & ) = delete;

  virtual AttributeKind kind() const = 0;
  // Members of a collection, 1 for others.
  virtual U32 size() const = 0;

  std::string_view name() const { return name_; }
  Entity & owner() const { return *reinterpret_cast< Entity * >( ownerStart() ); }
  // The attribute that was declared next; null after the last.
  AttributeBase * next() const {
    return next_ == 0 ? nullptr : reinterpret_cast< AttributeBase * >( ownerStart() + next_ );
  }

  virtual const Type & valueType() const = 0;
  // Null when the attribute is no collection.
  virtual const Type * keyType() const;
  // Whether a collection has the key.
  virtual bool has( const Any & key ) const;
  // An absent value reads as its type's default, an absent entity as null.
  virtual Any read( const Any & key ) const = 0;
  // Sets a scalar, inserts or replaces a value.
  virtual void write( const Any & key, const Any & value );
  // Gets or creates the entity under the key.
  virtual Any insert( const Any & key );
  // Whether there was such a member.
  virtual bool del( const Any & key );
  // From the first key on; null when the attribute is no collection.
  virtual std::unique_ptr< KeyWalk > walk() const;

 protected:
  // A constructor parameter: it registers through Entity::saveConstructParams.
  explicit AttributeBase( const char * name ) : name_( name ) {}
  virtual ~AttributeBase();

  // Throws NameInUseException about a constructor parameter given a second time as newText.
  [[noreturn]] void throwNameInUse( const String8 & newText, const String8 & savedText ) const;

  // How exceptions call the attribute, and its keys.
  String8 text() const;
  String8 keyText() const;
  [[noreturn]] void throwNotSupported( const char * operation ) const;
  void requireNoKey( const Any & key ) const;
  void requireHashable( const Any & key ) const;

  // Both are defined in kiv/Attribute.h.
  template < class T >
  T valueOf( const Any & value ) const;
  template < class K >
  K keyOf( const Any & key ) const;

 private:
  friend class Entity;

  char * ownerStart() const {
    return reinterpret_cast< char * >( const_cast< AttributeBase * >( this ) ) - place_;
  }

  const char * name_;
  // Offsets from the owner's start: attributes are members of their entity, and every entity has
  // many of them.
  U32 place_ = 0;
  U32 next_ = 0;  // 0: this is the last one
};

// The name, the first attribute of every entity.
class KIV_API NameAttribute final : public AttributeBase {
 public:
  NameAttribute( Entity * owner, const Name & value );

  const Name & get() const { return value_; }
  AttributeKind kind() const override { return AttributeKind::constant; }
  U32 size() const override { return 1; }
  const Type & valueType() const override;
  Any read( const Any & key ) const override;

 private:
  Name value_;
};

}  // namespace Kiv
