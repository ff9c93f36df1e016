#include "agent/read/SonicLoader.h"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <unordered_set>

#include "agent/read/DraftRule.h"
#include "agent/read/ListNotes.h"
#include "agent/read/SonicRule.h"

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonMember;
using Platform::JsonNode;

constexpr U32 sequenceMax = 999999;

struct LoaderRule {
  U32 sequence = 0;
  DraftRule draft;
};

// As the loader writes it to the database.
std::string tableName( std::string name ) {
  for ( char & c : name )
    c = c == '-' || c == ' ' ? '_' : static_cast< char >( std::toupper( U8( c ) ) );
  return name;
}

// Calls `read` with the "config" of a container, if the parent has it.
template < class F >
void inConfig( JsonFields & parent, const char * name, F && read ) {
  const auto leaf = findLeaf( parent, name );
  if ( !leaf )
    return;
  JsonFields container( parent.file(), leaf->node(), fmt::format( "\"{}\"", name ) );
  container.find( "state" );
  JsonFields config( parent.file(), container.need( "config" ), fmt::format( "\"{}\"", name ) );
  read( config );
  config.finish();
  container.finish();
}

void readL2( JsonFields & config, DraftRule & draft ) {
  if ( const auto leaf = findLeaf( config, "vlan-id" ) )
    draft.match( *leaf, FieldId::vlan, exactly( leaf->number( 1, vlanMax ), 0xFFF ) );
  if ( const auto leaf = findLeaf( config, "ethertype" ) )
    draft.etherType( *leaf );
}

void readIp( JsonFields & config, DraftRule & draft ) {
  if ( const auto leaf = findLeaf( config, "source-ip-address" ) )
    draft.address( *leaf, true );
  if ( const auto leaf = findLeaf( config, "destination-ip-address" ) )
    draft.address( *leaf, false );
  if ( const auto leaf = findLeaf( config, "protocol" ) )
    draft.namedProtocol( *leaf, "IP_" );
  if ( const auto leaf = findLeaf( config, "dscp" ) )
    draft.match( *leaf, FieldId::dscp, leaf->masked( 0x3F, 0x3F ) );
}

// All flags of the list are set; others are ignored.
void readLoaderFlags( const Leaf & leaf, DraftRule & draft ) {
  U32 flags = 0;
  for ( const Leaf & element : leaf.elements() )
    flags |= element.tcpFlag();
  if ( flags == 0 )
    leaf.fail( "a list of flags" );
  draft.match( leaf, FieldId::tcpFlags, exactly( flags, flags ) );
}

void readTransport( JsonFields & config, DraftRule & draft ) {
  if ( const auto leaf = findLeaf( config, "source-port" ) )
    draft.range( *leaf, FieldId::sourcePorts, leaf->range( 0xFFFF, ".." ) );
  if ( const auto leaf = findLeaf( config, "destination-port" ) )
    draft.range( *leaf, FieldId::destinationPorts, leaf->range( 0xFFFF, ".." ) );
  if ( const auto leaf = findLeaf( config, "tcp-flags" ) )
    readLoaderFlags( *leaf, draft );
}

void readIcmp( JsonFields & config, DraftRule & draft ) {
  if ( const auto leaf = findLeaf( config, "type" ) )
    draft.icmpType( *leaf, static_cast< U8 >( leaf->number( 0, 0xFF ) ) );
  if ( const auto leaf = findLeaf( config, "code" ) )
    draft.icmpCode( *leaf, static_cast< U8 >( leaf->number( 0, 0xFF ) ) );
}

void readInput( JsonFields & rule, DraftRule & draft ) {
  const auto leaf = findLeaf( rule, "input_interface" );
  if ( !leaf )
    return;
  JsonFields input( rule.file(), leaf->node(), "\"input_interface\"" );
  inConfig( input, "interface_ref", [ & ]( JsonFields & config ) {
    draft.ports( needLeaf( config, "interface" ), FieldId::inPorts );
  } );
  input.finish();
}

void readAction( JsonFields & config, DraftRule & draft ) {
  const Leaf action = needLeaf( config, "forwarding-action" );
  const std::string_view name = action.identity();
  if ( name != "ACCEPT" && name != "DROP" && name != "REJECT" )
    action.fail( "ACCEPT, DROP or REJECT" );
  draft.rule.forwarding = name == "ACCEPT" ? Forwarding::permit : Forwarding::drop;
}

