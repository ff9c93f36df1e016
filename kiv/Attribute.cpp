#include "kiv/Attribute.h"

namespace Kiv {

AttributeBase::AttributeBase( Entity * owner, const char * name ) : name_( name ), owner_( owner ) {
  ( owner->lastAttribute_ ? owner->lastAttribute_->next_ : owner->firstAttribute_ ) = this;
  owner->lastAttribute_ = this;
}

AttributeBase::~AttributeBase() = default;

void AttributeBase::throwNameInUse( const String8 & newText, const String8 & savedText ) const {
  throw NameInUseException( String8( "Reinstantiating the entity with name " ) +
                            owner_->name().value() + " where constructor parameter attribute _" +
                            name_ + " has a different value of " + newText +
                            " than the current value of " + savedText + " not allowed" );
}

}  // namespace Kiv
