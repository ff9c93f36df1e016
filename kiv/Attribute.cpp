#include "kiv/Attribute.h"

namespace Kiv {

AttributeBase::AttributeBase( Entity * owner, const char * name ) : AttributeBase( name ) {
  owner->attributeIs( *this );
}

AttributeBase::~AttributeBase() = default;
KeyWalk::~KeyWalk() = default;

void AttributeBase::throwNameInUse( const String8 & newText, const String8 & savedText ) const {
  throw NameInUseException( String8( "Reinstantiating the entity with name " ) +
                            owner().name().value() + " where constructor parameter attribute _" +
                            name_ + " has a different value of " + newText +
                            " than the current value of " + savedText + " not allowed" );
}

NameAttribute::NameAttribute( Entity * owner, const Name & value )
    : AttributeBase( "name" ), value_( value ) {
  owner->saveConstructParams( *this );
}

const Type & NameAttribute::valueType() const {
  return typeOf< Name >();
}

Any NameAttribute::read( const Any & key ) const {
  requireNoKey( key );
  return Any( value_ );
}

// --- Generic access ----------------------------------------------------------------------------

const Type * AttributeBase::keyType() const {
  return nullptr;
}

bool AttributeBase::has( const Any & key ) const {
  requireNoKey( key );
  return true;
}

void AttributeBase::write( const Any &, const Any & ) {
  throwNotSupported( "write" );
}

Any AttributeBase::insert( const Any & ) {
  throwNotSupported( "insert" );
}

bool AttributeBase::del( const Any & ) {
  throwNotSupported( "delete" );
}

std::unique_ptr< KeyWalk > AttributeBase::walk() const {
  return nullptr;
}

String8 AttributeBase::text() const {
  return String8( "attribute " ) + name_;
}

String8 AttributeBase::keyText() const {
  return String8( "the key of attribute " ) + name_;
}

void AttributeBase::throwNotSupported( const char * operation ) const {
  throw NoImplementationException( text() + " of " + owner().fwkType() + " does not support " +
                                   operation );
}

void AttributeBase::requireNoKey( const Any & key ) const {
  if ( !key.empty() )
    throw TypeException( text() + " has no keys" );
}

void AttributeBase::requireHashable( const Any & key ) const {
  if ( !key.empty() && !key.type().hashable() )
    throwUnhashable( key.typeName() );
}

}  // namespace Kiv
