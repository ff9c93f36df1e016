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
// Invariants: the name never changes; it is the first attribute. The parent is a bare pointer and
// owns nothing; collections set it when they build a member and clear it when the member is
// removed or its parent destroyed, inserted or not. Attributes (kiv/Attribute.h) link themselves
// here in the order of their declaration.
//
// Order of calls: construct with Kiv::make; insert into an owner's collection; change attributes
// through their setters only.
//
// Locks: none of its own; the activity lock guards entities (kiv/Lock.h).
#pragma once

#include "kiv/AttributeBase.h"
#include "kiv/Export.h"
#include "kiv/Name.h"
#include "kiv/Notifiee.h"
#include "kiv/Ptr.h"

namespace Kiv {

struct EntityVisit;
struct OperationTable;

class KIV_API Entity : public PtrInterface {
 public:
  explicit Entity( const Name & name );
  ~Entity() override;

  const Name & name() const { return name_.get(); }
  // Whether the name was restored from a backup instead of given by the constructor's caller; false
  // here, where nothing restores names.
  virtual bool nameIsFromBackup() const;

  // Saves a constructor parameter of this entity: it joins the attributes at construction, where
  // its value is set for good. Called by the attribute itself (Kiv::Const, and the name). A second
  // construction under the name compares its parameters with the saved ones (Const::requireSame).
  void saveConstructParams( AttributeBase & parameter );

  // The entity whose collection holds this one, or has built it; null outside of one.
  Entity * parent() const { return parent_; }
  void parentIs( Entity * parent ) {
    if ( uninserted_ ) [[unlikely]]
      uninsertedDel();
    parent_ = parent;
  }
  // Sets the parent of a member that is yet to be inserted. Cleared should the parent die first.
  void uninsertedParentIs( Entity & parent );

  // The first attribute, the name. The others follow in declaration order, bases first
  // (AttributeBase::next).
  AttributeBase * firstAttribute() const;
  // The attribute of that name, or null.
  AttributeBase * attribute( std::string_view name ) const;

  // The full name of the class, for tools.
  virtual const char * fwkType() const;
  // The functions that the class publishes to generic tools (kiv/Operation.h).
  virtual const OperationTable & operationTable() const;

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
  using VisitFunction = void ( * )( void * context, NotifieeConst & observer );

  void visitNotifiees( const char * attribute, VisitFunction function, void * context ) const;
  void attributeIs( AttributeBase & attribute );
  void uninsertedDel();
  void add( NotifieeConst & observer ) const;
  void remove( NotifieeConst & observer ) const;

  U32 lastAttribute_ : 31 = 0;  // its offset from here; 0 before the name registers
  U32 uninserted_ : 1 = 0;      // in the parent's list of members that are yet to be inserted
  NameAttribute name_;
  Entity * parent_ = nullptr;
  Entity * firstUninserted_ = nullptr;
  Entity * nextUninserted_ = nullptr;
  mutable NotifieeConst * firstNotifiee_ = nullptr;  // dormant ones too
  mutable EntityVisit * visits_ = nullptr;  // the walks over the observers that are under way
};

}  // namespace Kiv
