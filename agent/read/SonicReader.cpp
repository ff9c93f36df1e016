#include "agent/read/SonicReader.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>

#include "agent/read/ListNotes.h"
#include "agent/read/SonicLoader.h"
#include "agent/read/SonicRule.h"
#include "agent/read/SonicTable.h"

namespace Agent {

namespace {

using Platform::JsonMember;
using Platform::JsonNode;

const JsonNode * memberOf( const JsonNode & node, std::string_view key ) {
  for ( const auto & [ name, value ] : node.members )
    if ( name == key )
      return &value;
  return nullptr;
}

// Of a table of the database; empty if it has none of this name.
const std::vector< JsonMember > & membersOf( const AclSource & source, std::string_view key ) {
  static const std::vector< JsonMember > none;
  const JsonNode * node = memberOf( *source.root, key );
  if ( node == nullptr )
    return none;
  if ( node->kind != JsonNode::Kind::object )
    Leaf( source.file, key, *node ).fail( "an object" );
  return node->members;
}

// Splits "TABLE|RULE".
std::pair< std::string, std::string > splitKey( const std::string & key, char separator ) {
  const size_t at = key.find( separator );
  if ( at == key.npos )
    return { key, "" };
  return { key.substr( 0, at ), key.substr( at + 1 ) };
}

constexpr std::string_view arrayRule = "ACL_RULE_TABLE:";
constexpr std::string_view arrayTable = "ACL_TABLE_TABLE:";

// One operation: { "TABLE:KEY": { .. }, "OP": "SET" }.
void readOperation( const Leaf & element, SonicTables & tables ) {
  const JsonNode & node = element.node();
  const JsonNode * operation = memberOf( node, "OP" );
  if ( operation == nullptr || node.members.size() != 2 )
    element.fail( "an object with a key of a table and \"OP\"" );
  const Leaf op( element.file(), "OP", *operation );
  if ( op.text() != "SET" && op.text() != "DEL" )
    op.fail( "SET or DEL" );
  const auto & [ name, value ] = node.members[ node.members[ 0 ].name == "OP" ? 1 : 0 ];
  const Leaf leaf( element.file(), name, value );
  if ( name.starts_with( arrayTable ) ) {
    if ( op.text() == "DEL" )
      leaf.refuse( "is deleted: tables can only be set" );
    return tables.table( name.substr( arrayTable.size() ), value );
  }
  if ( !name.starts_with( arrayRule ) )
    leaf.refuse( "is not a key of ACL_RULE_TABLE or ACL_TABLE_TABLE" );
  const auto [ table, rule ] = splitKey( name.substr( arrayRule.size() ), ':' );
  if ( rule.empty() )
    leaf.refuse( "must be ACL_RULE_TABLE:TABLE:RULE" );
  if ( op.text() == "DEL" )
    tables.remove( table, rule );
  else
    tables.rule( table, rule, value );
}

bool isConfig( const AclSource & source ) {
  return memberOf( *source.root, "ACL_RULE" ) != nullptr ||
         memberOf( *source.root, "ACL_TABLE" ) != nullptr;
}

void readRules( const Leaf & rules, SonicTables & tables, AclDocument & document ) {
  for ( Platform::JsonRows rows = rules.namedRows(); rows.next(); ) {
    const auto & [ key, value ] = rows.row();
    document.progress.at( rows.position() );
    const auto [ table, rule ] = splitKey( key, '|' );
    if ( rule.empty() )
      document.refusals.add( value.place(), key, "", "the key of a rule must be TABLE|RULE" );
    else
      tables.rule( table, rule, value );
  }
}

// Other tables of the database are not about access lists.
void readConfig( const AclSource & source, AclDocument & document ) {
  SonicTables tables( source.file, document );
  for ( const auto & [ name, value ] : source.root->members )
    if ( name.starts_with( "ACL_" ) && name != "ACL_TABLE" && name != "ACL_RULE" &&
         name != "ACL_TABLE_TYPE" )
      Leaf( source.file, name, value )
          .refuse( "is an unknown table; there are ACL_RULE, ACL_TABLE, ACL_TABLE_TYPE" );
  for ( const auto & [ name, value ] : membersOf( source, "ACL_TABLE_TYPE" ) )
    tables.type( name );
  for ( const auto & [ name, value ] : membersOf( source, "ACL_TABLE" ) )
    tables.table( name, value );
  if ( const JsonNode * rules = memberOf( *source.root, "ACL_RULE" ) )
    readRules( Leaf( source.file, "ACL_RULE", *rules ), tables, document );
  tables.take();
}

bool isArray( const AclSource & source ) {
  const auto & elements = source.root->elements;
  return !elements.empty() && memberOf( elements.front(), "OP" ) != nullptr;
}

void readArray( const AclSource & source, AclDocument & document ) {
  SonicTables tables( source.file, document );
  const auto elements = Leaf( source.file, "the document", *source.root ).elements();
  for ( size_t i = 0; i < elements.size(); ++i )
    document.refusals.guard( fmt::format( "element {}", i ), "",
                             [ & ] { readOperation( elements[ i ], tables ); } );
  tables.take();
}

}  // namespace

bool isSonic( const AclSource & source ) {
  return isConfig( source ) || isSonicLoader( source ) || isArray( source );
}

void readSonic( const AclSource & source, AclDocument & document ) {
  if ( isConfig( source ) )
    readConfig( source, document );
  else if ( isSonicLoader( source ) )
    readSonicLoader( source, document );
  else if ( isArray( source ) )
    readArray( source, document );
  else
    throw Platform::InputError( source.file, source.root->place(),
                                "this is neither CONFIG_DB nor a form of acl-loader" );
}

}  // namespace Agent
