#include "agent/read/OpenConfigMatches.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>

#include "agent/acl/Names.h"

namespace Agent {

namespace {

using Platform::JsonFields;
using Platform::JsonNode;

constexpr U32 protocolMax = 254;
constexpr U32 dscpMax = 63;
constexpr U8 tcpSyn = 0x02;

// Leaves of the model that no qualifier of the chip has.
constexpr std::string_view unmatched[] = { "length", "fragment-offsets", "source-flow-label",
                                           "destination-flow-label", "mpls" };

void refuseUnread( const JsonFields & fields ) {
  finishRefusing( fields, unmatched );
}

// Calls `read` with the "config" of a container, if the parent has it.
template < class F >
void inConfig( JsonFields & parent, const char * name, F && read ) {
  const auto leaf = findLeaf( parent, name );
  if ( !leaf )
    return;
  JsonFields container =
      openConfigFields( parent.file(), leaf->node(), fmt::format( "\"{}\"", name ) );
  container.find( "state" );
  const JsonNode empty{
      JsonNode::Kind::object, leaf->node().line, leaf->node().column, false, 0, {}, {}, {} };
  const JsonNode * node = container.find( "config" );
  JsonFields config = openConfigFields( parent.file(), node == nullptr ? empty : *node,
                                        fmt::format( "\"{}\"", name ) );
  read( container, config, *leaf );
  refuseUnread( config );
  refuseUnread( container );
}

void readL2( JsonFields & entry, DraftRule & draft ) {
  inConfig(
      entry, "l2",
      [ & ]( JsonFields &, JsonFields & config, const Leaf & ) {
        draft.mac( config, "source-mac", FieldId::sourceMac );
        draft.mac( config, "destination-mac", FieldId::destinationMac );
        if ( const auto leaf = findLeaf( config, "ethertype" ) )
          draft.etherType( *leaf );
      } );
}

void readAddress( JsonFields & config, bool ip6, bool source, const OpenConfigSets & sets,
                  DraftRule & draft ) {
  const std::string key = source ? "source-address" : "destination-address";
  if ( const auto leaf = findLeaf( config, key.c_str() ) )
    draft.address( *leaf, source );
  const auto set = findLeaf( config, ( key + "-prefix-set" ).c_str() );
  if ( !set )
    return;
  const FieldId field = ip6 ? ( source ? FieldId::source6 : FieldId::destination6 )
                            : ( source ? FieldId::source : FieldId::destination );
  draft.match( *set, field, sets.prefixes( *set, ip6 ) );
}

void readDscp( JsonFields & config, DraftRule & draft ) {
  const auto bitsOf = []( const Leaf & leaf ) {
    return exactly( leaf.number( 0, dscpMax ), dscpMax );
  };
  if ( const auto leaf = findLeaf( config, "dscp" ) )
    draft.match( *leaf, FieldId::dscp, bitsOf( *leaf ) );
  const auto set = findLeaf( config, "dscp-set" );
  if ( !set )
    return;
  std::vector< TernaryBits > values;
  for ( const Leaf & leaf : set->elements() )
    values.push_back( bitsOf( leaf ) );
  draft.match( *set, FieldId::dscp, values );
}

// Types and codes are identities, such as ECHO_REPLY; documents have numbers as well.
bool isIdentity( const Leaf & leaf ) {
  return leaf.isText() && !numberOf( leaf.text() );
}

U8 icmpTypeOf( const Leaf & leaf, AclKind kind ) {
  if ( !isIdentity( leaf ) )
    return static_cast< U8 >( leaf.number( 0, 0xFF ) );
  const auto match = icmpTypeFromText( kind, leaf.identity() );
  if ( !match || ( match->mask & 0xFF ) != 0 )
    leaf.failName( "a type of ICMP", leaf.identity(), icmpTypeNames( kind ) );
  return static_cast< U8 >( match->value >> 8 );
}

// An identity is a code of one type.
U8 icmpCodeOf( const Leaf & leaf, AclKind kind, const std::optional< U8 > & type ) {
  if ( !isIdentity( leaf ) )
    return static_cast< U8 >( leaf.number( 0, 0xFF ) );
  const auto match = icmpTypeFromText( kind, leaf.identity() );
  if ( !match || ( match->mask & 0xFF ) == 0 )
    leaf.failName( "a code of ICMP", leaf.identity(), icmpTypeNames( kind ) );
  if ( type != match->value >> 8 )
    leaf.refuse( fmt::format( "is a code of type {}", match->value >> 8 ) );
  return static_cast< U8 >( match->value & 0xFF );
}

void readIcmp( JsonFields & ip, bool ip6, DraftRule & draft ) {
  inConfig(
      ip, ip6 ? "icmpv6" : "icmpv4",
      [ & ]( JsonFields &, JsonFields & config, const Leaf & container ) {
        const AclKind kind = ip6 ? AclKind::ipv6 : AclKind::ipv4;
        draft.icmpProtocol( container );
        std::optional< U8 > type;
        if ( const auto leaf = findLeaf( config, "type" ) ) {
          type = icmpTypeOf( *leaf, kind );
          draft.icmpType( *leaf, *type );
        }
        if ( const auto leaf = findLeaf( config, "code" ) )
          draft.icmpCode( *leaf, icmpCodeOf( *leaf, kind, type ) );
      } );
}

void readIp( JsonFields & entry, bool ip6, const OpenConfigSets & sets, DraftRule & draft ) {
  inConfig(
      entry, ip6 ? "ipv6" : "ipv4",
      [ & ]( JsonFields & ip, JsonFields & config, const Leaf & container ) {
        draft.restrictTo( container, ip6 ? familyIp6 : familyIp4 );
        readAddress( config, ip6, true, sets, draft );
        readAddress( config, ip6, false, sets, draft );
        readDscp( config, draft );
        if ( const auto leaf = findLeaf( config, "protocol" ) ) {
          if ( !isIdentity( *leaf ) )
            leaf->number( 0, protocolMax );
          draft.namedProtocol( *leaf, "IP_" );
        }
        if ( const auto leaf = findLeaf( config, "hop-limit" ) ) {
          const U32 limit = leaf->number( 0, 0xFF );
          draft.range( *leaf, FieldId::ttl, { limit, limit } );
        }
        readIcmp( ip, ip6, draft );
      } );
}

void readPorts( JsonFields & config, const std::string & key, FieldId field,
                const OpenConfigSets & sets, DraftRule & draft ) {
  if ( const auto leaf = findLeaf( config, key.c_str() ) )
    draft.range( *leaf, field, openConfigPorts( *leaf ) );
  if ( const auto set = findLeaf( config, ( key + "-set" ).c_str() ) )
    draft.ranges( *set, field, sets.ports( *set ) );
}

// All of the flags are set, or any of them.
void matchFlags( const Leaf & leaf, bool any, DraftRule & draft ) {
  U8 all = 0;
  std::vector< TernaryBits > each;
  for ( const Leaf & element : leaf.elements() ) {
    const U8 flag = element.tcpFlag();
    all |= flag;
    each.push_back( exactly( flag, flag ) );
  }
  if ( all == 0 )
    leaf.fail( "a list of flags" );
  draft.match( leaf, FieldId::tcpFlags, any ? each : std::vector{ exactly( all, all ) } );
}

void readBuiltIn( const Leaf & leaf, DraftRule & draft ) {
  const std::string_view name = leaf.identity();
  if ( name == "TCP_INITIAL" )
    draft.match( leaf, FieldId::tcpFlags, exactly( tcpSyn, tcpSyn | tcpAck ) );
  else if ( name == "TCP_ESTABLISHED" )
    draft.match( leaf, FieldId::tcpFlags,
                 std::vector{ exactly( tcpAck, tcpAck ), exactly( tcpReset, tcpReset ) } );
  else if ( name == "FRAGMENT" )
    draft.fragments( leaf, Fragments::fragment );
  else
    leaf.fail( "TCP_INITIAL, TCP_ESTABLISHED or FRAGMENT" );
}

// An enumerator of two; the first one if the leaf is absent.
bool isSecond( const std::optional< Leaf > & leaf, std::string_view first,
               std::string_view second ) {
  if ( !leaf )
    return false;
  const std::string_view name = leaf->identity();
  if ( name != first && name != second )
    leaf->fail( fmt::format( "{} or {}", first, second ) );
  return name == second;
}

void readDetail( JsonFields & config, DraftRule & draft ) {
  const auto mode = findLeaf( config, "detail-mode" );
  const bool builtInMode = isSecond( mode, "EXPLICIT", "BUILTIN" );
  const auto matchMode = findLeaf( config, "explicit-detail-match-mode" );
  const bool all = isSecond( matchMode, "ANY", "ALL" );
  const auto flags = findLeaf( config, "explicit-tcp-flags" );
  const auto builtIn = findLeaf( config, "builtin-detail" );
  if ( flags && ( builtIn || builtInMode ) )
    flags->refuse( "needs the detail-mode EXPLICIT alone" );
  if ( builtIn && mode && !builtInMode )
    builtIn->refuse( "needs the detail-mode BUILTIN" );
  if ( mode && !flags && !builtIn )
    mode->refuse( "has no details to match" );
  if ( matchMode && !flags )
    matchMode->refuse( "has no flags to match" );
  if ( flags && !matchMode )
    flags->refuse( "needs explicit-detail-match-mode, ANY or ALL" );
  if ( flags )
    matchFlags( *flags, !all, draft );
  if ( builtIn )
    readBuiltIn( *builtIn, draft );
  // Of the model before 2.0.0.
  if ( const auto old = findLeaf( config, "tcp-flags" ) )
    matchFlags( *old, false, draft );
}

void readTransport( JsonFields & entry, const OpenConfigSets & sets, DraftRule & draft ) {
  inConfig(
      entry, "transport",
      [ & ]( JsonFields &, JsonFields & config, const Leaf & ) {
        readPorts( config, "source-port", FieldId::sourcePorts, sets, draft );
        readPorts( config, "destination-port", FieldId::destinationPorts, sets, draft );
        readDetail( config, draft );
      } );
}

// The port of the rule, by number.
void readInput( JsonFields & entry, DraftRule & draft ) {
  inConfig(
      entry, "input-interface",
      [ & ]( JsonFields & input, JsonFields &, const Leaf & ) {
        inConfig(
            input, "interface-ref",
            [ & ]( JsonFields &, JsonFields & config, const Leaf & ) {
              draft.ports( needLeaf( config, "interface" ), FieldId::inPorts );
            } );
      } );
}

}  // namespace

void readOpenConfigMatches( JsonFields & entry, const OpenConfigSets & sets, DraftRule & draft ) {
  readL2( entry, draft );
  readIp( entry, false, sets, draft );
  readIp( entry, true, sets, draft );
  readTransport( entry, sets, draft );
  readInput( entry, draft );
  refuseUnread( entry );
}

}  // namespace Agent
