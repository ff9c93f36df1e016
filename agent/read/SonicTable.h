// The ACL tables of a SONiC document and their rules.
#pragma once

#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "agent/read/AclDocument.h"
#include "agent/read/ListNotes.h"
#include "agent/read/SonicRule.h"

namespace Agent {

class SonicTables {
 public:
  SonicTables( const std::string & file, AclDocument & document )
      : file_( file ), document_( document ), notes_( document ) {}

  // A type that the document defines.
  void type( const std::string & name ) { types_.insert( name ); }
  void table( const std::string & name, const Platform::JsonNode & node );
  // Replaces the rule of this name.
  void rule( const std::string & table, const std::string & name, const Platform::JsonNode & node );
  void remove( const std::string & table, const std::string & name );

  // The lists, in the order in which their tables were named; rules by priority, larger first.
  void take();

 private:
  struct Table {
    std::string name;
    bool defined = false;  // the document has its type, stage and ports
    bool refused = false;
    std::optional< ListScope > scope;  // empty: inferred
    std::vector< Binding > bindings;
    std::vector< std::optional< SonicRule > > rules;    // empty: removed
    std::unordered_map< std::string, size_t > indexes;  // of rules by name
  };

  Table & named( const std::string & name );
  void readTable( const Platform::JsonNode & node, Table & table );
  std::optional< ListScope > scopeOf( const Leaf & leaf ) const;

  const std::string & file_;
  AclDocument & document_;
  ListNotes notes_;
  std::set< std::string > types_;
  std::vector< Table > tables_;
  std::map< std::string, size_t > indexes_;
};

}  // namespace Agent
