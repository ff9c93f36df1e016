#include "agent/read/OpenConfigReader.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <set>
#include <unordered_set>

#include "agent/read/DraftRule.h"
#include "agent/read/ListNotes.h"
#include "agent/read/OpenConfigMatches.h"
#include "agent/read/OpenConfigSets.h"

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

using ListKey = std::pair< std::string, std::string >;  // name and type

constexpr ListType openConfigTypes[] = {
    { "ACL_IPV4", { familyIp4, familyIp4, false } },
    { "ACL_IPV6", { familyIp6, familyIp6, false } },
    { "ACL_L2", { familyOther, familyAll, true } },
    { "ACL_MIXED", { familyIp, familyAll, false } },
};

class OpenConfigReader {
 public:
  OpenConfigReader( const AclSource & source, AclDocument & document )
      : file_( source.file ), document_( document ), notes_( document ) {}

  void readRoot( const JsonNode & root );

 private:
  struct NumberedRule {
    U32 sequence;
    DraftRule draft;
  };

  // Empty where the parent has none; its description is read.
  std::optional< JsonFields > configOf( JsonFields & parent ) const {
    const JsonNode * node = parent.find( "config" );
    if ( node == nullptr )
      return std::nullopt;
    JsonFields config = fieldsOf( *node, "\"config\"" );
    config.text( "description", "" );
    return config;
  }
  JsonFields fieldsOf( const JsonNode & node, const std::string & what ) const {
    return openConfigFields( file_, node, what );
  }
  std::optional< Leaf > keyLeaf( JsonFields & fields, JsonFields * config, const char * key ) const;
  void readAcl( const JsonNode & node );
  void readSet( const JsonNode & node );
  void readList( JsonFields & set, const ListKey & key, ListScope scope );
  void readEntries( const Leaf & entries, const std::string & list, ListBuilder & rules );
  NumberedRule readEntry( const JsonNode & node, const std::string & name );
  void readActions( const JsonNode & node, DraftRule & draft );
  void readInterfaces( const JsonNode & node );
  void readInterface( const JsonNode & node );
  void bind( JsonFields & interface, const Leaf & port, bool egress );
  void checkBindings();

  const std::string & file_;
  AclDocument & document_;
  ListNotes notes_;
  OpenConfigSets sets_;
  std::vector< const JsonNode * > lists_;  // "acl-set"
  std::set< ListKey > keys_;
  std::map< ListKey, std::vector< Binding > > bindings_;
};

// Both must agree where both are there.
std::optional< Leaf > OpenConfigReader::keyLeaf( JsonFields & fields, JsonFields * config,
                                                 const char * key ) const {
  const auto outer = findLeaf( fields, key );
  const auto inner = config == nullptr ? std::nullopt : findLeaf( *config, key );
  if ( !outer || !inner )
    return inner ? inner : outer;
  const std::string value = Platform::jsonShown( inner->node() );
  const std::string expected = Platform::jsonShown( outer->node() );
  if ( value != expected )
    inner->refuse( fmt::format( "must be that of its list, {}, not {}", expected, value ) );
  return inner;
}

void OpenConfigReader::readActions( const JsonNode & node, DraftRule & draft ) {
  JsonFields actions = fieldsOf( node, "\"actions\"" );
  actions.find( "state" );
  JsonFields config = fieldsOf( actions.need( "config" ), "\"actions\"" );
  const Leaf forwarding = needLeaf( config, "forwarding-action" );
  const std::string_view name = forwarding.identity();
  if ( name != "ACCEPT" && name != "DROP" && name != "REJECT" )
    forwarding.fail( "ACCEPT, DROP or REJECT" );
  draft.rule.forwarding = name == "ACCEPT" ? Forwarding::permit : Forwarding::drop;
  if ( name == "REJECT" )
    notes_.reject();
  if ( const auto log = findLeaf( config, "log-action" ) ) {
    if ( log->identity() != "LOG_NONE" && log->identity() != "LOG_SYSLOG" )
      log->fail( "LOG_SYSLOG or LOG_NONE" );
    if ( log->identity() == "LOG_SYSLOG" )
      notes_.logging();
  }
  config.finish();
  actions.finish();
}

OpenConfigReader::NumberedRule OpenConfigReader::readEntry( const JsonNode & node,
                                                            const std::string & name ) {
  DraftRule draft( file_, name, node.place() );
  JsonFields entry = fieldsOf( node, "an entry" );
  entry.find( "state" );
  std::optional< JsonFields > config = configOf( entry );
  const auto sequence = keyLeaf( entry, config ? &*config : nullptr, "sequence-id" );
  if ( !sequence )
    entry.fail( entry.place(), "an entry has no \"sequence-id\"" );
  const U32 number = sequence->number( 0, 0xFFFFFFFF );
  if ( config )
    config->finish();
  readActions( entry.need( "actions" ), draft );
  readOpenConfigMatches( entry, sets_, draft );
  if ( draft.rule.fragments != Fragments::any )
    notes_.add( "FRAGMENT matches the first and the later fragments" );
  draft.complete();
  return { number, draft };
}

