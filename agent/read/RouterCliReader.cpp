#include "agent/read/RouterCliReader.h"

#include <fmt/core.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <map>

#include "agent/acl/MatchFields.h"
#include "agent/read/ListNotes.h"
#include "agent/read/RouterCliRule.h"

namespace Agent {

namespace {

using Platform::Place;
using Word = std::string_view;

constexpr U32 orderStep = 10;  // between entries without a number

bool isOneOf( Word word, std::initializer_list< Word > known ) {
  return std::any_of(
      known.begin(), known.end(), [ word ]( Word other ) { return sameWord( word, other ); } );
}

// The beginning of an entry of a list.
bool beginsEntry( Word word ) {
  return isNumber( word ) || isOneOf( word, { "permit", "deny", "remark" } );
}

// Global commands that end a list which is written without indentation.
bool isGlobal( Word word ) {
  return isOneOf( word, { "ip", "ipv4", "ipv6", "router", "line", "route-map", "vlan", "username",
                          "class-map", "policy-map", "control-plane", "exit", "end" } );
}

// The first names of a list, for a note.
std::string firstOf( const std::vector< std::string > & names ) {
  constexpr size_t shown = 10;
  std::string text;
  for ( size_t i = 0; i < std::min( names.size(), shown ); ++i )
    text += ( i == 0 ? "" : ", " ) + names[ i ];
  return names.size() > shown ? fmt::format( "{}, .. ({})", text, names.size() ) : text;
}

struct List {
  Acl acl;
  CliList form = CliList::extended;
  std::vector< U32 > order;  // numbers of the rules
  U64 last = 0;              // the largest number of an entry
  bool lines = false;        // it has some: remarks, entries
  bool entries = false;      // it has some, if only refused ones
  bool removed = false;      // by a later line
};

// A line that binds a list.
struct Bound {
  std::string list;
  bool ip6;
  Binding binding;
};

class RouterCliReader {
 public:
  RouterCliReader( const AclSource & source, AclDocument & document )
      : source_( source ), document_( document ), notes_( document ) {}

  void read();

 private:
  enum class Section { other, list, refusedList, interface };

  void line( const WordReader & words, bool indented );
  bool inSection( const WordReader & words, bool indented );
  bool open( WordReader words );
  bool openIp( WordReader & words, bool ip6, bool no );
  bool openList( WordReader & words, CliList form, bool no );
  void openInterface( WordReader & words );
  void openBanner( WordReader & words );
  void numbered( WordReader & words, bool no );
  List & listNamed( const std::string & name, CliList form );
  void remove( const std::string & name, bool ip6 );

  void entry( List & list, WordReader words );
  void addRule( List & list, WordReader & words, U64 order, bool stated );
  bool bind( WordReader words );
  void readBinding( WordReader & words, Bound & bound ) const;

  void sort( List & list );
  void takeBindings();
  void takeLists();
  bool isWanted( const Acl & acl ) const;
  void takeList( Acl & acl );

