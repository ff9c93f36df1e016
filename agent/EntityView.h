// What an entity path names, as text and as JSON.
#pragma once

#include <string>
#include <vector>

#include "agent/EntityPath.h"

namespace Agent {

// The keys of a collection, ascending.
std::vector< Kiv::Any > sortedKeys( const Kiv::AttributeBase & attribute );

// One line for each attribute, indented below its entity; members in the order of their keys. A
// path to a single value gives the value's text form alone.
std::string entityText( const std::string & path, const PathTarget & target );

// An entity is an object of "type", "name" and "attributes"; a collection an object whose names are
// the keys' text forms.
std::string entityJson( const PathTarget & target );

}  // namespace Agent