// The number of an entry for messages, before it is read.
std::string entryName( const JsonNode & node, size_t index ) {
  for ( const auto & [ key, value ] : node.members )
    if ( key == "sequence-id" )
      return "entry " +
             ( value.kind == JsonNode::Kind::string ? value.string : Platform::jsonShown( value ) );
  for ( const auto & [ key, value ] : node.members )
    if ( key == "config" && value.kind == JsonNode::Kind::object )
      return entryName( value, index );
  return fmt::format( "entry at index {}", index );
}

void OpenConfigReader::readEntries( const Leaf & entries, const std::string & list,
                                    ListBuilder & rules ) {
  std::unordered_set< U32 > numbers;
  size_t index = 0;
  for ( Platform::JsonRows rows = entries.rows(); rows.next(); ) {
    const JsonNode & node = rows.row().value;
    document_.progress.at( rows.position() );
    const std::string name = entryName( node, index++ );
    document_.refusals.guard( list, name, [ & ] {
      const NumberedRule rule = readEntry( node, name );
      if ( !numbers.insert( rule.sequence ).second )
        Leaf( file_, "acl-entry", node ).refuse( "has the sequence-id of another one" );
      rules.add( rule.draft, rule.sequence );
    } );
  }
}

void OpenConfigReader::readList( JsonFields & set, const ListKey & key, ListScope scope ) {
  Acl head;
  head.name = key.first;
  head.file = file_;
  if ( const auto bound = bindings_.find( key ); bound != bindings_.end() )
    head.bindings = bound->second;
  ListBuilder rules( document_, head, scope );
  if ( const JsonNode * entries = set.find( "acl-entries" ) ) {
    JsonFields list = fieldsOf( *entries, "\"acl-entries\"" );
    const Leaf entry = needLeaf( list, "acl-entry" );
    list.finish();
    readEntries( entry, key.first, rules );
  }
  set.finish();
  rules.take( document_.lists );
}

ListScope scopeOf( const Leaf & leaf ) {
  std::string known;
  for ( const ListType & type : openConfigTypes ) {
    if ( type.name == leaf.identity() )
      return type.scope;
    known += fmt::format( "{}{}", known.empty() ? "" : ", ", type.name );
  }
  leaf.fail( fmt::format( "one of {}", known ) );
}

std::string listName( const JsonNode & node, size_t index ) {
  for ( const auto & [ key, value ] : node.members )
    if ( key == "name" && value.kind == JsonNode::Kind::string )
      return value.string;
  return fmt::format( "list {}", index );
}

void OpenConfigReader::readSet( const JsonNode & node ) {
  document_.refusals.guard(
      listName( node, keys_.size() + 1 ), "",
      [ & ] {
        JsonFields set = fieldsOf( node, "an acl-set" );
        set.find( "state" );
        std::optional< JsonFields > config = configOf( set );
        JsonFields * inner = config ? &*config : nullptr;
        const auto name = keyLeaf( set, inner, "name" );
        const auto type = keyLeaf( set, inner, "type" );
        if ( !name || !type )
          set.fail( set.place(),
                    fmt::format( "an acl-set has no \"{}\"", name ? "type" : "name" ) );
        if ( config )
          config->finish();
        const ListKey key = { name->text(), std::string( type->identity() ) };
        if ( !keys_.insert( key ).second )
          name->refuse( "is the name of another list of this type" );
        readList( set, key, scopeOf( *type ) );
      } );
}

// A direction of an interface: { "KIND-acl-sets": { "KIND-acl-set": [ { "set-name", "type" } ] } }.
void OpenConfigReader::bind( JsonFields & interface, const Leaf & port, bool egress ) {
  const std::string kind = egress ? "egress" : "ingress";
  const auto container = findLeaf( interface, ( kind + "-acl-sets" ).c_str() );
  if ( !container )
    return;
  JsonFields sets = fieldsOf( container->node(), kind + "-acl-sets" );
  for ( const Leaf & element : needLeaf( sets, ( kind + "-acl-set" ).c_str() ).elements() ) {
    JsonFields set = fieldsOf( element.node(), kind + "-acl-set" );
    set.find( "state" );
    set.find( "acl-entries" );  // state
    std::optional< JsonFields > config;
    if ( const JsonNode * inner = set.find( "config" ) )
      config.emplace( fieldsOf( *inner, "\"config\"" ) );
    JsonFields * inner = config ? &*config : nullptr;
    const auto name = keyLeaf( set, inner, "set-name" );
    const auto type = keyLeaf( set, inner, "type" );
    if ( !name || !type )
      set.fail( set.place(), "an interface needs \"set-name\" and \"type\" of a list" );
    if ( config )
      config->finish();
    set.finish();
    bindings_[ { name->text(), std::string( type->identity() ) } ].push_back(
        { { port.text() }, egress, name->node().line, name->node().column } );
  }
  sets.finish();
}

