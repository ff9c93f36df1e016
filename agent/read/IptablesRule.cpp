#include "agent/read/IptablesRule.h"

#include <fmt/core.h>

#include <algorithm>

#include "agent/acl/AddressText.h"
#include "agent/acl/Names.h"
#include "agent/read/IptablesValues.h"
#include "agent/read/MatchSets.h"
#include "platform/NearNames.h"

namespace Agent {

namespace {

using Word = std::string_view;
using Matches = std::vector< TernaryBits >;
using Ranges = std::vector< AnyRange >;

constexpr U64 macMask = 0xFFFFFFFFFFFF;

class IptablesRuleReader {
 public:
  IptablesRuleReader( WordReader & words, const IptablesContext & context )
      : words_( words ), context_( context ), match_( rule_.match ) {}

  std::vector< ChainRule > read();

 private:
  using Option = void ( IptablesRuleReader::* )();
  struct OptionName {
    Word name;
    Option read;
    bool inverts = true;  // it may follow '!'
  };
  static const OptionName options[];

  bool ip6() const { return context_.kind == AclKind::ipv6; }
  void option();
  void set( FieldId field, Matches matches );
  void set( FieldId field, Ranges ranges );
  void checkOnce( FieldId field ) const;

  void protocol();
  void source() { address( ip6() ? FieldId::source6 : FieldId::source ); }
  void destination() { address( ip6() ? FieldId::destination6 : FieldId::destination ); }
  void address( FieldId field );
  void sourceRange() { range( ip6() ? FieldId::source6 : FieldId::source ); }
  void destinationRange() { range( ip6() ? FieldId::destination6 : FieldId::destination ); }
  void range( FieldId field );
  void mac();
  void interface();
  void fragment();
  void module();
  void checkModules() const;
  void skipWord() { words_.next( "a value" ); }
  void skipNothing() {}
  void skipCounters();

  void sourcePort() { onePort( FieldId::sourcePorts ); }
  void destinationPort() { onePort( FieldId::destinationPorts ); }
  void onePort( FieldId field ) {
    set( field, Ranges{ portsIn( words_, words_.next( "a port" ) ) } );
  }
  void sourcePorts() { set( FieldId::sourcePorts, portList( words_ ) ); }
  void destinationPorts() { set( FieldId::destinationPorts, portList( words_ ) ); }
  void eitherPort();

  void tcpFlags();
  void syn();
  void flags( U8 mask, U8 value );
  void icmpType();
  void ttlEqual() { ttl( 0, 0 ); }
  void ttlBelow() { ttl( -1, 0 ); }
  void ttlAbove() { ttl( 0, 1 ); }
  void ttl( int below, int above );
  void dscp() { set( FieldId::dscp, Matches{ dscpNumber( words_ ) } ); }
  void dscpClass();
  void state();

  void jump();
  void go();
  void target( bool go );

  void finish();
  void finishEstablished();

