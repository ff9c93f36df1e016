// What an entity path names, as text and as JSON.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "agent/EntityPath.h"

namespace Agent {

inline std::string text( const Kiv::String8 & value ) {
  return std::string( value.view() );
}

// The keys of a collection, ascending.
std::vector< Kiv::Any > sortedKeys( const Kiv::AttributeBase & attribute );

// Which references to entities are shown whole: those to entities that stand in no collection, each
// where it is met first. Others are at home elsewhere, and are shown by name.
class HomeFinder {
 public:
  explicit HomeFinder( const PathTarget & target );

  // The entity to which an attribute that is no collection refers, if it is to be shown whole.
  Kiv::Ptr< Kiv::Entity > entityToShow( const Kiv::AttributeBase & attribute );

 private:
  std::set< const Kiv::Entity * > seen_;
};

// One line for each attribute, indented below its entity; members in the order of their keys. A
// path to a single value gives the value's text form alone.
std::string entityText( const std::string & path, const PathTarget & target );

// An entity is an object of "type", "name" and "attributes"; a collection an object whose names are
// the keys' text forms.
std::string entityJson( const PathTarget & target );
// An object of the roots by their names.
std::string rootsJson( const EntityRoots & roots );

}  // namespace Agent