void OpenConfigReader::readInterface( const JsonNode & node ) {
  JsonFields interface = fieldsOf( node, "an interface" );
  interface.find( "state" );
  std::optional< JsonFields > config;
  if ( const JsonNode * inner = interface.find( "config" ) )
    config.emplace( fieldsOf( *inner, "\"config\"" ) );
  const auto id = keyLeaf( interface, config ? &*config : nullptr, "id" );
  if ( !id )
    interface.fail( interface.place(), "an interface has no \"id\"" );
  const Leaf & port = *id;
  port.text();
  if ( config )
    config->finish();
  std::optional< Leaf > named;
  if ( const JsonNode * reference = interface.find( "interface-ref" ) ) {
    JsonFields fields = fieldsOf( *reference, "\"interface-ref\"" );
    fields.find( "state" );
    JsonFields inner = fieldsOf( fields.need( "config" ), "\"interface-ref\"" );
    named.emplace( needLeaf( inner, "interface" ) );
    if ( const auto subinterface = findLeaf( inner, "subinterface" ) )
      if ( subinterface->number( 0, 0xFFFFFFFF ) != 0 )
        subinterface->refuse( "is not 0: lists are bound to ports" );
    inner.finish();
    fields.finish();
  }
  bind( interface, named ? *named : port, false );
  bind( interface, named ? *named : port, true );
  interface.finish();
}

void OpenConfigReader::readInterfaces( const JsonNode & node ) {
  JsonFields interfaces = fieldsOf( node, "\"interfaces\"" );
  for ( const Leaf & interface : needLeaf( interfaces, "interface" ).elements() )
    readInterface( interface.node() );
  interfaces.finish();
}

void OpenConfigReader::checkBindings() {
  for ( const auto & [ key, bindings ] : bindings_ )
    if ( !keys_.contains( key ) )
      document_.refusals.add( { bindings.front().line, bindings.front().column }, key.first, "",
                              "an interface names a list that the file does not have" );
}

// The container "acl", or an object that has its members.
void OpenConfigReader::readAcl( const JsonNode & node ) {
  JsonFields acl = fieldsOf( node, "the document" );
  acl.find( "state" );
  if ( const JsonNode * config = acl.find( "config" ) )
    fieldsOf( *config, "\"config\"" ).finish();  // it has no leaves
  if ( const JsonNode * sets = acl.find( "defined-sets" ) )
    sets_.read( file_, *sets );
  if ( const JsonNode * interfaces = acl.find( "interfaces" ) )
    readInterfaces( *interfaces );
  if ( const JsonNode * inner = acl.find( "acl" ) )
    readAcl( *inner );
  if ( const JsonNode * sets = acl.find( "acl-sets" ) ) {
    JsonFields container = fieldsOf( *sets, "\"acl-sets\"" );
    lists_.push_back( &container.need( "acl-set" ) );
    container.finish();
  }
  if ( const JsonNode * list = acl.find( "acl-set" ) )
    lists_.push_back( list );
  acl.finish();
}

void OpenConfigReader::readRoot( const JsonNode & root ) {
  if ( root.kind == JsonNode::Kind::array )
    lists_.push_back( &root );
  else
    readAcl( root );
  // Sets and interfaces may stand after the lists that use them.
  for ( const JsonNode * list : lists_ )
    for ( const Leaf & set : Leaf( file_, "acl-set", *list ).elements() )
      readSet( set.node() );
  checkBindings();
}

const JsonNode * memberOf( const JsonNode & node, std::string_view key ) {
  for ( const auto & [ name, value ] : node.members )
    if ( name == key || name == "openconfig-acl:" + std::string( key ) )
      return &value;
  return nullptr;
}

bool hasList( const JsonNode * sets ) {
  const JsonNode * list = sets == nullptr ? nullptr : memberOf( *sets, "acl-set" );
  return list != nullptr && list->kind == JsonNode::Kind::array;
}

}  // namespace

// The lists are arrays; another format has objects under the same names.
bool isOpenConfig( const AclSource & source ) {
  const JsonNode & root = *source.root;
  if ( root.kind == JsonNode::Kind::array )
    return !root.elements.empty() && memberOf( root.elements.front(), "acl-entries" ) != nullptr;
  const JsonNode * acl = memberOf( root, "acl" );
  return hasList( &root ) || hasList( memberOf( root, "acl-sets" ) ) ||
         ( acl != nullptr && hasList( memberOf( *acl, "acl-sets" ) ) );
}

void readOpenConfig( const AclSource & source, AclDocument & document ) {
  OpenConfigReader( source, document ).readRoot( *source.root );
}

}  // namespace Agent
