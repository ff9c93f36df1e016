#include "agent/read/DraftRule.h"

#include <fmt/core.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "agent/acl/Names.h"

namespace Agent {

namespace {

constexpr U16 etherTypeIp4 = 0x0800;
constexpr U16 etherTypeArp = 0x0806;
constexpr U16 etherTypeIp6 = 0x86DD;

Families familyOf( U32 etherType ) {
  return etherType == etherTypeIp4   ? familyIp4
         : etherType == etherTypeIp6 ? familyIp6
                                     : familyOther;
}

Families familyOf( AclKind kind ) {
  return kind == AclKind::ipv4 ? familyIp4 : kind == AclKind::ipv6 ? familyIp6 : familyOther;
}

// Fields that only IP packets have.
bool isIpField( FieldId field ) {
  return !matchField( field ).isIn( AclKind::mac );
}

}  // namespace

DraftRule::DraftRule( const std::string & file, const std::string & name, Platform::Place place )
    : file_( &file ), place_( place ) {
  rule.name = name;
  rule.line = place.line;
  rule.column = place.column;
}

void DraftRule::fail( const std::string & what ) const {
  throw Platform::InputError( *file_, place_, what );
}

void DraftRule::restrictTo( const Leaf & leaf, Families families ) {
  families_ &= families;
  if ( families_ == 0 )
    leaf.refuse( "contradicts the family of another field of the rule" );
}

void DraftRule::restrictBits( const Leaf & leaf, FieldId field ) {
  if ( restricts( matchField( field ), rule ) )
    leaf.refuse( "matches a field that the rule matches already" );
  if ( isIpField( field ) )
    restrictTo( leaf, familyIp );
}

void DraftRule::match( const Leaf & leaf, FieldId field,
                       const std::vector< TernaryBits > & matches ) {
  if ( matches.empty() )
    leaf.refuse( "is empty: the rule would match nothing" );
  restrictBits( leaf, field );
  setMatches( rule, field, matches );
}

void DraftRule::match( const Leaf & leaf, FieldId field, const TernaryBits & bits ) {
  match( leaf, field, std::vector{ bits } );
}

void DraftRule::ranges( const Leaf & leaf, FieldId field, const std::vector< AnyRange > & ranges ) {
  if ( ranges.empty() )
    leaf.refuse( "is empty: the rule would match nothing" );
  restrictBits( leaf, field );
  setRanges( rule, field, ranges );
}

void DraftRule::range( const Leaf & leaf, FieldId field, const AnyRange & range ) {
  ranges( leaf, field, { range } );
}

void DraftRule::address( const Leaf & leaf, bool source ) {
  const AddressMatch address = leaf.address();
  restrictTo( leaf, address.ip6 ? familyIp6 : familyIp4 );
  if ( address.ip6 )
    match( leaf, source ? FieldId::source6 : FieldId::destination6, address.bits );
  else
    match( leaf, source ? FieldId::source : FieldId::destination, address.bits );
}

// A mask without its address is not looked for: as an unknown key it refuses the rule.
void DraftRule::mac( Platform::JsonFields & fields, const std::string & key, FieldId field ) {
  const auto leaf = findLeaf( fields, key.c_str() );
  if ( !leaf )
    return;
  TernaryBits bits = leaf->macAddress();
  if ( const auto mask = findLeaf( fields, ( key + "-mask" ).c_str() ) ) {
    bits.mask = mask->macAddress().value;
    if ( ( bits.value.low & ~bits.mask.low ) != 0 )
      mask->refuse( "does not cover the address" );
  }
  match( *leaf, field, bits );
}

void DraftRule::etherType( const Leaf & leaf ) {
  etherType( leaf, static_cast< U16 >( leaf.etherType().value.low ) );
}

void DraftRule::arp( const Leaf & leaf ) {
  etherType( leaf, etherTypeArp );
}

void DraftRule::etherType( const Leaf & leaf, U16 type ) {
  if ( etherType_ && *etherType_ != type )
    leaf.refuse( "contradicts the ethertype of another field of the rule" );
  etherType_ = type;
  restrictTo( leaf, familyOf( type ) );
}

void DraftRule::ports( const Leaf & leaf, FieldId field ) {
  namedPorts_.push_back( { 0, leaf.text(), leaf.node().line, leaf.node().column, field } );
}

void DraftRule::protocol( const Leaf & leaf, U8 number ) {
  if ( icmp_ || ( protocol_ && *protocol_ != number ) )
    leaf.refuse( "contradicts the protocol of another field of the rule" );
  protocol_ = number;
  restrictTo( leaf, familyIp );
}

void DraftRule::namedProtocol( const Leaf & leaf, std::string_view prefix ) {
  if ( !leaf.isText() || numberOf( leaf.text() ) ) {
    protocol( leaf, static_cast< U8 >( leaf.number( 0, 0xFF ) ) );
    return;
  }
  std::string_view name = leaf.identity();
  auto number = protocolFromText( name );
  if ( !number && name.starts_with( prefix ) )
    name.remove_prefix( prefix.size() );
  if ( !number )
    number = protocolFromText( name );
  if ( !number )
    leaf.failName( "a protocol", name, protocolNames() );
  if ( *number == protocolIcmp )
    icmpProtocol( leaf );
  else
    protocol( leaf, *number );
}

void DraftRule::icmpProtocol( const Leaf & leaf ) {
  if ( protocol_ && *protocol_ != protocolIcmp && *protocol_ != protocolIcmp6 )
    leaf.refuse( "contradicts the protocol of another field of the rule" );
  icmp_ = !protocol_;
  restrictTo( leaf, familyIp );
}

void DraftRule::fragments( const Leaf & leaf, Fragments fragments ) {
  restrictBits( leaf, FieldId::fragments );
  rule.fragments = fragments;
}

void DraftRule::icmpType( const Leaf & leaf, U8 type ) {
  restrictTo( leaf, familyIp );
  rule.icmpTypeCode.value |= static_cast< U16 >( type << 8 );
  rule.icmpTypeCode.mask |= 0xFF00;
}

void DraftRule::icmpCode( const Leaf & leaf, U8 code ) {
  restrictTo( leaf, familyIp );
  rule.icmpTypeCode.value |= code;
  rule.icmpTypeCode.mask |= 0x00FF;
}

void DraftRule::complete() {
  if ( rule.icmpTypeCode.mask != 0 && !protocol_ )
    icmp_ = true;
  // The types of one family's ICMP are not those of the other's.
  if ( rule.icmpTypeCode.mask != 0 && protocol_ )
    families_ &= *protocol_ == protocolIcmp ? familyIp4 : familyIp6;
  if ( families_ == 0 )
    fail( fmt::format( "protocol {} is not ICMP of the rule's family", *protocol_ ) );
  if ( restricts( matchField( FieldId::tcpFlags ), rule ) && !protocol_ && !icmp_ )
    protocol_ = protocolTcp;
  if ( protocol_ )
    rule.protocol = { *protocol_, 0xFF };
  if ( icmp_ )
    rule.protocol = { protocolIcmp, 0xFF };
  for ( const MatchField & field : matchFields() )
    if ( const char * missing = missingProtocol( field, rule );
         missing != nullptr && restricts( field, rule ) )
      fail( fmt::format( "{} needs the protocol {}", field.name, missing ) );
}

AclRule DraftRule::in( AclKind kind ) const {
  AclRule copy = rule;
  if ( icmp_ )
    copy.protocol = { kind == AclKind::ipv6 ? protocolIcmp6 : protocolIcmp, 0xFF };
  if ( kind == AclKind::mac && etherType_ )
    copy.etherType = { *etherType_, 0xFFFF };
  return copy;
}

bool DraftRule::matchesAnyFrame() const {
  return families_ == familyAll && ( rule.sourceMac.mask != 0 || rule.destinationMac.mask != 0 );
}

void InferredScope::add( const DraftRule & draft ) {
  empty_ = false;
  if ( draft.families() != familyAll && draft.families() != familyIp )
    named_ |= draft.families();
  frames_ = frames_ || draft.matchesAnyFrame();
}

ListScope InferredScope::scope() const {
  if ( empty_ )
    return { 0, 0, false };
  const Families ip = named_ & familyIp;
  if ( frames_ && ip == 0 )
    return { familyOther, familyAll, true };
  const Families usual = ip == 0 ? familyIp : ip;
  return { usual, static_cast< Families >( usual | named_ ), false };
}

void ListBuilder::add( const DraftRule & draft, U32 order ) {
  Families families = draft.families() & scope_.possible;
  if ( draft.families() == familyAll )
    families = scope_.usual;
  if ( scope_.frames )
    families = ( draft.families() & scope_.possible ) != 0 ? familyOther : 0;
  if ( families == 0 )
    draft.fail( "matches packets that a list of this type does not have" );
  if ( !scope_.frames && ( scope_.possible & familyOther ) != 0 && draft.matchesAnyFrame() )
    draft.fail( "needs an ethertype: the list has rules for packets with and without IP" );
  for ( const NamedPorts & ports : draft.namedPorts() )
    checkPorts( ports );
  for ( const AclKind kind : { AclKind::ipv4, AclKind::ipv6, AclKind::mac } ) {
    if ( ( families & familyOf( kind ) ) == 0 )
      continue;
    AclRule rule = draft.in( kind );
    for ( const MatchField & field : matchFields() )
      if ( !field.isIn( kind ) && restricts( field, rule ) )
        draft.fail( fmt::format( "{} cannot be matched in a list of type {}", field.name,
                                 kindName( kind ) ) );
    Rules & rules = rules_[ static_cast< size_t >( kind ) ];
    document_.requireRoom( head_.name, rules.rules.size(), draft.place() );
    for ( const NamedPorts & ports : draft.namedPorts() ) {
      rules.namedPorts.push_back( ports );
      rules.namedPorts.back().rule = static_cast< U32 >( rules.rules.size() );
    }
    rules.rules.push_back( std::move( rule ) );
    rules.orders.push_back( order );
  }
}

// By which port a packet leaves is not known when it enters.
void ListBuilder::checkPorts( const NamedPorts & ports ) const {
  const auto & bindings = head_.bindings;
  const bool leaves =
      !bindings.empty() && std::all_of( bindings.begin(), bindings.end(),
                                        []( const Binding & binding ) { return binding.egress; } );
  if ( ports.field == FieldId::outPorts && !leaves )
    throw Platform::InputError( head_.file, { ports.line, ports.column },
                                "ports by which packets leave can be matched only in a list that "
                                "the file binds to packets that leave" );
}

// In place: a list can be long.
void ListBuilder::sort( Rules & list ) {
  const auto & orders = list.orders;
  if ( std::is_sorted( orders.begin(), orders.end() ) )
    return;
  std::vector< U32 > from( orders.size() );
  std::iota( from.begin(), from.end(), 0U );
  std::stable_sort( from.begin(), from.end(),
                    [ & ]( U32 a, U32 b ) { return orders[ a ] < orders[ b ]; } );
  std::vector< U32 > to( from.size() );
  for ( U32 i = 0; i < from.size(); ++i )
    to[ from[ i ] ] = i;
  for ( NamedPorts & ports : list.namedPorts )
    ports.rule = to[ ports.rule ];
  for ( U32 i = 0; i < to.size(); ++i )
    while ( to[ i ] != i ) {
      std::swap( list.rules[ i ], list.rules[ to[ i ] ] );
      std::swap( to[ i ], to[ to[ i ] ] );
    }
}

void ListBuilder::take( std::vector< Acl > & lists ) {
  const size_t first = lists.size();
  // A list without rules is left out, unless it had some.
  const bool refused = document_.refusals.hasRulesOf( head_.name ) &&
                       std::all_of( std::begin( rules_ ), std::end( rules_ ),
                                    []( const Rules & each ) { return each.rules.empty(); } );
  for ( const AclKind kind : { AclKind::ipv4, AclKind::ipv6, AclKind::mac } ) {
    sort( rules_[ static_cast< size_t >( kind ) ] );
    auto & [ rules, orders, namedPorts ] = rules_[ static_cast< size_t >( kind ) ];
    const bool usual = ( scope_.usual & familyOf( kind ) ) != 0;
    const bool decides = head_.defaultAction != Forwarding::none && kind != AclKind::mac && usual;
    if ( rules.empty() && !decides && !( refused && usual ) )
      continue;
    lists.push_back( head_ );
    lists.back().kind = kind;
    lists.back().rules = std::move( rules );
    lists.back().namedPorts = std::move( namedPorts );
    // A default of a MAC list would decide about IP packets.
    if ( kind == AclKind::mac && !scope_.frames )
      lists.back().defaultAction = Forwarding::none;
  }
  if ( lists.size() - first > 1 )
    for ( size_t i = first; i < lists.size(); ++i ) {
      lists[ i ].whole = head_.name;
      lists[ i ].name += fmt::format( "-{}", kindName( lists[ i ].kind ) );
    }
}

DraftList::DraftList( AclDocument & document, Acl head, std::optional< ListScope > scope )
    : document_( document ), head_( std::move( head ) ) {
  if ( scope )
    builder_.emplace( document, head_, *scope );
}

void DraftList::add( DraftRule draft, U32 order ) {
  if ( builder_ )
    return builder_->add( draft, order );
  document_.requireRoom( head_.name, drafts_.size() / kinds, draft.place() );
  inferred_.add( draft );
  drafts_.push_back( { order, std::move( draft ) } );
}

void DraftList::take() {
  if ( !builder_ )
    builder_.emplace( document_, head_,
                      drafts_.empty() && document_.refusals.hasRulesOf( head_.name )
                          ? ListScope{ familyIp, familyIp, false }
                          : inferred_.scope() );
  for ( const Numbered & each : drafts_ )
    document_.refusals.guard( head_.name, each.draft.rule.name,
                              [ & ] { builder_->add( each.draft, each.order ); } );
  builder_->take( document_.lists );
}

}  // namespace Agent