  WordReader & words_;
  const IptablesContext & context_;
  ChainRule rule_;
  AclRule & match_;
  bool inverted_ = false;  // the option that is being read
  bool hasTarget_ = false;
  std::vector< Word > modules_;  // -m
  bool never_ = false;           // it matches no packet that enters a switch
  bool established_ = false;
  bool eitherPort_ = false;  // the ports of both directions are set, and one suffices
};

#define READ( name ) &IptablesRuleReader::name
const IptablesRuleReader::OptionName IptablesRuleReader::options[] = {
    { "-p", READ( protocol ) },
    { "--protocol", READ( protocol ) },
    { "-s", READ( source ) },
    { "--source", READ( source ) },
    { "--src", READ( source ) },
    { "-d", READ( destination ) },
    { "--destination", READ( destination ) },
    { "--dst", READ( destination ) },
    { "-i", READ( interface ) },
    { "--in-interface", READ( interface ) },
    { "-o", READ( interface ) },
    { "--out-interface", READ( interface ) },
    { "-f", READ( fragment ) },
    { "--fragment", READ( fragment ) },
    { "-m", READ( module ), false },
    { "--match", READ( module ), false },
    { "-c", READ( skipCounters ), false },
    { "--set-counters", READ( skipCounters ), false },
    { "-j", READ( jump ), false },
    { "--jump", READ( jump ), false },
    { "-g", READ( go ), false },
    { "--goto", READ( go ), false },
    { "--comment", READ( skipWord ), false },
    { "--sport", READ( sourcePort ) },
    { "--source-port", READ( sourcePort ) },
    { "--dport", READ( destinationPort ) },
    { "--destination-port", READ( destinationPort ) },
    { "--sports", READ( sourcePorts ) },
    { "--source-ports", READ( sourcePorts ) },
    { "--dports", READ( destinationPorts ) },
    { "--destination-ports", READ( destinationPorts ) },
    { "--ports", READ( eitherPort ) },
    { "--tcp-flags", READ( tcpFlags ) },
    { "--syn", READ( syn ) },
    { "--icmp-type", READ( icmpType ) },
    { "--icmpv6-type", READ( icmpType ) },
    { "--src-range", READ( sourceRange ) },
    { "--dst-range", READ( destinationRange ) },
    { "--mac-source", READ( mac ) },
    { "--ttl-eq", READ( ttlEqual ) },
    { "--ttl-lt", READ( ttlBelow ), false },
    { "--ttl-gt", READ( ttlAbove ), false },
    { "--hl-eq", READ( ttlEqual ) },
    { "--hl-lt", READ( ttlBelow ), false },
    { "--hl-gt", READ( ttlAbove ), false },
    { "--dscp", READ( dscp ) },
    { "--dscp-class", READ( dscpClass ) },
    { "--state", READ( state ), false },
    { "--ctstate", READ( state ), false },
    { "--reject-with", READ( skipWord ), false },
    { "--log-prefix", READ( skipWord ), false },
    { "--log-level", READ( skipWord ), false },
    { "--log-tcp-sequence", READ( skipNothing ), false },
    { "--log-tcp-options", READ( skipNothing ), false },
    { "--log-ip-options", READ( skipNothing ), false },
    { "--log-uid", READ( skipNothing ), false },
    { "--log-macdecode", READ( skipNothing ), false },
};
#undef READ

std::vector< ChainRule > IptablesRuleReader::read() {
  match_.line = words_.place().line;
  match_.column = words_.place().column;
  while ( !words_.done() )
    option();
  finish();
  if ( never_ || rule_.verdict == ChainVerdict::none )
    return {};
  if ( !eitherPort_ )
    return { rule_ };
  std::vector< ChainRule > both = { rule_, rule_ };
  const Ranges any( 1, { 0, 0xFFFF } );
  setRanges( both[ 0 ].match, FieldId::destinationPorts, any );
  setRanges( both[ 1 ].match, FieldId::sourcePorts, any );
  return both;
}

void IptablesRuleReader::option() {
  inverted_ = words_.take( "!" );
  const Word word = words_.next( "an option" );
  const auto * known =
      std::find_if( std::begin( options ), std::end( options ),
                    [ word ]( const OptionName & each ) { return each.name == word; } );
  if ( known == std::end( options ) )
    words_.fail( fmt::format( "the option {} is not read; there are {}", word,
                              Platform::nearRows( options, word ) ) );
  if ( inverted_ && !known->inverts )
    words_.fail( fmt::format( "the option {} cannot be inverted", word ) );
  ( this->*known->read )();
}

void IptablesRuleReader::checkOnce( FieldId field ) const {
  if ( restricts( matchField( field ), match_ ) )
    words_.fail( fmt::format( "{} is matched twice", matchField( field ).name ) );
}

// Alternatives, or all values but one match.
void IptablesRuleReader::set( FieldId field, Matches matches ) {
  checkOnce( field );
  if ( inverted_ && matches.size() > 1 )
    words_.fail( "several values cannot be inverted" );
  if ( inverted_ )
    matches = complement( matches.front() );
  if ( matches.empty() )
    words_.fail( "no packet matches this" );
  setMatches( match_, field, matches );
}

void IptablesRuleReader::set( FieldId field, Ranges ranges ) {
  checkOnce( field );
  const MatchField & row = matchField( field );
  if ( inverted_ )
    ranges = complement( ranges, ( 1U << row.width ) - 1 );
  if ( ranges.empty() )
    words_.fail( "no packet matches this" );
  setRanges( match_, field, row.needs == FieldNeeds::ports ? presentPorts( ranges ) : ranges );
}

void IptablesRuleReader::protocol() {
  const Word word = words_.next( "the protocol" );
  const auto number = isNumber( word )
                          ? static_cast< U8 >( words_.numberIn( word, "protocol", 0xFF ) )
                          : protocolFromText( word );
  const bool any = sameWord( word, "all" ) || sameWord( word, "ip" ) || number == 0;
  if ( !number && !any )
    words_.failName( "protocol", word, protocolNames() );
  set( FieldId::protocol, Matches{ any ? TernaryBits() : exactly( *number, 0xFF ) } );
}

void IptablesRuleReader::address( FieldId field ) {
  Matches matches;
  for ( const Word part : partsOf( words_.next( "an address" ), ',' ) ) {
    matches.push_back( prefixIn( words_, ip6(), part ) );
    if ( matches.size() > alternativesMax )
      words_.fail( fmt::format( "more than {} addresses", alternativesMax ) );
  }
  set( field, matches );
}

// LOW-HIGH.
void IptablesRuleReader::range( FieldId field ) {
  const auto [ first, last ] = splitAt( words_.next( "a range of addresses" ), '-' );
  const FieldBits low = addressBits( words_, ip6(), first );
  const FieldBits high = addressBits( words_, ip6(), last.value_or( first ) );
  if ( high < low )
    words_.fail( "the range is empty" );
  const Matches cover = prefixCover( low, high, matchField( field ).width, inverted_ );
  inverted_ = false;
  set( field, cover );
}

void IptablesRuleReader::mac() {
  const Word word = words_.next( "a MAC address" );
  const auto address = macFromText( word );
  if ( !address )
    words_.fail( fmt::format( "\"{}\" is not a MAC address", word ) );
  set( FieldId::sourceMac, Matches{ exactly( *address, macMask ) } );
}

// No packet enters a switch at its loopback interface.
void IptablesRuleReader::interface() {
  const Word name = words_.next( "an interface" );
  const bool all = name == "+";
  if ( !all && name != "lo" )
    words_.fail( fmt::format( "rules for one interface ({}) are not read: bind the list", name ) );
  never_ = never_ || all == inverted_;
  if ( !all && !inverted_ )
    context_.notes.add( "rules for the interface lo match no packet and are left out" );
}

void IptablesRuleReader::fragment() {
  if ( ip6() )
    words_.fail( "-f is for IPv4" );
  checkOnce( FieldId::fragments );
  match_.fragments = inverted_ ? Fragments::notLater : Fragments::later;
}

void IptablesRuleReader::module() {
  const Word name = words_.next( "the name of a match" );
  constexpr Word known[] = { "comment", "conntrack", "dscp",  "hl",  "icmp", "icmp6", "iprange",
                             "mac",     "multiport", "state", "tcp", "ttl",  "udp" };
  if ( std::find( std::begin( known ), std::end( known ), name ) == std::end( known ) )
    words_.fail( fmt::format(
        "the match {} is not read: an entry of a TCAM cannot hold it; there are {}", name,
        Platform::nearNames( { std::begin( known ), std::end( known ) }, name ) ) );
  modules_.push_back( name );
}

void IptablesRuleReader::skipCounters() {
  words_.number( "packets", 0xFFFFFFFF );
  words_.number( "bytes", 0xFFFFFFFF );
}

// Of two ranges of a rule either must match: two rules. Inverted, neither may.
void IptablesRuleReader::eitherPort() {
  const Ranges list = portList( words_ );
  set( FieldId::sourcePorts, list );
  set( FieldId::destinationPorts, list );
  eitherPort_ = !inverted_;
}

void IptablesRuleReader::flags( U8 mask, U8 value ) {
  if ( ( value & ~mask ) != 0 )
    words_.fail( "no packet matches this: a flag is required that is not looked at" );
  const TernaryBits match = exactly( value, mask );
  if ( inverted_ )
    set( FieldId::tcpFlags, Matches{ match } );
  else
    set( FieldId::tcpFlags, presentBits( match, 8 ) );
}

void IptablesRuleReader::tcpFlags() {
  const U8 mask = flagList( words_, words_.next( "the flags to look at" ) );
  flags( mask, flagList( words_, words_.next( "the flags that are set" ) ) );
}

void IptablesRuleReader::syn() {
  flags( 0x17, 0x02 );
}

// TYPE, TYPE/CODE, or a name.
void IptablesRuleReader::icmpType() {
  const Word word = words_.next( "the ICMP type" );
  auto named = icmpTypeFromText( context_.kind, word );
  // Here the name of a type, elsewhere that of one of its codes.
  if ( !ip6() && sameWord( word, "ttl-exceeded" ) )
    named = icmpTypeFromText( context_.kind, "time-exceeded" );
  if ( named )
    return set( FieldId::icmp, Matches{ ternary( *named ) } );
  if ( !ip6() && !inverted_ && sameWord( word, "any" ) )
    return set( FieldId::icmp, presentBits( {}, 16 ) );
  const auto [ type, code ] = splitAt( word, '/' );
  if ( !isNumber( type ) )
    words_.failName( "ICMP type", word, icmpTypeNames( context_.kind ) );
  TernaryBits match = exactly( words_.numberIn( type, "ICMP type", 0xFF ) << 8, 0xFF00 );
  if ( code )
    match = exactly( match.value.low | words_.numberIn( *code, "ICMP code", 0xFF ), 0xFFFF );
  if ( !ip6() && match == exactly( 0xFF00, 0xFF00 ) )
    words_.fail( "255 is any ICMP type: write any" );
  set( FieldId::icmp, Matches{ match } );
}

// The value, those below it, or those above it.
void IptablesRuleReader::ttl( int below, int above ) {
  const U32 value = words_.number( "the TTL", 0xFF );
  if ( ( below != 0 && value == 0 ) || ( above != 0 && value == 0xFF ) )
    words_.fail( "no packet matches this" );
  const AnyRange range = below != 0   ? AnyRange{ 0, value - 1 }
                         : above != 0 ? AnyRange{ value + 1, 0xFF }
                                      : AnyRange{ value, value };
  set( FieldId::ttl, Ranges{ range } );
}

void IptablesRuleReader::dscpClass() {
  const Word word = words_.next( "the DSCP" );
  const auto value = dscpFromText( word );
  if ( !value )
    words_.failName( "class", word, dscpNames() );
  set( FieldId::dscp, Matches{ exactly( *value, 0x3F ) } );
}

void IptablesRuleReader::state() {
  for ( const Word name : partsOf( words_.next( "a state" ), ',' ) )
    if ( !sameWord( name, "ESTABLISHED" ) )
      words_.fail( fmt::format( "the state {} is not read: a switch keeps none", name ) );
  if ( !context_.assumeEstablished )
    words_.fail(
        "the state ESTABLISHED is not read: a switch keeps none; --assume-established tcp-flags "
        "takes it for TCP with ACK or RST" );
  established_ = true;
}

void IptablesRuleReader::jump() {
  target( false );
}

void IptablesRuleReader::go() {
  target( true );
}

void IptablesRuleReader::target( bool go ) {
  const Word name = words_.next( "a target" );
  if ( hasTarget_ )
    words_.fail( "a rule has one target" );
  hasTarget_ = true;
  const auto chain = context_.chainNamed( name );
  if ( chain ) {
    rule_.chain = *chain;
    rule_.verdict = go ? ChainVerdict::go : ChainVerdict::call;
  } else if ( go ) {
    words_.fail( fmt::format( "there is no chain {}", name ) );
  } else if ( name == "ACCEPT" ) {
    rule_.verdict = ChainVerdict::accept;
  } else if ( name == "DROP" || name == "REJECT" ) {
    rule_.verdict = ChainVerdict::drop;
    if ( name == "REJECT" )
      context_.notes.reject();
  } else if ( name == "RETURN" ) {
    rule_.verdict = ChainVerdict::back;
  } else if ( name == "LOG" ) {
    context_.notes.logging();
  } else {
    words_.fail(
        fmt::format( "{} is neither a chain nor ACCEPT, DROP, REJECT, RETURN or LOG", name ) );
  }
}

// The matches of a protocol are for packets of the protocol.
void IptablesRuleReader::checkModules() const {
  const std::pair< Word, U8 > protocols[] = { { "tcp", protocolTcp },
                                              { "udp", protocolUdp },
                                              { "icmp", protocolIcmp },
                                              { "icmp6", protocolIcmp6 } };
  for ( const Word module : modules_ )
    for ( const auto & [ name, number ] : protocols )
      if ( module == name && !match_.isFor( number ) )
        words_.fail( fmt::format( "-m {} needs -p {}", name, protocolText( number ) ) );
}

void IptablesRuleReader::finish() {
  checkModules();
  if ( established_ )
    finishEstablished();
  for ( const MatchField & field : matchFields() ) {
    if ( field.needs == FieldNeeds::nothing || !restricts( field, match_ ) )
      continue;
    const bool icmp = field.needs == FieldNeeds::icmp;
    const bool protocol = icmp ? match_.isFor( ip6() ? protocolIcmp6 : protocolIcmp )
                               : restricts( matchField( FieldId::protocol ), match_ ) &&
                                     missingProtocol( field, match_ ) == nullptr;
    if ( match_.fragments == Fragments::later )
      words_.fail( fmt::format( "later fragments have no {}", field.name ) );
    if ( !protocol )
      words_.fail( fmt::format( "{} needs -p {}", field.name,
                                icmp                             ? "icmp of the list's family"
                                : field.needs == FieldNeeds::tcp ? "tcp"
                                                                 : "tcp or udp" ) );
  }
}

// Of other protocols only permits may be left out.
void IptablesRuleReader::finishEstablished() {
  const bool any = !restricts( matchField( FieldId::protocol ), match_ );
  if ( any && rule_.verdict == ChainVerdict::accept )
    match_.protocol = { protocolTcp, 0xFF };
  if ( !match_.isFor( protocolTcp ) )
    words_.fail( "ESTABLISHED needs -p tcp, or -j ACCEPT, which is then for TCP only" );
  AclRule flags;
  setMatches( flags, FieldId::tcpFlags, establishedFlags() );
  if ( restrictTo( match_, flags ) != Meet::some )
    words_.fail( "no packet matches this" );
  context_.notes.add(
      "ESTABLISHED is taken for TCP with ACK or RST (--assume-established tcp-flags), of other "
      "protocols for none" );
}

}  // namespace

std::vector< ChainRule > readIptablesRule( WordReader & words, const IptablesContext & context ) {
  return IptablesRuleReader( words, context ).read();
}

}  // namespace Agent
