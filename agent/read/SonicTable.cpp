#include "agent/read/SonicTable.h"

#include <fmt/core.h>

#include <algorithm>

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

constexpr Families withOther( Families families ) {
  return families | familyOther;
}

// What a table of the type matches; L3 tables may match the ethertype of other packets.
constexpr ListType tableTypes[] = {
    { "L3", { familyIp4, withOther( familyIp4 ), false } },
    { "L3V6", { familyIp6, withOther( familyIp6 ), false } },
    { "L3V4V6", { familyIp, withOther( familyIp ), false } },
    { "BMCDATA", { familyIp4, withOther( familyIp4 ), false } },
    { "BMCDATAV6", { familyIp6, withOther( familyIp6 ), false } },
};

std::vector< std::string > portsOf( const Leaf & leaf ) {
  std::vector< std::string > ports;
  if ( leaf.isText() ) {
    std::string_view rest = leaf.text();
    while ( !rest.empty() ) {
      const std::string_view port = rest.substr( 0, rest.find( ',' ) );
      rest.remove_prefix( std::min( port.size() + 1, rest.size() ) );
      ports.emplace_back( port );
    }
  } else {
    for ( const Leaf & element : leaf.elements() )
      ports.push_back( element.text() );
  }
  if ( ports.empty() )
    leaf.refuse( "is empty: the table is bound to no port" );
  return ports;
}

bool isEgress( const Leaf & leaf ) {
  const std::string & stage = leaf.text();
  if ( stage == "INGRESS" || stage == "ingress" )
    return false;
  if ( stage != "EGRESS" && stage != "egress" )
    leaf.fail( "INGRESS or EGRESS" );
  return true;
}

}  // namespace

SonicTables::Table & SonicTables::named( const std::string & name ) {
  const auto [ at, added ] = indexes_.emplace( name, tables_.size() );
  if ( added )
    tables_.emplace_back().name = name;
  return tables_[ at->second ];
}

std::optional< ListScope > SonicTables::scopeOf( const Leaf & leaf ) const {
  std::string known;
  for ( const ListType & type : tableTypes ) {
    if ( type.name == leaf.text() )
      return type.scope;
    known += fmt::format( "{}, ", type.name );
  }
  if ( leaf.text().starts_with( "MIRROR" ) )
    leaf.refuse( "is of a mirroring table, which needs a session" );
  if ( leaf.text() == "CTRLPLANE" )
    leaf.refuse( "is of a table for services of the control plane" );
  if ( !types_.contains( leaf.text() ) )
    leaf.fail( fmt::format( "one of {}or a type of ACL_TABLE_TYPE", known ) );
  return std::nullopt;
}

void SonicTables::readTable( const JsonNode & node, Table & table ) {
  JsonFields fields( file_, node, "a table" );
  table.defined = true;
  table.scope = scopeOf( needLeaf( fields, "type" ) );
  fields.text( "policy_desc", "" );
  const auto stage = findLeaf( fields, "stage" );
  const bool egress = stage && isEgress( *stage );
  auto ports = findLeaf( fields, "ports" );
  if ( !ports )
    if ( const JsonNode * list = fields.find( "ports@" ) )
      ports.emplace( file_, "ports@", *list );
  table.bindings.clear();
  if ( ports )
    table.bindings.push_back(
        { portsOf( *ports ), egress, ports->node().line, ports->node().column } );
  else if ( egress )
    table.bindings.push_back( { {}, true, node.line, node.column } );
  fields.finish();
}

void SonicTables::table( const std::string & name, const JsonNode & node ) {
  Table & table = named( name );
  table.refused = !document_.refusals.guard( name, "", [ & ] { readTable( node, table ); } );
}

void SonicTables::remove( const std::string & table, const std::string & name ) {
  Table & owner = named( table );
  const auto found = owner.indexes.find( name );
  if ( found == owner.indexes.end() )
    return;
  owner.rules[ found->second ].reset();
  owner.indexes.erase( found );
}

void SonicTables::rule( const std::string & tableName, const std::string & name,
                        const JsonNode & node ) {
  Table & table = named( tableName );
  remove( tableName, name );
  document_.refusals.guard( tableName, name, [ & ] {
    SonicRule rule = readSonicRule( file_, name, node );
    document_.requireRoom( tableName, table.indexes.size() / DraftList::kinds, node.place() );
    table.rules.push_back( std::move( rule ) );
    table.indexes.emplace( name, table.rules.size() - 1 );
  } );
}

void SonicTables::take() {
  for ( Table & table : tables_ ) {
    if ( table.refused )
      continue;
    if ( !table.defined )
      notes_.add( "the families of tables that the file does not define follow from their rules" );
    Acl head;
    head.name = table.name;
    head.file = file_;
    head.bindings = table.bindings;
    DraftList rules( document_, head, table.scope );
    for ( std::optional< SonicRule > & rule : table.rules )
      if ( rule )
        document_.refusals.guard( table.name, std::string( rule->draft.rule.name ), [ & ] {
          rules.add( std::move( rule->draft ), priorityMax - rule->priority );
        } );
    rules.take();
  }
}

}  // namespace Agent
