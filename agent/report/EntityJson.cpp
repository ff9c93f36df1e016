#include <nlohmann/json.hpp>

#include "agent/report/EntityView.h"
#include "agent/text/JsonText.h"
#include "kiv/GenericIf.h"

namespace Agent {

namespace {

using Json = nlohmann::ordered_json;
using EntityPtr = Kiv::Ptr< Kiv::Entity >;

Json partJson( const Kiv::AnyPart & part );

Json recordJson( const Kiv::Any & value ) {
  Json object = Json::object();
  for ( const Kiv::AnyPart & part : value.parts() )
    object[ part.name ] = partJson( part );
  return object;
}

// References to entities are shown by name.
Json valueJson( const Kiv::Any & value ) {
  switch ( value.type().kind() ) {
    case Kiv::AnyKind::integer:
      return Json::parse( text( value.strep() ) );
    case Kiv::AnyKind::boolean:
      return value.as< bool >();
    case Kiv::AnyKind::text:
      return text( value.is< Kiv::Name >() ? value.as< Kiv::Name >().value()
                                           : value.as< Kiv::String8 >() );
    case Kiv::AnyKind::enumeration:
      return text( value.strep() );
    case Kiv::AnyKind::record:
      return recordJson( value );
    case Kiv::AnyKind::entity:
      break;
  }
  const EntityPtr & entity = value.as< EntityPtr >();
  return entity ? Json( text( entity->name().value() ) ) : Json();
}

Json partJson( const Kiv::AnyPart & part ) {
  if ( !part.value.empty() )
    return valueJson( part.value );
  Json list = Json::array();
  for ( const Kiv::AnyPart & element : part.elements )
    list.push_back( partJson( element ) );
  return list;
}

class TreeWriter {
 public:
  explicit TreeWriter( const PathTarget & target ) : inline_( target ) {}

  Json entity( Kiv::Entity & entity ) {
    Json attributes = Json::object();
    for ( Kiv::GenericIfAttributeIterator i( &entity ); i; i.iterInc() )
      attributes[ std::string( i.attribute().name() ) ] = attribute( i.attribute() );
    return { { "type", entity.fwkType() },
             { "name", text( entity.name().value() ) },
             { "attributes", std::move( attributes ) } };
  }

  Json attribute( const Kiv::AttributeBase & attribute ) {
    if ( attribute.keyType() == nullptr ) {
      const EntityPtr shown = inline_.entityToShow( attribute );
      return shown ? entity( *shown ) : valueJson( attribute.read( {} ) );
    }
    Json members = Json::object();
    for ( const Kiv::Any & key : sortedKeys( attribute ) ) {
      const Kiv::Any value = attribute.read( key );
      members[ text( key.strep() ) ] = attribute.kind() == Kiv::AttributeKind::members
                                           ? entity( *value.as< EntityPtr >() )
                                           : valueJson( value );
    }
    return members;
  }

 private:
  InlineSelector inline_;
};

Json targetJson( const PathTarget & target ) {
  TreeWriter writer( target );
  if ( const EntityPtr entity = target.namedEntity() )
    return writer.entity( *entity );
  if ( target.key.empty() )
    return writer.attribute( *target.attribute );
  return valueJson( target.attribute->read( target.key ) );
}

}  // namespace

std::string entityJson( const PathTarget & target ) {
  return jsonText( targetJson( target ) );
}

std::string rootsJson( const EntityRoots & roots ) {
  Json all = Json::object();
  for ( const EntityRoot & root : roots )
    all[ root.name ] =
        TreeWriter( { root.entity, root.entity, nullptr, {} } ).entity( *root.entity );
  return jsonText( all );
}

}  // namespace Agent
