// Paths to the library's entities and attributes.
//
//   groupManager
//   groupManager/numPipe
//   groupManager/entryManager[ipAclTcamGroup]/exhausted[0]
//
// A path starts with the name of a root. Each further name is an attribute of the preceding entity;
// a key in brackets, in its text form (kiv/Strep.h), selects a member of a collection. A path can
// continue after anything that refers to an entity.
#pragma once

#include <string>
#include <vector>

#include "kiv/Any.h"
#include "kiv/Attribute.h"
#include "kiv/Entity.h"
#include "kiv/StrepReader.h"

namespace Agent {

// Start of a path.
struct EntityRoot {
  std::string name;
  Kiv::Ptr< Kiv::Entity > entity;
};
using EntityRoots = std::vector< EntityRoot >;

// Target of a path: an entity, an attribute or a member of a collection.
struct PathTarget {
  Kiv::Ptr< Kiv::Entity > root;              // start of the path
  Kiv::Ptr< Kiv::Entity > entity;            // the target or the attribute's owner
  Kiv::AttributeBase * attribute = nullptr;  // null: the target is the entity
  Kiv::Any key;                              // empty: no member selected

  // The target entity, direct or through an attribute; null: none.
  Kiv::Ptr< Kiv::Entity > namedEntity() const;
  // Throws TypeException if the selected member does not exist.
  void requireMember() const;
};

// Consumes a path from the reader. Throws the exceptions of kiv/GenericIf.h and kiv/StrepParse.h.
PathTarget readPath( const EntityRoots & roots, Kiv::StrepReader & reader );

}  // namespace Agent
