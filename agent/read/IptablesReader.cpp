#include "agent/read/IptablesReader.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>

#include "agent/read/IptablesRule.h"

namespace Agent {

namespace {

using Platform::Place;
using Word = std::string_view;

// A chain that the kernel passes packets to.
struct Hook {
  Word chain;
  bool egress;
};

constexpr Hook hooks[] = { { "INPUT", false }, { "FORWARD", false }, { "OUTPUT", true } };

constexpr Word tables[] = { "filter", "nat", "mangle", "raw", "security" };

const Hook * hookOf( Word chain ) {
  const auto * hook =
      std::find_if( std::begin( hooks ), std::end( hooks ),
                    [ chain ]( const Hook & each ) { return each.chain == chain; } );
  return hook == std::end( hooks ) ? nullptr : hook;
}

class IptablesReader {
 public:
  IptablesReader( const AclSource & source, AclDocument & document, AclKind kind );

  void read();

 private:
  // A table, from its name to COMMIT.
  enum class Table { none, filter, other };

  void line( WordReader & words );
  void openTable( WordReader & words );
  void closeTable( WordReader & words );
  void otherTable( WordReader & words );
  void filterTable( WordReader & words );
  void declare( WordReader & words, bool colon );
  void policy( WordReader & words );
  void setPolicy( Chain & chain, WordReader & words, Word policy ) const;
  static void endLine( WordReader & words );
  void rule( WordReader & words );
  Chain & chainNamed( Word name, Place place );
  std::vector< Word > chainNames() const;

  void takeLists();
  void takeList( U32 chain, const Hook & hook );
  bool hasRules( bool egress ) const;