  const AclSource & source_;
  AclDocument & document_;
  ListNotes notes_;
  Section section_ = Section::other;
  bool indentedSection_ = false;  // the section has had indented lines
  size_t list_ = 0;               // of the section
  std::string interface_;         // of the section
  std::string bannerEnd_;         // not empty: inside a banner
  Place bannerPlace_;
  std::vector< List > lists_;
  std::map< std::pair< bool, std::string >, size_t > index_;  // by ip6 and name
  std::vector< Bound > bound_;
};

void RouterCliReader::read() {
  TextLines lines( source_.text );
  while ( lines.next() ) {
    const Word text = lines.line();
    document_.progress.at( text.data() );
    const WordReader words( source_.file, lines.number(), text );
    if ( !bannerEnd_.empty() ) {
      if ( text.find( bannerEnd_ ) != text.npos )
        bannerEnd_.clear();
    } else if ( !words.done() && !words.peek().starts_with( '!' ) ) {
      line( words, text.front() == ' ' || text.front() == '\t' );
    }
  }
  if ( !bannerEnd_.empty() )
    throw Platform::InputError( source_.file, bannerPlace_,
                                "the banner does not end: the file is truncated" );
  for ( List & list : lists_ )
    sort( list );
  takeBindings();
  takeLists();
}

void RouterCliReader::line( const WordReader & words, bool indented ) {
  if ( open( words ) ) {
    indentedSection_ = false;
    return;
  }
  if ( inSection( words, indented ) ) {
    indentedSection_ = indentedSection_ || indented;
    return;
  }
  const Word first = words.peek();
  const bool lost =
      !indented && section_ != Section::refusedList && isOneOf( first, { "permit", "deny" } );
  if ( lost )
    document_.refusals.add( words.place(), source_.name, "", "an entry outside of a list" );
  if ( !indented && !beginsEntry( first ) )
    section_ = Section::other;
}

// Reads a line of the section. False: it is none, or it is not read. Lines of a section that is
// written without indentation start in the first column.
bool RouterCliReader::inSection( const WordReader & words, bool indented ) {
  const Word first = words.peek();
  const bool ends = isOneOf( first, { "exit", "end" } );
  if ( section_ == Section::interface )
    return bind( words ) || indented || ( !indentedSection_ && !ends );
  if ( section_ != Section::list || ends )
    return false;
  WordReader command = words;
  command.take( "no" );
  List & list = lists_[ list_ ];
  const bool flat = !indentedSection_ && list.lines && !isGlobal( command.peek() );
  if ( !indented && !flat && !beginsEntry( command.peek() ) )
    return false;
  entry( list, words );
  return true;
}

// Reads a line that opens a section, or is a list's entry of its own.
bool RouterCliReader::open( WordReader words ) {
  const bool no = words.take( "no" );
  if ( words.take( "ip" ) || words.take( "ipv4" ) )
    return words.take( "access-list" ) && openIp( words, false, no );
  if ( words.take( "ipv6" ) )
    return words.take( "access-list" ) && openIp( words, true, no );
  if ( words.take( "mac" ) && words.take( "access-list" ) && !no ) {
    document_.refusals.add( words.place(), std::string( words.rest() ), "",
                            "MAC access lists are not read in this form" );
    section_ = Section::refusedList;
    return true;
  }
  if ( words.take( "access-list" ) )
    numbered( words, no );
  else if ( !no && words.take( "interface" ) )
    openInterface( words );
  else if ( !no && words.take( "banner" ) )
    openBanner( words );
  else
    return false;
  return true;
}

// After "ip access-list". False: a command about all lists.
bool RouterCliReader::openIp( WordReader & words, bool ip6, bool no ) {
  if ( ip6 )
    return openList( words, CliList::ipv6, no );
  if ( isOneOf( words.peek(), { "logging", "log-update", "resequence", "persistent", "helper" } ) )
    return false;
  const bool standard = words.take( "standard" );
  if ( !standard )
    words.take( "extended" );
  return openList( words, standard ? CliList::standard : CliList::extended, no );
}

bool RouterCliReader::openList( WordReader & words, CliList form, bool no ) {
  section_ = Section::refusedList;
  const std::string name( words.peek() );
  document_.refusals.guard( name, "", [ & ] {
    words.next( "the name of the list" );
    if ( !words.done() ) {
      const std::string more( words.next( "" ) );
      words.fail( fmt::format( "\"{}\" is not read here", more ) );
    }
    if ( no )
      return remove( name, form == CliList::ipv6 );
    list_ = static_cast< size_t >( &listNamed( name, form ) - lists_.data() );
    if ( lists_[ list_ ].form != form )
      words.fail( "the list is both standard and extended" );
    section_ = Section::list;
  } );
  if ( no )
    section_ = Section::other;
  return true;
}

void RouterCliReader::openInterface( WordReader & words ) {
  section_ = Section::interface;
  interface_ = words.peek();
  if ( interface_.find_first_of( "0123456789" ) != interface_.npos || words.done() )
    return;
  words.next( "" );
  interface_ += words.peek();
}

void RouterCliReader::openBanner( WordReader & words ) {
  section_ = Section::other;
  bannerPlace_ = words.place();
  if ( !words.done() )
    words.next( "" );
  const Word rest = words.rest();
  bannerEnd_ = rest.empty() ? "EOF" : rest.substr( 0, rest.front() == '^' ? 2 : 1 );
  if ( rest.find( bannerEnd_, 1 ) != rest.npos && !rest.empty() )
    bannerEnd_.clear();
}

// access-list NUMBER permit ..
void RouterCliReader::numbered( WordReader & words, bool no ) {
  section_ = Section::other;
  const std::string name( words.peek() );
  CliList form = CliList::extended;
  const bool known = document_.refusals.guard( name, "", [ & ] {
    const U32 number = words.number( "the number of the list", 0xFFFFFFFF );
    if ( number == 0 )
      words.fail( "the lists begin with number 1" );
    if ( number <= 99 || ( number >= 1300 && number <= 1999 ) )
      form = CliList::standard;
    else if ( number > 199 && ( number < 2000 || number > 2699 ) )
      words.fail( "only the numbers 1 to 199 and 1300 to 2699 are IP access lists" );
  } );
  if ( known && no && words.done() )
    remove( name, false );
  else if ( known && no )
    document_.refusals.add( words.place(), name, "", "an entry cannot be removed" );
  else if ( known )
    entry( listNamed( name, form ), words );
}

List & RouterCliReader::listNamed( const std::string & name, CliList form ) {
  const auto [ at, added ] =
      index_.emplace( std::pair( form == CliList::ipv6, name ), lists_.size() );
  if ( added ) {
    List & list = lists_.emplace_back();
    list.form = form;
    list.acl.name = name;
    list.acl.file = source_.file;
    list.acl.kind = form == CliList::ipv6 ? AclKind::ipv6 : AclKind::ipv4;
    list.acl.laterFragments = LaterFragments::permittedByL3;
    list.acl.defaultAction = Forwarding::drop;
    list.acl.defaultOrigin = DefaultOrigin::format;
  }
  return lists_[ at->second ];
}

void RouterCliReader::remove( const std::string & name, bool ip6 ) {
  const auto found = index_.find( { ip6, name } );
  if ( found == index_.end() )
    return;
  lists_[ found->second ].removed = true;
  index_.erase( found );
}

void RouterCliReader::entry( List & list, WordReader words ) {
  const bool stated = isNumber( words.peek() );
  const std::string name =
      stated ? std::string( words.peek() ) : std::to_string( list.last + orderStep );
  list.lines = true;
  const bool read = document_.refusals.guard( list.acl.name, "rule " + name, [ & ] {
    const U64 order =
        stated ? words.number( "the sequence number", 0xFFFFFFFF ) : list.last + orderStep;
    if ( !isOneOf( words.peek(), { "remark", "statistics" } ) )
      addRule( list, words, order, stated );
  } );
  list.entries = list.entries || !read || !list.order.empty();
}

void RouterCliReader::addRule( List & list, WordReader & words, U64 order, bool stated ) {
  list.last = std::max( list.last, order );
  if ( order > 0xFFFFFFFF )
    words.fail( "there is no sequence number after the last one" );
  CliRule read = readCliRule( words, list.form );
  document_.requireRoom( list.acl.name, list.acl.rules.size(),
                         { read.rule.line, read.rule.column } );
  if ( stated )
    read.rule.name = std::to_string( order );
  if ( read.logs )
    notes_.logging();
  if ( read.anyFlag )
    notes_.add( "several TCP flags without match-all match packets that have any of them" );
  list.acl.rules.push_back( std::move( read.rule ) );
  list.order.push_back( static_cast< U32 >( order ) );
}

// "ip access-group LIST in" and its like. False: another line.
bool RouterCliReader::bind( WordReader words ) {
  const bool ip6 = words.take( "ipv6" );
  if ( !ip6 && !words.take( "ip" ) && !words.take( "ipv4" ) )
    return false;
  words.take( "port" );
  if ( !words.take( "access-group" ) && !( ip6 && words.take( "traffic-filter" ) ) )
    return false;
  Bound bound = { std::string( words.peek() ), ip6, {} };
  bound.binding = { { interface_ }, false, words.place().line, words.place().column };
  if ( document_.refusals.guard( bound.list, "", [ & ] { readBinding( words, bound ); } ) )
    bound_.push_back( std::move( bound ) );
  return true;
}

void RouterCliReader::readBinding( WordReader & words, Bound & bound ) const {
  words.next( "the name of the list" );
  const Word direction = words.next( "in or out" );
  bound.binding.egress = isOneOf( direction, { "out", "egress" } );
  if ( !bound.binding.egress && !isOneOf( direction, { "in", "ingress" } ) )
    words.fail( fmt::format( "\"{}\" where in or out is expected", direction ) );
  if ( !words.done() ) {
    const std::string more( words.next( "" ) );
    words.fail( fmt::format( "\"{}\" is not read here", more ) );
  }
  if ( interface_.starts_with( "range" ) )
    words.fail( "ranges of interfaces are not read" );
}

// By the numbers of the entries, of which each may occur once.
void RouterCliReader::sort( List & list ) {
  std::vector< AclRule > & rules = list.acl.rules;
  const auto & order = list.order;
  if ( std::adjacent_find( order.begin(), order.end(), std::greater_equal<>() ) == order.end() )
    return;
  std::vector< U32 > byOrder( order.size() );
  for ( U32 i = 0; i < byOrder.size(); ++i )
    byOrder[ i ] = i;
  std::stable_sort( byOrder.begin(), byOrder.end(),
                    [ & ]( U32 a, U32 b ) { return order[ a ] < order[ b ]; } );
  std::vector< AclRule > sorted;
  for ( size_t i = 0; i < byOrder.size(); ++i ) {
    AclRule & rule = rules[ byOrder[ i ] ];
    if ( i == 0 || order[ byOrder[ i - 1 ] ] != order[ byOrder[ i ] ] )
      sorted.push_back( std::move( rule ) );
    else
      document_.refusals.add( { rule.line, rule.column }, list.acl.name, "rule " + rule.name,
                              "the list has an entry of this number" );
  }
  rules = std::move( sorted );
}

void RouterCliReader::takeBindings() {
  for ( Bound & bound : bound_ ) {
    const auto list = index_.find( { bound.ip6, bound.list } );
    if ( list != index_.end() )
      lists_[ list->second ].acl.bindings.push_back( std::move( bound.binding ) );
    else
      document_.refusals.add( { bound.binding.line, bound.binding.column }, bound.list, "",
                              "the list is bound, and not in this file" );
  }
}

void RouterCliReader::takeList( Acl & acl ) {
  const auto fields = matchFields();
  const bool open = acl.rules.empty() ||
                    std::any_of( fields.begin(), fields.end(), [ & ]( const MatchField & field ) {
                      return restricts( field, acl.rules.back() );
                    } );
  if ( acl.kind == AclKind::ipv6 && open )
    notes_.add( "neighbour discovery is dropped unless a rule permits it" );
  document_.lists.push_back( std::move( acl ) );
}

bool RouterCliReader::isWanted( const Acl & acl ) const {
  const auto & wanted = source_.options.wanted;
  const std::string part = fmt::format( "{}-{}", acl.name, kindName( acl.kind ) );
  return std::any_of( wanted.begin(), wanted.end(), [ & ]( const std::string & name ) {
    return name == acl.name || name == part;
  } );
}

void RouterCliReader::takeLists() {
  std::vector< std::string > empty;
  std::vector< std::string > unbound;
  for ( List & list : lists_ ) {
    Acl & acl = list.acl;
    if ( list.removed )
      continue;
    if ( !list.entries )
      empty.push_back( acl.name );
    else if ( acl.bindings.empty() && !bound_.empty() && !isWanted( acl ) )
      unbound.push_back( acl.name );
    else
      takeList( acl );
  }
  if ( !empty.empty() )
    notes_.add( fmt::format( "lists without entries filter nothing and are left out: {}",
                             firstOf( empty ) ) );
  if ( !unbound.empty() )
    notes_.add( fmt::format( "lists that no interface has are left out: {}", firstOf( unbound ) ) );
}

bool opensList( WordReader words ) {
  words.take( "no" );
  const bool ip = words.take( "ip" ) || words.take( "ipv6" ) || words.take( "ipv4" );
  return words.take( "access-list" ) && ( ip || isNumber( words.peek() ) );
}

}  // namespace

bool isRouterCli( const AclSource & source ) {
  TextLines lines( source.text );
  while ( lines.next() )
    if ( opensList( WordReader( source.file, lines.number(), lines.line() ) ) )
      return true;
  return false;
}

void readRouterCli( const AclSource & source, AclDocument & document ) {
  RouterCliReader( source, document ).read();
}

}  // namespace Agent
