#include "kiv/GenericIf.h"

#include "kiv/Format.h"

namespace Kiv {
namespace {

[[noreturn]] void throwUnknown( const Entity & entity, const char * what, std::string_view name ) {
  throw NoImplementationException( String8( entity.fwkType() ) + " has no " + what + " " + name );
}

}  // namespace

// --- Operations --------------------------------------------------------------------------------

const Operation * OperationTable::find( std::string_view name ) const {
  for ( const OperationTable * table = this; table; table = table->base ) {
    for ( const Operation & operation : table->own )
      if ( name == operation.name )
        return &operation;
  }
  return nullptr;
}

String8 parameterText( const Operation & operation, std::size_t index ) {
  return format( "parameter %u of %s", static_cast< U32 >( index ) + 1, operation.name );
}

void requireArguments( const Operation & operation, std::size_t given ) {
  if ( given != operation.parameters )
    throw TypeException( format( "%s takes %u arguments, not %u", operation.name,
                                 operation.parameters, static_cast< U32 >( given ) ) );
}

// --- Attributes --------------------------------------------------------------------------------

AttributeBase & GenericIfAttributeIterator::attribute() const {
  if ( !attribute_ )
    throw RangeException( "out-of-range collection access" );
  return *attribute_;
}

GenericIfKeyIterator::GenericIfKeyIterator( AttributeBase & attribute )
    : entity_( &attribute.owner() ), attribute_( &attribute ), walk_( attribute.walk() ) {
  if ( !walk_ )
    throw NoImplementationException( String8( "attribute " ) + attribute.name() +
                                     " has no keys to walk" );
}

AttributeBase & GenericIf::attribute( std::string_view name ) const {
  AttributeBase * attribute = entity_->attribute( name );
  if ( !attribute )
    throwUnknown( *entity_, "attribute", name );
  return *attribute;
}

GenericIfKeyIterator GenericIf::genericIfAttributeIteratorKey( std::string_view name ) const {
  return GenericIfKeyIterator( attribute( name ) );
}

Any GenericIf::genericIfAttributeOp( std::string_view name, AttributeOp op, const Any & key,
                                     const Any & value ) const {
  AttributeBase & target = attribute( name );
  if ( op != AttributeOp::write && !value.empty() )
    throw TypeException( String8( "only a write of attribute " ) + name + " takes a value" );
  switch ( op ) {
    case AttributeOp::read:
      return target.read( key );
    case AttributeOp::write:
      target.write( key, value );
      return Any();
    case AttributeOp::insert:
      return target.insert( key );
    case AttributeOp::del:
      return Any( target.del( key ) );
  }
  throw NoImplementationException( "no such operation on attributes" );
}

Any GenericIf::genericIfOperation( std::string_view name, std::span< const Any > arguments ) const {
  const Operation * operation = entity_->operationTable().find( name );
  if ( !operation )
    throwUnknown( *entity_, "published function", name );
  return operation->call( *operation, *entity_, arguments );
}

}  // namespace Kiv
