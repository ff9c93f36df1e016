// Kiv::GenericIf: an entity as tools see it that know nothing of its class.
//
//   Kiv::GenericIf generic( entity );
//   for ( auto i = generic.genericIfAttributeIterator(); i; i.iterInc() )
//     ... i.attribute().name()
//   for ( auto i = generic.genericIfAttributeIteratorKey( "exhausted" ); i; i.iterInc() )
//     ... i.key(), generic.genericIfAttributeOp( "exhausted", Kiv::AttributeOp::read, i.key() )
//
// Invariants: the attributes are those that the entity registered (kiv/Attribute.h), in declaration
// order, bases first. Writes, insertions and deletions run the entity's own setters and deleters,
// with their side effects and notifications.
//
// Failure: TypeException for a key or value of another type, UnhashableException for a key whose
// type has no hash, NoImplementationException for an attribute or operation that is not there. What
// the entity's own setters throw passes through.
//
// Locks: as for the entity.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "kiv/Any.h"
#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/Export.h"
#include "kiv/Operation.h"
#include "kiv/Ptr.h"

namespace Kiv {

// What is done to an attribute, and what comes back.
//   read         a value, or the member under the key         the value; the type's default, or a
//                                                             null entity, where there is none
//   write        a scalar, or insert-or-replace a value       nothing
//   insert       get or create the entity under the key       the entity
//   del          the member under the key                     a bool: whether there was one
enum class AttributeOp : U32 { read, write, insert, del };

// Visits the attributes of an entity, and keeps the entity alive.
class KIV_API GenericIfAttributeIterator {
 public:
  explicit GenericIfAttributeIterator( const Ptr< Entity > & entity )
      : entity_( entity ), attribute_( entity->firstAttribute() ) {}

  explicit operator bool() const { return attribute_ != nullptr; }
  // Throws RangeException at the end.
  AttributeBase & attribute() const;
  // Goes to the next attribute; stays where it is at the end.
  void iterInc() { attribute_ = attribute_ ? attribute_->next() : nullptr; }

 private:
  Ptr< Entity > entity_;
  AttributeBase * attribute_;
};

// Visits the keys of a collection while members come and go, and keeps the entity alive.
class KIV_API GenericIfKeyIterator {
 public:
  // Throws NoImplementationException when the attribute is no collection.
  explicit GenericIfKeyIterator( AttributeBase & attribute );

  explicit operator bool() const { return !walk_->atEnd(); }
  // The key being visited, also after its member was deleted. Throws RangeException at the end.
  Any key() const { return walk_->key(); }
  Any value() const { return attribute_->read( key() ); }
  void iterInc() { walk_->next(); }
  // Deletes the member being visited through the entity's deleter: whether it was there still. The
  // iterator stays on it until iterInc. At the end there is nothing to delete.
  bool iterDel() { return *this && attribute_->del( key() ); }

 private:
  Ptr< Entity > entity_;
  AttributeBase * attribute_;
  std::unique_ptr< KeyWalk > walk_;
};

class KIV_API GenericIf {
 public:
  explicit GenericIf( const ValidPtr< Entity > & entity ) : entity_( entity ) {}

  Entity & entity() const { return *entity_; }
  const char * typeName() const { return entity_->fwkType(); }

  // The attribute of that name. Throws NoImplementationException when there is none.
  AttributeBase & attribute( std::string_view name ) const;

  GenericIfAttributeIterator genericIfAttributeIterator() const {
    return GenericIfAttributeIterator( entity_.ptr() );
  }
  GenericIfKeyIterator genericIfAttributeIteratorKey( std::string_view attribute ) const;

  // The key is for collections, the value for writes; others take none.
  Any genericIfAttributeOp( std::string_view attribute, AttributeOp op, const Any & key = {},
                            const Any & value = {} ) const;

  // Calls a published function (kiv/Operation.h); its result, or nothing.
  Any genericIfOperation( std::string_view operation, std::span< const Any > arguments ) const;

 private:
  ValidPtr< Entity > entity_;
};

}  // namespace Kiv
