#include "kiv/Entity.h"

#include <cstdio>

#include "kiv/Attribute.h"
#include "kiv/Operation.h"

namespace Kiv {
namespace {

void reportException( const char * attribute, const std::exception_ptr & exception ) {
  const char * text = "unknown exception";
  try {
    std::rethrow_exception( exception );
  } catch ( const std::exception & known ) {
    std::fprintf( stderr, "Exception in notification of %s: %s\n", attribute, known.what() );
    return;
  } catch ( ... ) {
    std::fprintf( stderr, "Exception in notification of %s: %s\n", attribute, text );
  }
}

void handException( NotifieeConst & observer, const char * attribute ) {
  try {
    observer.onNotificationException( attribute, std::current_exception() );
  } catch ( ... ) {
    reportException( attribute, std::current_exception() );
  }
}

}  // namespace

// One walk over the observers. It lives on the stack of the walk; removals keep it up to date.
struct Entity::Visit {
  NotifieeConst * current = nullptr;  // being called; null once it is gone
  NotifieeConst * next;               // null at the end
  NotifieeConst * last;               // the last one that was registered when the walk began
  Visit * outer;

  void advance() {
    current = next;
    next = current == last ? nullptr : current->next_;
  }

  void removed( NotifieeConst & observer ) {
    if ( current == &observer )
      current = nullptr;
    if ( next == &observer )
      next = last == &observer ? nullptr : observer.next_;
    if ( last == &observer )
      last = observer.previous_;
  }
};

Entity::Entity( const Name & name ) : name_( name ) {}

Entity::~Entity() {
  while ( firstNotifiee_ )
    firstNotifiee_->notifierIs( nullptr );
}

AttributeBase * Entity::attribute( std::string_view name ) const {
  AttributeBase * attribute = firstAttribute_;
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
  Visit visit{ nullptr, firstNotifiee_, lastNotifiee_, visits_ };
  visits_ = &visit;
  while ( visit.next ) {
    visit.advance();
    try {
      function( context, *visit.current );
    } catch ( ... ) {
      if ( visit.current )
        handException( *visit.current, attribute );
    }
  }
  visits_ = visit.outer;
}

void Entity::add( NotifieeConst & observer ) const {
  observer.previous_ = lastNotifiee_;
  observer.next_ = nullptr;
  ( lastNotifiee_ ? lastNotifiee_->next_ : firstNotifiee_ ) = &observer;
  lastNotifiee_ = &observer;
}

void Entity::remove( NotifieeConst & observer ) const {
  for ( Visit * visit = visits_; visit; visit = visit->outer )
    visit->removed( observer );
  ( observer.previous_ ? observer.previous_->next_ : firstNotifiee_ ) = observer.next_;
  ( observer.next_ ? observer.next_->previous_ : lastNotifiee_ ) = observer.previous_;
}

NotifieeConst::~NotifieeConst() {
  notifierIs( nullptr );
}

void NotifieeConst::notifierIs( const Ptr< const Entity > & notifier ) {
  if ( notifier_ == notifier.get() ) {
    isRegisteredNotifieeIs( true );
    return;
  }
  isRegisteredNotifieeIs( false );
  notifier_ = notifier.get();
  isRegisteredNotifieeIs( true );
}

void NotifieeConst::isRegisteredNotifieeIs( bool registered ) {
  if ( !notifier_ || registered == registered_ )
    return;
  registered_ = registered;
  if ( registered )
    notifier_->add( *this );
  else
    notifier_->remove( *this );
}

void NotifieeConst::onZeroReferences() {}

void NotifieeConst::onNotificationException( const char * attribute,
                                             const std::exception_ptr & exception ) {
  reportException( attribute, exception );
}

}  // namespace Kiv
