#include "agent/EntityPath.h"

#include "kiv/GenericIf.h"

namespace Agent {

Kiv::Ptr< Kiv::Entity > PathTarget::namedEntity() const {
  using EntityPtr = Kiv::Ptr< Kiv::Entity >;
  if ( attribute == nullptr )
    return entity;
  const bool picked = attribute->keyType() == nullptr || !key.empty();
  if ( !picked || !( attribute->valueType() == Kiv::typeOf< EntityPtr >() ) )
    return nullptr;
  return attribute->read( key ).as< EntityPtr >();
}

void PathTarget::requireMember() const {
  if ( attribute != nullptr && !key.empty() && !attribute->has( key ) )
    throw Kiv::TypeException( Kiv::String8( attribute->name() ) + " has no member " + key.strep() );
}

PathTarget readPath( const std::string & rootName, const Kiv::Ptr< Kiv::Entity > & root,
                     Kiv::StrepReader & reader ) {
  const Kiv::StrepReader start = reader;
  if ( reader.word() != rootName )
    start.fail( rootName );
  PathTarget target{ root, root, nullptr, {} };
  while ( reader.accept( "/" ) ) {
    target.requireMember();
    target.entity = target.namedEntity();
    if ( !target.entity )
      throw Kiv::TypeException( Kiv::String8( target.attribute->name() ) +
                                " is no entity with attributes" );
    target.attribute = &Kiv::GenericIf( target.entity ).attribute( reader.word() );
    target.key = Kiv::Any();
    if ( reader.accept( "[" ) ) {
      if ( target.attribute->keyType() == nullptr )
        throw Kiv::TypeException( Kiv::String8( target.attribute->name() ) + " has no members" );
      target.key = target.attribute->keyType()->read( reader );
      reader.expect( "]" );
    }
  }
  return target;
}

}  // namespace Agent