  const AclSource & source_;
  AclDocument & document_;
  ListNotes notes_;
  IptablesContext context_;
  Table table_ = Table::none;
  std::string tableName_;
  Place tablePlace_;
  bool tableUsed_ = false;  // it has rules, or a policy other than ACCEPT
  bool filtered_ = false;   // there was a filter table
  std::vector< Chain > chains_;
  std::map< std::string, U32, std::less<> > index_;
};

IptablesReader::IptablesReader( const AclSource & source, AclDocument & document, AclKind kind )
    : source_( source ), document_( document ), notes_( document ), context_{ notes_ } {
  context_.kind = kind;
  context_.assumeEstablished = source.options.assumeEstablished;
  context_.chainNamed = [ this ]( Word name ) -> std::optional< U32 > {
    const auto found = index_.find( name );
    if ( found == index_.end() || hookOf( name ) != nullptr )
      return std::nullopt;
    return found->second;
  };
}

void IptablesReader::read() {
  TextLines lines( source_.text );
  while ( lines.next() ) {
    document_.progress.at( lines.line().data() );
    WordReader words( source_.file, lines.number(), lines.line(), Quotes::group );
    if ( !words.done() && !words.peek().starts_with( '#' ) )
      line( words );
  }
  if ( table_ != Table::none )
    throw Platform::InputError(
        source_.file, tablePlace_,
        fmt::format( "the table {} has no COMMIT: the file is truncated", tableName_ ) );
  refuseLoops( chains_, document_.refusals );
  takeLists();
}

void IptablesReader::line( WordReader & words ) {
  if ( words.peek().starts_with( '*' ) )
    openTable( words );
  else if ( table_ == Table::none )
    throw Platform::InputError( source_.file, words.place(),
                                "a line outside of a table: \"*filter\" is expected" );
  else if ( words.take( "COMMIT" ) )
    closeTable( words );
  else if ( table_ == Table::other )
    otherTable( words );
  else
    filterTable( words );
}

void IptablesReader::openTable( WordReader & words ) {
  const Word name = words.next( "a table" ).substr( 1 );
  if ( table_ != Table::none )
    words.fail( fmt::format( "the table {} has no COMMIT", tableName_ ) );
  if ( std::find( std::begin( tables ), std::end( tables ), name ) == std::end( tables ) )
    words.failName( "table", name, { std::begin( tables ), std::end( tables ) } );
  if ( name == "filter" && filtered_ )
    words.fail( "the filter table occurs twice" );
  tableName_ = name;
  tablePlace_ = words.place();
  tableUsed_ = false;
  table_ = name == "filter" ? Table::filter : Table::other;
  filtered_ = filtered_ || name == "filter";
}

void IptablesReader::closeTable( WordReader & words ) {
  endLine( words );
  if ( table_ == Table::other && tableUsed_ )
    document_.refusals.add( tablePlace_, "table " + tableName_, "",
                            "only the filter table is read, and this one has rules" );
  else if ( table_ == Table::other )
    notes_.add( fmt::format( "the table {} has no rules and is left out", tableName_ ) );
  table_ = Table::none;
}

// ":CHAIN POLICY", where the policy accepts or is "-", is of no effect.
void IptablesReader::otherTable( WordReader & words ) {
  const bool declares = words.peek().starts_with( ':' );
  words.next( "" );
  tableUsed_ = tableUsed_ || !declares || ( words.peek() != "ACCEPT" && words.peek() != "-" );
}

void IptablesReader::filterTable( WordReader & words ) {
  document_.refusals.guard(
      "table filter", "",
      [ & ] {
        if ( words.peek().starts_with( '[' ) )
          words.next( "the counters of a rule" );
        if ( words.peek().starts_with( ':' ) )
          declare( words, true );
        else if ( words.take( "-N" ) || words.take( "--new-chain" ) )
          declare( words, false );
        else if ( words.peek() == "-P" || words.peek() == "--policy" )
          policy( words );
        else if ( words.peek() == "-A" || words.peek() == "--append" )
          rule( words );
        else
          words.fail(
              fmt::format( "\"{}\" is not read here: a line begins with :CHAIN, -A, -N or -P",
                           words.next( "" ) ) );
      } );
}

Chain & IptablesReader::chainNamed( Word name, Place place ) {
  const auto [ at, added ] =
      index_.emplace( std::string( name ), static_cast< U32 >( chains_.size() ) );
  if ( added ) {
    Chain & chain = chains_.emplace_back();
    chain.name = name;
    chain.place = place;
  }
  return chains_[ at->second ];
}

std::vector< Word > IptablesReader::chainNames() const {
  std::vector< Word > names;
  for ( const Chain & chain : chains_ )
    names.push_back( chain.name );
  return names;
}

// ":CHAIN POLICY [counters]", or "-N CHAIN".
void IptablesReader::declare( WordReader & words, bool colon ) {
  const Word name = words.next( "a chain" ).substr( colon ? 1 : 0 );
  if ( name.empty() )
    words.fail( "the chain has no name" );
  Chain & chain = chainNamed( name, words.place() );
  if ( !colon && hookOf( name ) != nullptr )
    words.fail( fmt::format( "{} is a built-in chain", name ) );
  if ( colon )
    setPolicy( chain, words, words.next( "the policy" ) );
  if ( colon && words.peek().starts_with( '[' ) )
    words.next( "the counters of the chain" );
  endLine( words );
}

void IptablesReader::policy( WordReader & words ) {
  words.next( "" );
  const Word name = words.next( "a chain" );
  Chain & chain = chainNamed( name, words.place() );
  setPolicy( chain, words, words.next( "the policy" ) );
  endLine( words );
}

void IptablesReader::endLine( WordReader & words ) {
  if ( words.done() )
    return;
  const Word more = words.next( "" );
  words.fail( fmt::format( "\"{}\" where the line must end", more ) );
}

void IptablesReader::setPolicy( Chain & chain, WordReader & words, Word policy ) const {
  const bool builtIn = hookOf( chain.name ) != nullptr;
  if ( !builtIn && policy == "-" )
    return;
  if ( !builtIn || ( policy != "ACCEPT" && policy != "DROP" ) )
    words.fail( fmt::format( "the policy {} of {} is not read", policy, chain.name ) );
  chain.policy = policy == "DROP" ? Forwarding::drop : Forwarding::permit;
}

void IptablesReader::rule( WordReader & words ) {
  words.next( "" );
  const std::string name( words.next( "a chain" ) );
  const auto found = index_.find( name );
  if ( found == index_.end() )
    words.failName( "chain", name, chainNames() );
  Chain & chain = chains_[ found->second ];
  document_.refusals.guard( name, fmt::format( "rule {}", ++chain.lines ), [ & ] {
    for ( ChainRule & each : readIptablesRule( words, context_ ) )
      addTo( chain, std::move( each ) );
    if ( hookOf( name ) != nullptr && chain.sure != 0 )
      document_.requireRoom( name, chain.sure - 1, words.place() );
  } );
}

bool IptablesReader::hasRules( bool egress ) const {
  return std::any_of(
      chains_.begin(), chains_.end(),
      [ egress ]( const Chain & chain ) {
        const Hook * hook = hookOf( chain.name );
        return hook != nullptr && hook->egress == egress && !chain.rules.empty();
      } );
}

void IptablesReader::takeLists() {
  std::string ingress;
  for ( U32 i = 0; i < chains_.size(); ++i ) {
    const Chain & chain = chains_[ i ];
    const Hook * hook = hookOf( chain.name );
    if ( hook == nullptr )
      continue;
    if ( !chain.rules.empty() || document_.refusals.hasRulesOf( chain.name ) ||
         ( chain.policy == Forwarding::drop && !hasRules( hook->egress ) ) )
      takeList( i, *hook );
    else
      notes_.add( fmt::format( "the chain {} has no rules and is left out", chain.name ) );
    if ( !chain.rules.empty() && !hook->egress )
      ingress += ( ingress.empty() ? "" : " and " ) + chain.name;
  }
  if ( ingress.find( ' ' ) != ingress.npos )
    notes_.add(
        fmt::format( "{} both decide about packets that enter: on ports that have both, the "
                     "first one does",
                     ingress ) );
}

void IptablesReader::takeList( U32 index, const Hook & hook ) {
  const Chain & chain = chains_[ index ];
  document_.refusals.guard( chain.name, "", [ & ] {
    Acl acl;
    acl.name = chain.name;
    acl.file = source_.file;
    acl.kind = context_.kind;
    acl.rules = flattened( document_, chains_, index );
    acl.defaultAction = chain.policy;
    acl.defaultOrigin = DefaultOrigin::format;
    if ( hook.egress )
      acl.bindings.push_back( { {}, true, chain.place.line, chain.place.column } );
    document_.lists.push_back( std::move( acl ) );
  } );
}

bool isComment( Word text ) {
  const size_t first = text.find_first_not_of( " \t\r" );
  return first == text.npos || text[ first ] == '#';
}

// What a line says about the family of its table.
std::optional< AclKind > familyIn( WordReader words ) {
  if ( words.take( "#" ) ) {
    const bool generated = words.take( "Generated" ) && words.take( "by" );
    if ( generated && words.peek().starts_with( "ip6tables" ) )
      return AclKind::ipv6;
    if ( generated && words.peek().starts_with( "iptables" ) )
      return AclKind::ipv4;
    return std::nullopt;
  }
  while ( !words.done() ) {
    const Word option = words.next( "" );
    if ( option.starts_with( '#' ) || option.starts_with( '"' ) )
      return std::nullopt;
    const bool address = option == "-s" || option == "-d" || option == "--source" ||
                         option == "--src" || option == "--destination" || option == "--dst";
    if ( address && words.peek().find_first_of( ":." ) != Word::npos )
      return words.peek().find( ':' ) != Word::npos ? AclKind::ipv6 : AclKind::ipv4;
    if ( option == "--icmpv6-type" )
      return AclKind::ipv6;
  }
  return std::nullopt;
}

std::optional< AclKind > familyOf( const AclSource & source ) {
  TextLines lines( source.text );
  while ( lines.next() )
    if ( const auto kind = familyIn( WordReader( source.file, lines.number(), lines.line() ) ) )
      return kind;
  return std::nullopt;
}

}  // namespace

bool isIptables( const AclSource & source ) {
  TextLines lines( source.text );
  while ( lines.next() )
    if ( !isComment( lines.line() ) )
      return lines.line().starts_with( '*' ) || lines.line().starts_with( "-A " );
  return false;
}

bool isIp6tables( const AclSource & source ) {
  return isIptables( source ) && familyOf( source ) == AclKind::ipv6;
}

void readIptables( const AclSource & source, AclDocument & document ) {
  if ( !familyOf( source ) )
    document.notes.push_back( "no address names the family: IPv4 is assumed" );
  IptablesReader( source, document, AclKind::ipv4 ).read();
}

void readIp6tables( const AclSource & source, AclDocument & document ) {
  IptablesReader( source, document, AclKind::ipv6 ).read();
}

}  // namespace Agent
