#include "agent/acl/MatchFields.h"

#include <algorithm>
#include <bit>

#include "kiv/Assert.h"

namespace Agent {

namespace {

using enum FieldText;
using Id = FieldId;
using Rule = AclRule;

constexpr std::array< bool, 3 > ip4 = { true, false, false };
constexpr std::array< bool, 3 > ip6 = { false, true, false };
constexpr std::array< bool, 3 > ip = { true, true, false };
constexpr std::array< bool, 3 > all = { true, true, true };
constexpr auto always = FieldNeeds::nothing;
constexpr auto l4 = FieldNeeds::ports;

#define QUALIFIER( name ) bcmFieldQualify##name
constexpr MatchField fields[] = {
    { Id::source, "source", 32, 0, QUALIFIER( SrcIp ), ip4Prefix, always, ip4, &Rule::source },
    { Id::destination, "destination", 32, 0, QUALIFIER( DstIp ), ip4Prefix, always, ip4,
      &Rule::destination },
    { Id::source6, "source", 128, 0, QUALIFIER( SrcIp6 ), ip6Prefix, always, ip6, &Rule::source6 },
    { Id::destination6, "destination", 128, 0, QUALIFIER( DstIp6 ), ip6Prefix, always, ip6,
      &Rule::destination6 },
    { Id::sourceMac, "sourceMac", 48, 0, QUALIFIER( SrcMac ), mac, always, all, &Rule::sourceMac },
    { Id::destinationMac, "destinationMac", 48, 0, QUALIFIER( DstMac ), mac, always, all,
      &Rule::destinationMac },
    { Id::etherType, "etherType", 16, 0, QUALIFIER( EtherType ), etherType, always, all,
      &Rule::etherType },
    { Id::vlan, "vlan", 12, 0, QUALIFIER( OuterVlanId ), number, always, all, &Rule::vlan },
    { Id::vlanPriority, "vlanPriority", 3, 0, QUALIFIER( OuterVlanPri ), number, always, all,
      &Rule::vlanPriority },
    { Id::innerVlan, "innerVlan", 12, 0, QUALIFIER( InnerVlanId ), number, always, all,
      &Rule::innerVlan },
    { Id::protocol, "protocol", 8, 0, QUALIFIER( IpProtocol ), protocol, always, ip,
      &Rule::protocol },
    { Id::dscp, "dscp", 6, 2, QUALIFIER( DSCP ), dscp, always, ip, &Rule::dscp },
    { Id::ecn, "ecn", 2, 0, QUALIFIER( DSCP ), number, always, ip, &Rule::ecn },
    { Id::ttl, "ttl", 8, 0, QUALIFIER( Ttl ), range, always, ip, &Rule::ttl },
    { Id::fragments, "fragments", 8, 0, QUALIFIER( IpFrag ), fragments, always, ip,
      &Rule::fragments },
    { Id::sourcePorts, "sourcePorts", 16, 0, QUALIFIER( L4SrcPort ), ports, l4, ip,
      &Rule::sourcePorts },
    { Id::destinationPorts, "destinationPorts", 16, 0, QUALIFIER( L4DstPort ), ports, l4, ip,
      &Rule::destinationPorts },
    { Id::tcpFlags, "tcpFlags", 8, 0, QUALIFIER( TcpControl ), flags, FieldNeeds::tcp, ip,
      &Rule::tcpFlags },
    { Id::icmp, "icmp", 16, 0, QUALIFIER( IcmpTypeCode ), icmp, FieldNeeds::icmp, ip,
      &Rule::icmpTypeCode },
    { Id::inPorts, "inPorts", 8, 0, QUALIFIER( InPorts ), range, always, all, &Rule::inPorts },
    { Id::outPorts, "outPorts", 8, 0, QUALIFIER( OutPort ), range, always, all, &Rule::outPorts },
};
#undef QUALIFIER

constexpr bool inOrder() {
  for ( size_t i = 0; i < std::size( fields ); ++i )
    if ( fields[ i ].id != FieldId( i ) )
      return false;
  return true;
}
static_assert( inOrder() );

template < class T >
void fromBits( T & value, const FieldBits & bits ) {
  if constexpr ( std::is_same_v< T, Ip6Address > )
    value = addressOf( bits );
  else
    value = static_cast< T >( bits.low );
}

// Value and mask, or low and high end.
template < class T >
TernaryBits pairOf( const FieldMatch< T > & match ) {
  return ternary( match );
}

template < class T >
TernaryBits pairOf( const FieldRange< T > & range ) {
  return { { 0, range.low }, { 0, range.high } };
}

TernaryBits pairOf( Fragments fragments ) {
  return { { 0, static_cast< U64 >( fragments ) },
           { 0, fragments == Fragments::any ? 0U : 0xFFU } };
}

template < class T >
void fromPair( FieldMatch< T > & match, const TernaryBits & pair ) {
  fromBits( match.value, pair.value );
  fromBits( match.mask, pair.mask );
}

template < class T >
void fromPair( FieldRange< T > & range, const TernaryBits & pair ) {
  fromBits( range.low, pair.value );
  fromBits( range.high, pair.mask );
}

void fromPair( Fragments & fragments, const TernaryBits & pair ) {
  fragments = Fragments( pair.value.low );
}

TernaryBits firstPair( const MatchField & field, const AclRule & rule ) {
  return std::visit( [ & ]( auto member ) { return pairOf( rule.*member ); }, field.member );
}

std::vector< TernaryBits > pairsIn( const MatchField & field, const AclRule & rule ) {
  std::vector< TernaryBits > pairs = { firstPair( field, rule ) };
  for ( const Alternative & other : rule.alternatives )
    if ( other.field == field.id )
      pairs.push_back( { other.value, other.mask } );
  return pairs;
}

void setPairs( AclRule & rule, FieldId id, std::span< const TernaryBits > pairs ) {
  KIV_ASSERT( !pairs.empty() );
  std::visit( [ & ]( auto member ) { fromPair( rule.*member, pairs.front() ); },
              matchField( id ).member );
  std::erase_if( rule.alternatives,
                 [ id ]( const Alternative & other ) { return other.field == id; } );
  for ( const TernaryBits & pair : pairs.subspan( 1 ) )
    rule.alternatives.push_back( { id, pair.value, pair.mask } );
}

bool isWildcard( const MatchField & field, const TernaryBits & pair ) {
  if ( field.isRange() )
    return pair.value.low == 0 && pair.mask.low == ( 1U << field.width ) - 1;
  return pair.any();
}

// True if every protocol that the rule allows is one of two.
bool onlyFor( const AclRule & rule, U8 one, U8 other ) {
  const auto protocols = matchesIn( matchField( FieldId::protocol ), rule );
  return std::all_of( protocols.begin(), protocols.end(), [ & ]( const TernaryBits & match ) {
    return match.mask.low == 0xFF && ( match.value.low == one || match.value.low == other );
  } );
}

}  // namespace

std::span< const MatchField > matchFields() {
  return fields;
}

const MatchField & matchField( FieldId id ) {
  return fields[ static_cast< size_t >( id ) ];
}

FieldBits fieldBits( const Ip6Address & address ) {
  FieldBits bits;
  for ( U32 i = 0; i < 8; ++i ) {
    bits.high = bits.high << 8 | address[ i ];
    bits.low = bits.low << 8 | address[ i + 8 ];
  }
  return bits;
}

Ip6Address addressOf( const FieldBits & bits ) {
  Ip6Address address;
  for ( U32 i = 0; i < 8; ++i ) {
    address[ i ] = static_cast< U8 >( bits.high >> ( 56 - 8 * i ) );
    address[ i + 8 ] = static_cast< U8 >( bits.low >> ( 56 - 8 * i ) );
  }
  return address;
}

std::vector< TernaryBits > matchesIn( const MatchField & field, const AclRule & rule ) {
  KIV_ASSERT( !field.isRange() );
  return pairsIn( field, rule );
}

std::vector< AnyRange > rangesIn( const MatchField & field, const AclRule & rule ) {
  KIV_ASSERT( field.isRange() );
  std::vector< AnyRange > ranges;
  for ( const TernaryBits & pair : pairsIn( field, rule ) )
    ranges.push_back(
        { static_cast< U32 >( pair.value.low ), static_cast< U32 >( pair.mask.low ) } );
  return ranges;
}

void setMatches( AclRule & rule, FieldId field, std::span< const TernaryBits > matches ) {
  KIV_ASSERT( !matchField( field ).isRange() );
  setPairs( rule, field, matches );
}

void setRanges( AclRule & rule, FieldId field, std::span< const AnyRange > ranges ) {
  KIV_ASSERT( matchField( field ).isRange() );
  std::vector< TernaryBits > pairs;
  for ( const AnyRange & range : ranges )
    pairs.push_back( { { 0, range.low }, { 0, range.high } } );
  setPairs( rule, field, pairs );
}

// Greedy from the low end: the largest aligned block inside the range is always optimal.
std::vector< TernaryBits > prefixesOf( const AnyRange & range, U32 width ) {
  std::vector< TernaryBits > prefixes;
  const U64 end = range.high + U64{ 1 };
  const U64 all = ( U64{ 1 } << width ) - 1;
  for ( U64 low = range.low; low < end; ) {
    const U64 aligned = low == 0 ? all + 1 : low & -low;
    const U64 size = std::min( aligned, std::bit_floor( end - low ) );
    prefixes.push_back( { { 0, low }, { 0, all & ~( size - 1 ) } } );
    low += size;
  }
  return prefixes;
}

bool restricts( const MatchField & field, const AclRule & rule ) {
  if ( isWildcard( field, firstPair( field, rule ) ) )
    return false;
  return std::none_of(
      rule.alternatives.begin(), rule.alternatives.end(), [ & ]( const Alternative & other ) {
        return other.field == field.id && isWildcard( field, { other.value, other.mask } );
      } );
}

const char * missingProtocol( const MatchField & field, const AclRule & rule ) {
  const bool anyProtocol = !restricts( matchField( FieldId::protocol ), rule );
  switch ( field.needs ) {
    case FieldNeeds::nothing:
      break;
    case FieldNeeds::ports:
      return anyProtocol || onlyFor( rule, protocolTcp, protocolUdp ) ? nullptr : "tcp or udp";
    case FieldNeeds::tcp:
      return onlyFor( rule, protocolTcp, protocolTcp ) ? nullptr : "tcp";
    case FieldNeeds::icmp:
      return onlyFor( rule, protocolIcmp, protocolIcmp6 ) ? nullptr : "icmp or icmp6";
  }
  return nullptr;
}

}  // namespace Agent
