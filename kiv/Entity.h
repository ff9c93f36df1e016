// Kiv::Entity: a named, shared object whose state is a list of attributes.
//
//   class Counter : public Kiv::Entity {
//    public:
//     struct Notifiee : Kiv::NotifieeConst {
//       virtual void onPackets() {}
//     };
//     explicit Counter( const Kiv::Name & name ) : Entity( name ) {}
//     KIV_SCALAR( Kiv::U64, packets, Packets, 0 );
//   };
//
// Invariants: the name never changes. The parent is a bare pointer and owns nothing; collections
// set it on insertion and clear it when the member leaves or the collection dies. Attributes
// (kiv/Attribute.h) link themselves here in the order of their declaration.
//
// Order of calls: construct with Kiv::make; insert into an owner's collection; change attributes
// through their setters only.
//
// Locks: none of its own; the activity lock guards entities (kiv/Lock.h).
#pragma once

#include "kiv/Export.h"
#include "kiv/Name.h"
#include "kiv/Notifiee.h"
#include "kiv/Ptr.h"

namespace Kiv {

class AttributeBase;
struct OperationTable;

class KIV_API Entity : public PtrInterface {
 public:
  explicit Entity( const Name & name );
  ~Entity() override;

  const Name & name() const { return name_; }

  // The entity whose collection holds this one; null outside of one.
  Entity * parent() const { return parent_; }
  void parentIs( Entity * parent ) { parent_ = parent; }

  // The head of the attributes in declaration order, bases first (AttributeBase::next).
  AttributeBase * firstAttribute() const { return firstAttribute_; }
  // The attribute of that name, or null.
  AttributeBase * attribute( std::string_view name ) const;

  // The full name of the class, for tools.
  virtual const char * fwkType() const;
  // The functions that the class publishes to generic tools (kiv/Operation.h).
  virtual const OperationTable & operationTable() const;

  bool hasNotifiees() const { return firstNotifiee_ != nullptr; }

 protected:
  // Calls one callback of every registered observer that has it. Runs after the change; may end
  // with this entity deleted when an observer dropped the last reference.
  template < class N, class... P, class... A >
  void notify( const char * attribute, void ( N::*callback )( P... ), const A &... args ) const {
    if ( !firstNotifiee_ )
      return;
    auto call = [ & ]( NotifieeConst & observer ) {
      if ( auto * notifiee = dynamic_cast< N * >( &observer ) )
        ( notifiee->*callback )( args... );
    };
    using Call = decltype( call );
    visitNotifiees(
        attribute,
        []( void * context, NotifieeConst & observer ) {
          ( *static_cast< Call * >( context ) )( observer );
        },
        &call );
  }

  void zeroReferencesIs() override;

 private:
  friend class AttributeBase;
  friend class NotifieeConst;
  struct Visit;
  using VisitFunction = void ( * )( void * context, NotifieeConst & observer );

  void visitNotifiees( const char * attribute, VisitFunction function, void * context ) const;
  void add( NotifieeConst & observer ) const;
  void remove( NotifieeConst & observer ) const;

  Name name_;
  Entity * parent_ = nullptr;
  AttributeBase * firstAttribute_ = nullptr;
  AttributeBase * lastAttribute_ = nullptr;
  mutable NotifieeConst * firstNotifiee_ = nullptr;
  mutable NotifieeConst * lastNotifiee_ = nullptr;
  mutable Visit * visits_ = nullptr;  // the walks over the observers that are under way
};

}  // namespace Kiv
