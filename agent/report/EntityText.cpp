#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "agent/report/EntityView.h"
#include "kiv/GenericIf.h"

namespace Agent {

namespace {

using EntityPtr = Kiv::Ptr< Kiv::Entity >;

class TextWriter {
 public:
  explicit TextWriter( const PathTarget & target ) : inline_( target ) {}

  void entity( const std::string & label, Kiv::Entity & entity ) {
    line( fmt::format( "{}: {} {}", label, entity.fwkType(),
                       text( Kiv::valueToStrep( entity.name() ) ) ) );
    ++depth_;
    for ( Kiv::GenericIfAttributeIterator i( &entity ); i; i.iterInc() )
      attribute( i.attribute() );
    --depth_;
  }

  void attribute( const Kiv::AttributeBase & attribute ) {
    const std::string name( attribute.name() );
    if ( attribute.keyType() == nullptr ) {
      if ( const EntityPtr shown = inline_.entityToShow( attribute ) )
        entity( name, *shown );
      else
        line( name + " = " + text( attribute.read( {} ).strep() ) );
      return;
    }
    if ( attribute.size() == 0 )
      line( name + " (empty)" );
    for ( const Kiv::Any & key : sortedKeys( attribute ) )
      member( attribute, fmt::format( "{}[{}]", name, text( key.strep() ) ), key );
  }

  std::string take() { return std::move( text_ ); }

 private:
  // Members are shown inline, other references by name.
  void member( const Kiv::AttributeBase & attribute, const std::string & label,
               const Kiv::Any & key ) {
    const Kiv::Any value = attribute.read( key );
    if ( attribute.kind() == Kiv::AttributeKind::members )
      entity( label, *value.as< EntityPtr >() );
    else
      line( label + " = " + text( value.strep() ) );
  }

  void line( const std::string & content ) {
    fmt::format_to( std::back_inserter( text_ ), "{:{}}{}\n", "", 2 * depth_, content );
  }

  InlineSelector inline_;
  std::string text_;
  std::size_t depth_ = 0;
};

}  // namespace

std::vector< Kiv::Any > sortedKeys( const Kiv::AttributeBase & attribute ) {
  std::vector< Kiv::Any > keys;
  for ( const auto walk = attribute.walk(); !walk->atEnd(); walk->next() )
    keys.push_back( walk->key() );
  std::stable_sort( keys.begin(), keys.end() );
  return keys;
}

InlineSelector::InlineSelector( const PathTarget & target )
    : seen_{ target.root.get(), target.namedEntity().get() } {}

EntityPtr InlineSelector::entityToShow( const Kiv::AttributeBase & attribute ) {
  if ( !( attribute.valueType() == Kiv::typeOf< EntityPtr >() ) )
    return nullptr;
  const EntityPtr entity = attribute.read( {} ).as< EntityPtr >();
  const bool whole = entity && entity->parent() == nullptr && seen_.insert( entity.get() ).second;
  return whole ? entity : nullptr;
}

std::string entityText( const std::string & path, const PathTarget & target ) {
  TextWriter writer( target );
  if ( const EntityPtr entity = target.namedEntity() )
    writer.entity( path, *entity );
  else if ( target.attribute->keyType() == nullptr || !target.key.empty() )
    return text( target.attribute->read( target.key ).strep() ) + "\n";
  else
    writer.attribute( *target.attribute );
  return writer.take();
}

}  // namespace Agent
