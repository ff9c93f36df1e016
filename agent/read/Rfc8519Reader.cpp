#include "agent/read/Rfc8519Reader.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <set>
#include <unordered_set>

#include "agent/read/DraftRule.h"
#include "agent/read/ListNotes.h"
#include "agent/read/Rfc8519Matches.h"

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

constexpr ListType rfc8519Types[] = {
    { "ipv4-acl-type", { familyIp4, familyIp4, false } },
    { "ipv6-acl-type", { familyIp6, familyIp6, false } },
    { "eth-acl-type", { familyOther, familyAll, true } },
    { "ethernet-acl-type", { familyOther, familyAll, true } },
    { "mixed-eth-ipv4-acl-type", { familyIp4, familyIp4 | familyOther, false } },
    { "mixed-eth-ipv6-acl-type", { familyIp6, familyIp6 | familyOther, false } },
    { "mixed-eth-ipv4-ipv6-acl-type", { familyIp, familyAll, false } },
};

ListScope scopeOf( const Leaf & leaf ) {
  const std::string_view name = leaf.identity();
  std::string known;
  for ( const ListType & type : rfc8519Types ) {
    if ( type.name == name )
      return type.scope;
    known += fmt::format( "{}{}", known.empty() ? "" : ", ", type.name );
  }
  leaf.fail( fmt::format( "one of {}", known ) );
}

class Rfc8519Reader {
 public:
  Rfc8519Reader( const AclSource & source, AclDocument & document )
      : file_( source.file ), document_( document ), notes_( document ) {}

  void readAcls( const JsonNode & node );

 private:
  JsonFields fieldsOf( const JsonNode & node, const std::string & what ) const {
    return { file_, node, what, rfc8519Modules() };
  }
  void readAcl( const JsonNode & node );
  void readList( JsonFields & fields, const std::string & name );
  template < class F >
  void readAces( const JsonNode & node, const std::string & list, F && add );
  DraftRule readAce( const JsonNode & node, const std::string & name );
  void readActions( const JsonNode & node, DraftRule & draft );
  void readAttachments( const JsonNode & node );
  void readInterface( const JsonNode & node );
  void bind( const JsonNode & sets, const std::string & port, bool egress );

  const std::string & file_;
  AclDocument & document_;
  ListNotes notes_;
  std::set< std::string > names_;
  std::map< std::string, std::vector< Binding > > bindings_;  // by list
};

std::string nameIn( JsonFields & fields ) {
  const std::string name = fields.text( "name" );
  if ( name.empty() )
    fields.fail( fields.place( "name" ), "\"name\" is empty" );
  return name;
}

void Rfc8519Reader::readActions( const JsonNode & node, DraftRule & draft ) {
  JsonFields actions = fieldsOf( node, "\"actions\"" );
  const Leaf forwarding = needLeaf( actions, "forwarding" );
  const std::string_view name = forwarding.identity();
  if ( name != "accept" && name != "drop" && name != "reject" )
    forwarding.fail( "accept, drop or reject" );
  draft.rule.forwarding = name == "accept" ? Forwarding::permit : Forwarding::drop;
  if ( name == "reject" )
    notes_.reject();
  if ( const auto logging = findLeaf( actions, "logging" ) ) {
    const std::string_view log = logging->identity();
    if ( log != "log-none" && log != "log-syslog" )
      logging->fail( "log-syslog or log-none" );
    if ( log == "log-syslog" )
      notes_.logging();
  }
  actions.finish();
}

DraftRule Rfc8519Reader::readAce( const JsonNode & node, const std::string & name ) {
  DraftRule draft( file_, name, node.place() );
  JsonFields ace = fieldsOf( node, "an ACE" );
  nameIn( ace );
  ace.find( "statistics" );  // state
  if ( const JsonNode * matches = ace.find( "matches" ) )
    readRfc8519Matches( file_, *matches, draft );
  if ( restricts( matchField( FieldId::tcpFlags ), draft.rule ) )
    notes_.add( "flags of TCP match exactly: flags that are not listed must be clear" );
  readActions( ace.need( "actions" ), draft );
  ace.finish();
  draft.complete();
  return draft;
}

// The name of an entry for messages, before it is read.
std::string nameOf( const JsonNode & node, const char * what, size_t index ) {
  for ( const auto & [ key, value ] : node.members )
    if ( std::string_view( key ).substr( key.find( ':' ) + 1 ) == "name" &&
         value.kind == JsonNode::Kind::string && !value.string.empty() )
      return value.string;
  return fmt::format( "{} {}", what, index );
}

