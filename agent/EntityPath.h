// Paths to the library's entities and attributes, as people write them.
//
//   groupManager
//   groupManager/numPipe
//   groupManager/entryManager[ipAclTcamGroup]/exhausted[0]
//
// A path begins with the name of a root. Each further name is an attribute of the entity before
// it; a key in brackets, in its text form (kiv/Strep.h), picks one member of a collection. What
// holds an entity can be followed by a further name.
#pragma once

#include <string>
#include <vector>

#include "kiv/Any.h"
#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/StrepReader.h"

namespace Agent {

// Where paths begin.
struct EntityRoot {
  std::string name;
  Kiv::Ptr< Kiv::Entity > entity;
};
using EntityRoots = std::vector< EntityRoot >;

// What a path names: an entity, one of its attributes, or one member of a collection.
struct PathTarget {
  Kiv::Ptr< Kiv::Entity > root;              // where the path begins
  Kiv::Ptr< Kiv::Entity > entity;            // the attribute's owner, or the entity itself
  Kiv::AttributeBase * attribute = nullptr;  // null: the entity
  Kiv::Any key;                              // empty: no member is picked

  // The entity that the path names, whichever way; null when it names none.
  Kiv::Ptr< Kiv::Entity > namedEntity() const;
  // Throws TypeException when a member is picked that is not there.
  void requireMember() const;
};

// Reads a path from where the reader stands, and leaves the reader behind it. Throws the exceptions
// of kiv/GenericIf.h and kiv/StrepParse.h.
PathTarget readPath( const EntityRoots & roots, Kiv::StrepReader & reader );

}  // namespace Agent