LoaderRule readRule( const std::string & file, const std::string & name, const JsonNode & node ) {
  LoaderRule rule{ 0, DraftRule( file, name, node.place() ) };
  DraftRule & draft = rule.draft;
  JsonFields fields( file, node, "an entry" );
  fields.find( "state" );
  inConfig( fields, "actions", [ & ]( JsonFields & config ) { readAction( config, draft ); } );
  if ( fields.find( "actions" ) == nullptr )
    draft.fail( "an entry has no \"actions\"" );
  JsonFields config( file, fields.need( "config" ), "\"config\"" );
  rule.sequence = needLeaf( config, "sequence-id" ).number( 0, sequenceMax );
  config.text( "description", "" );
  config.finish();
  inConfig(
      fields, "l2", [ & ]( JsonFields & inner ) { readL2( inner, draft ); } );
  inConfig(
      fields, "ip", [ & ]( JsonFields & inner ) { readIp( inner, draft ); } );
  inConfig(
      fields, "transport", [ & ]( JsonFields & inner ) { readTransport( inner, draft ); } );
  inConfig( fields, "icmp", [ & ]( JsonFields & inner ) { readIcmp( inner, draft ); } );
  readInput( fields, draft );
  fields.finish();
  draft.complete();
  return rule;
}

void readEntries( const std::string & file, const std::string & list, const JsonNode & node,
                  AclDocument & document, DraftList & rules ) {
  JsonFields entries( file, node, "\"acl-entries\"" );
  const Leaf byNumber = needLeaf( entries, "acl-entry" );
  entries.finish();
  std::unordered_set< U32 > numbers;
  for ( Platform::JsonRows rows = byNumber.namedRows(); rows.next(); ) {
    const JsonMember & entry = rows.row();
    document.progress.at( rows.position() );
    const std::string name = "RULE_" + entry.name;
    document.refusals.guard( list, name, [ & ] {
      LoaderRule rule = readRule( file, name, entry.value );
      if ( !numbers.insert( rule.sequence ).second )
        rule.draft.fail( "has the sequence-id of another entry" );
      rules.add( std::move( rule.draft ), rule.sequence );
    } );
  }
}

void readSet( const std::string & file, const std::string & name, const JsonNode & node,
              AclDocument & document ) {
  JsonFields set( file, node, "an acl-set" );
  set.find( "state" );
  if ( const JsonNode * config = set.find( "config" ) ) {
    JsonFields fields( file, *config, "\"config\"" );
    fields.text( "name", "" );
    fields.finish();
  }
  Acl head;
  head.name = name;
  head.file = file;
  head.defaultAction = Forwarding::drop;
  head.defaultOrigin = DefaultOrigin::format;
  DraftList rules( document, head, std::nullopt );
  readEntries( file, name, set.need( "acl-entries" ), document, rules );
  set.finish();
  rules.take();
}

const JsonNode * memberOf( const JsonNode * node, std::string_view key ) {
  if ( node != nullptr )
    for ( const JsonMember & member : node->members )
      if ( member.name == key )
        return &member.value;
  return nullptr;
}

const JsonNode * setsOf( const AclSource & source ) {
  return memberOf( memberOf( memberOf( source.root, "acl" ), "acl-sets" ), "acl-set" );
}

}  // namespace

bool isSonicLoader( const AclSource & source ) {
  const JsonNode * sets = setsOf( source );
  return sets != nullptr && sets->kind == JsonNode::Kind::object;
}

void readSonicLoader( const AclSource & source, AclDocument & document ) {
  JsonFields root( source.file, *source.root, "the document" );
  JsonFields acl( source.file, root.need( "acl" ), "\"acl\"" );
  JsonFields container( source.file, acl.need( "acl-sets" ), "\"acl-sets\"" );
  const JsonFields sets( source.file, container.need( "acl-set" ), "\"acl-set\"" );
  root.finish();
  acl.finish();
  container.finish();
  std::set< std::string > names;
  for ( const JsonMember & set : sets.members() ) {
    const std::string name = tableName( set.name );
    document.refusals.guard( name, "", [ & ] {
      if ( !names.insert( name ).second )
        throw Platform::InputError( source.file, set.value.place(), "two lists have this name" );
      readSet( source.file, name, set.value, document );
    } );
  }
  ListNotes( document )
      .add(
          "the types of the tables are not in the file: families follow from the rules, and "
          "packets "
          "of these that no rule matches are dropped, as in ingress L3 tables" );
}

}  // namespace Agent
