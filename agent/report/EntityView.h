// Shows the target of an entity path as text or JSON.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "agent/report/EntityPath.h"

namespace Agent {

inline std::string text( const Kiv::String8 & value ) {
  return std::string( value.view() );
}

// Ascending.
std::vector< Kiv::Any > sortedKeys( const Kiv::AttributeBase & attribute );

// Selects the entities to show inline: those in no collection, at their first reference. All other
// references are shown by name, since the entity is shown elsewhere.
class InlineSelector {
 public:
  explicit InlineSelector( const PathTarget & target );

  // The entity that a non-collection attribute refers to, if it is to be shown inline.
  Kiv::Ptr< Kiv::Entity > entityToShow( const Kiv::AttributeBase & attribute );

 private:
  std::set< const Kiv::Entity * > seen_;
};

// One line per attribute, indented below its entity, members by key. A path to a single value
// returns only its text form.
std::string entityText( const std::string & path, const PathTarget & target );

// An entity is an object with "type", "name" and "attributes", a collection an object with one
// member per key, in text form.
std::string entityJson( const PathTarget & target );
// An object with the roots by name.
std::string rootsJson( const EntityRoots & roots );

}  // namespace Agent
