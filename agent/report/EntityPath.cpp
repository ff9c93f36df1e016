#include "agent/report/EntityPath.h"

#include <fmt/format.h>

#include <algorithm>

#include "kiv/GenericIf.h"

namespace Agent {

namespace {

const EntityRoot & readRoot( const EntityRoots & roots, Kiv::StrepReader & reader ) {
  const Kiv::StrepReader start = reader;
  const std::string_view name = reader.word();
  const auto root = std::find_if( roots.begin(), roots.end(),
                                  [ & ]( const EntityRoot & r ) { return r.name == name; } );
  if ( root != roots.end() )
    return *root;
  std::string names;
  for ( const EntityRoot & known : roots )
    names += ( names.empty() ? "" : " or " ) + known.name;
  start.fail( names );
}

}  // namespace

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

PathTarget readPath( const EntityRoots & roots, Kiv::StrepReader & reader ) {
  const Kiv::Ptr< Kiv::Entity > root = readRoot( roots, reader ).entity;
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