// Calls `add` with each rule.
template < class F >
void Rfc8519Reader::readAces( const JsonNode & node, const std::string & list, F && add ) {
  JsonFields aces = fieldsOf( node, "\"aces\"" );
  const auto entries = findLeaf( aces, "ace" );
  aces.finish();
  if ( !entries )
    return;
  std::unordered_set< std::string > names;
  size_t number = 0;
  for ( Platform::JsonRows rows = entries->rows(); rows.next(); ) {
    const JsonNode & ace = rows.row().value;
    document_.progress.at( rows.position() );
    const std::string rule = nameOf( ace, "ACE", ++number );
    document_.refusals.guard( list, rule, [ & ] {
      if ( !names.insert( rule ).second )
        Leaf( file_, "ace", ace ).refuse( "has the name of another one" );
      add( readAce( ace, rule ) );
    } );
  }
}

void Rfc8519Reader::readList( JsonFields & fields, const std::string & name ) {
  Acl head;
  head.name = name;
  head.file = file_;
  if ( const auto bound = bindings_.find( name ); bound != bindings_.end() )
    head.bindings = bound->second;
  const auto type = findLeaf( fields, "type" );
  const JsonNode * aces = fields.find( "aces" );
  DraftList list( document_, head, type ? std::optional( scopeOf( *type ) ) : std::nullopt );
  if ( aces != nullptr )
    readAces( *aces, name, [ & ]( DraftRule draft ) { list.add( std::move( draft ) ); } );
  fields.finish();
  list.take();
}

void Rfc8519Reader::readAcl( const JsonNode & node ) {
  const std::string name = nameOf( node, "list", names_.size() + 1 );
  document_.refusals.guard( name, "", [ & ] {
    JsonFields fields = fieldsOf( node, "an ACL" );
    if ( !names_.insert( nameIn( fields ) ).second )
      fields.fail( fields.place( "name" ), "two lists have this name" );
    readList( fields, name );
  } );
}

void Rfc8519Reader::bind( const JsonNode & sets, const std::string & port, bool egress ) {
  JsonFields direction = fieldsOf( sets, egress ? "\"egress\"" : "\"ingress\"" );
  JsonFields list = fieldsOf( direction.need( "acl-sets" ), "\"acl-sets\"" );
  for ( const Leaf & element : needLeaf( list, "acl-set" ).elements() ) {
    JsonFields set = fieldsOf( element.node(), "\"acl-set\"" );
    set.find( "ace-statistics" );  // state
    const Platform::Place place = set.place( "name" );
    bindings_[ set.text( "name" ) ].push_back( { { port }, egress, place.line, place.column } );
    set.finish();
  }
  list.finish();
  direction.finish();
}

void Rfc8519Reader::readInterface( const JsonNode & node ) {
  JsonFields interface = fieldsOf( node, "an interface" );
  const std::string port = interface.text( "interface-id" );
  if ( const JsonNode * sets = interface.find( "ingress" ) )
    bind( *sets, port, false );
  if ( const JsonNode * sets = interface.find( "egress" ) )
    bind( *sets, port, true );
  interface.finish();
}

void Rfc8519Reader::readAttachments( const JsonNode & node ) {
  JsonFields points = fieldsOf( node, "\"attachment-points\"" );
  for ( const Leaf & interface : needLeaf( points, "interface" ).elements() )
    readInterface( interface.node() );
  points.finish();
}

void Rfc8519Reader::readAcls( const JsonNode & node ) {
  JsonFields acls = fieldsOf( node, "\"acls\"" );
  if ( const JsonNode * points = acls.find( "attachment-points" ) )
    readAttachments( *points );
  for ( const Leaf & acl : needLeaf( acls, "acl" ).elements() )
    readAcl( acl.node() );
  acls.finish();
  for ( const auto & [ name, bindings ] : bindings_ )
    if ( !names_.contains( name ) )
      document_.refusals.add( { bindings.front().line, bindings.front().column }, name, "",
                              "an interface names a list that the file does not have" );
}

// "acls", and the "access-lists" of drafts that MUD files use.
bool isRoot( const std::string & name ) {
  return name == "ietf-access-control-list:acls" || name == "ietf-access-control-list:access-lists";
}

}  // namespace

bool isRfc8519( const AclSource & source ) {
  const auto & members = source.root->members;
  return std::any_of( members.begin(), members.end(),
                      []( const auto & member ) { return isRoot( member.name ); } );
}

void readRfc8519( const AclSource & source, AclDocument & document ) {
  Rfc8519Reader reader( source, document );
  const JsonFields root( source.file, *source.root, "the document" );
  bool found = false;
  for ( const auto & [ name, value ] : root.members() ) {
    if ( isRoot( name ) )
      reader.readAcls( value );
    else if ( name != "ietf-mud:mud" )
      root.fail( value.place(), fmt::format( "the document has an unknown key \"{}\"; it can have "
                                             "ietf-access-control-list:acls, ietf-mud:mud",
                                             name ) );
    found |= isRoot( name );
  }
  if ( !found )
    root.fail( root.place(), "there is no \"ietf-access-control-list:acls\"" );
}

}  // namespace Agent
