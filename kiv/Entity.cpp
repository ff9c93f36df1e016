#include "kiv/Entity.h"

#include <cstdio>
#include <utility>

#include "kiv/Assert.h"
#include "kiv/Attribute.h"
#include "kiv/Operation.h"

namespace Kiv {
namespace {

void reportException( const char * attribute, const std::exception_ptr & exception ) {
  try {
    std::rethrow_exception( exception );
  } catch ( const std::exception & known ) {
    std::fprintf( stderr, "Exception in notification of %s: %s\n", attribute, known.what() );
  } catch ( ... ) {
    std::fprintf( stderr, "Exception in notification of %s: unknown exception\n", attribute );
  }
}

// Hands the exception being handled to its observer; null when the observer was deleted.
void handException( NotifieeConst * observer, const char * attribute ) {
  try {
    if ( !observer )
      throw;
    observer->onNotificationException( attribute, std::current_exception() );
  } catch ( ... ) {
    reportException( attribute, std::current_exception() );
  }
}

}  // namespace

// One walk over the observers. It lives on the stack of the walk; removals keep it up to date.
struct EntityVisit {
  NotifieeConst * next;  // null at the end
  NotifieeConst * last;  // the last one that was registered when the walk began
  EntityVisit * outer;
  // The observer being called; null after its deletion, but not after it only unregistered.
  NotifieeConst * current = nullptr;
  EntityVisit * outerCall = nullptr;  // of the same observer, by whatever entity

  // Takes this visit out of a list of them. It need not be the first: callbacks may drop the
  // activity lock, so that the visits of two activities end in any order.
  void unlink( EntityVisit *& first, EntityVisit * EntityVisit::*following ) {
    EntityVisit ** link = &first;
    while ( *link != this )
      link = &( ( *link )->*following );
    *link = this->*following;
  }

  NotifieeConst & advance() {
    NotifieeConst & observer = *next;
    next = next == last ? nullptr : observer.next_;
    return observer;
  }

  // Calls the observer and hands it what it throws.
  void call( NotifieeConst & observer, const char * attribute,
             void ( *function )( void *, NotifieeConst & ), void * context ) {
    current = &observer;
    outerCall = std::exchange( observer.calls_, this );
    try {
      function( context, observer );
    } catch ( ... ) {
      handException( current, attribute );
    }
    if ( current )
      unlink( current->calls_, &EntityVisit::outerCall );
  }

  void removed( NotifieeConst & observer ) {
    if ( next == &observer )
      next = last == &observer ? nullptr : observer.next_;
    if ( last == &observer )
      last = observer.previous_;
  }
};

Entity::Entity( const Name & name ) : name_( this, name ) {}

Entity::~Entity() {
  while ( firstNotifiee_ )
    firstNotifiee_->notifierIs( nullptr );
  while ( firstUninserted_ )
    firstUninserted_->parentIs( nullptr );
  parentIs( nullptr );
}

void Entity::uninsertedParentIs( Entity & parent ) {
  parentIs( &parent );
  nextUninserted_ = std::exchange( parent.firstUninserted_, this );
  uninserted_ = 1;
}

void Entity::uninsertedDel() {
  Entity ** link = &parent_->firstUninserted_;
  while ( *link != this )
    link = &( *link )->nextUninserted_;
  *link = nextUninserted_;
  uninserted_ = 0;
}

bool Entity::nameIsFromBackup() const {
  return false;
}

void Entity::saveConstructParams( AttributeBase & parameter ) {
  KIV_ASSERT( parameter.kind() == AttributeKind::constant && parameter.place_ == 0 );
  attributeIs( parameter );
}

void Entity::attributeIs( AttributeBase & attribute ) {
  const auto place = reinterpret_cast< char * >( &attribute ) - reinterpret_cast< char * >( this );
  KIV_ASSERT( place > 0 && place <= 0x7fffffff );
  attribute.place_ = static_cast< U32 >( place );
  if ( lastAttribute_ != 0 )
    reinterpret_cast< AttributeBase * >( attribute.ownerStart() + lastAttribute_ )->next_ =
        attribute.place_;
  lastAttribute_ = attribute.place_;
}

AttributeBase * Entity::firstAttribute() const {
  return const_cast< NameAttribute * >( &name_ );
}

AttributeBase * Entity::attribute( std::string_view name ) const {
  AttributeBase * attribute = firstAttribute();
  while ( attribute && attribute->name() != name )
    attribute = attribute->next();
  return attribute;
}

const char * Entity::fwkType() const {
  return "Kiv::Entity";
}

const OperationTable & Entity::operationTable() const {
  static constexpr OperationTable none;
  return none;
}

void Entity::zeroReferencesIs() {
  notify( "zeroReferences", &NotifieeConst::onZeroReferences );
}

void Entity::visitNotifiees( const char * attribute, VisitFunction function,
                             void * context ) const {
  // An observer may drop the last reference; the walk must not lose its own object. An object that
  // nobody owns yet has no reference to lose.
  Ptr< const Entity > keep( references() != 0 ? this : nullptr );
  EntityVisit visit{ firstNotifiee_, firstNotifiee_->previous_, visits_ };
  visits_ = &visit;
  while ( visit.next ) {
    NotifieeConst & observer = visit.advance();
    if ( observer.registered_ )
      visit.call( observer, attribute, function, context );
  }
  visit.unlink( visits_, &EntityVisit::outer );
}

void Entity::add( NotifieeConst & observer ) const {
  observer.next_ = nullptr;
  if ( firstNotifiee_ ) {
    observer.previous_ = std::exchange( firstNotifiee_->previous_, &observer );
    observer.previous_->next_ = &observer;
  } else {
    observer.previous_ = firstNotifiee_ = &observer;
  }
}

void Entity::remove( NotifieeConst & observer ) const {
  for ( EntityVisit * visit = visits_; visit; visit = visit->outer )
    visit->removed( observer );
  ( observer.next_ ? observer.next_ : firstNotifiee_ )->previous_ = observer.previous_;
  ( firstNotifiee_ == &observer ? firstNotifiee_ : observer.previous_->next_ ) = observer.next_;
}

NotifieeConst::~NotifieeConst() {
  for ( EntityVisit * call = calls_; call; call = call->outerCall )
    call->current = nullptr;
  notifierIs( nullptr );
}

void NotifieeConst::notifierIs( const Ptr< const Entity > & notifier ) {
  if ( notifier_ == notifier.get() ) {
    isRegisteredNotifieeIs( true );
    return;
  }
  if ( notifier_ )
    notifier_->remove( *this );
  notifier_ = notifier.get();
  registered_ = notifier_ != nullptr;
  if ( notifier_ )
    notifier_->add( *this );
}

void NotifieeConst::isRegisteredNotifieeIs( bool registered ) {
  if ( !notifier_ || registered == registered_ )
    return;
  registered_ = registered;
  // A dormant observer keeps its place in the list, so that the notifier's death reaches it.
  if ( registered ) {
    notifier_->remove( *this );
    notifier_->add( *this );
  }
}

void NotifieeConst::onZeroReferences() {}

void NotifieeConst::onNotificationException( const char * attribute,
                                             const std::exception_ptr & exception ) {
  reportException( attribute, exception );
}

}  // namespace Kiv
