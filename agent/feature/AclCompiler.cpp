#include "agent/feature/AclCompiler.h"

#include <fmt/core.h>

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "agent/acl/RuleText.h"
#include "agent/feature/FieldCover.h"

namespace Agent {

namespace {

constexpr U16 etherIpv4 = 0x0800;
constexpr U16 etherIpv6 = 0x86DD;

bool restrictsL4( const AclRule & rule ) {
  const auto fields = matchFields();
  return std::any_of( fields.begin(), fields.end(), [ & ]( const MatchField & field ) {
    return field.needs != FieldNeeds::nothing && restricts( field, rule );
  } );
}

// The packets of an IP list have the type of its kind.
bool typeIsImplied( AclKind kind, const AclRule & rule ) {
  if ( kind == AclKind::mac )
    return false;
  const TernaryBits type = { { 0, kind == AclKind::ipv4 ? etherIpv4 : etherIpv6 }, { 0, 0xFFFF } };
  const auto types = matchesIn( matchField( FieldId::etherType ), rule );
  return std::find( types.begin(), types.end(), type ) != types.end();
}

void setProtocols( AclRule & rule, std::initializer_list< U8 > protocols ) {
  std::vector< TernaryBits > matches;
  for ( const U8 protocol : protocols )
    matches.push_back( { { 0, protocol }, { 0, 0xFF } } );
  setMatches( rule, FieldId::protocol, matches );
}

// The rule with what its fields imply: an L4 field names the protocols that have it.
AclRule explicitRule( AclKind kind, AclRule rule ) {
  if ( typeIsImplied( kind, rule ) )
    setMatches( rule, FieldId::etherType, std::vector< TernaryBits >( 1 ) );
  if ( kind == AclKind::mac || restricts( matchField( FieldId::protocol ), rule ) )
    return rule;
  if ( restricts( matchField( FieldId::icmp ), rule ) )
    setProtocols( rule, { kind == AclKind::ipv6 ? protocolIcmp6 : protocolIcmp } );
  else if ( restricts( matchField( FieldId::tcpFlags ), rule ) )
    setProtocols( rule, { protocolTcp } );
  else if ( restrictsL4( rule ) )
    setProtocols( rule, { protocolTcp, protocolUdp } );
  return rule;
}

// What matches the later fragments of the packets of a rule on L4 fields.
AclRule laterFragmentRule( AclRule rule ) {
  rule.sourcePorts = rule.destinationPorts = {};
  rule.tcpFlags = {};
  rule.icmpTypeCode = {};
  std::erase_if( rule.alternatives, []( const Alternative & other ) {
    return matchField( other.field ).needs != FieldNeeds::nothing;
  } );
  rule.fragments = Fragments::later;
  return rule;
}

bool passesLaterFragments( const Acl & acl, const AclRule & rule ) {
  const bool wanted = rule.fragments == Fragments::any || rule.fragments == Fragments::later ||
                      rule.fragments == Fragments::fragment;
  return acl.kind != AclKind::mac && acl.laterFragments == LaterFragments::permittedByL3 &&
         rule.forwarding == Forwarding::permit && wanted && restrictsL4( rule );
}

U32 checkerOf( const MatchField & field, const RangeCheckers & checkers ) {
  return field.id == FieldId::sourcePorts        ? checkers.source
         : field.id == FieldId::destinationPorts ? checkers.destination
                                                 : 0;
}

FieldBits shifted( const FieldBits & bits, U32 shift ) {
  return shift == 0 ? bits : FieldBits{ 0, bits.low << shift };
}

std::vector< EntryField > matchesOf( const MatchField & field, const AclRule & rule, U32 checker ) {
  if ( checker != 0 )
    return { { bcmFieldQualifyRangeCheck, {}, checker } };
  const auto qualifier = field.id == FieldId::inPorts ? bcmFieldQualifyInPort : field.qualifier;
  std::vector< EntryField > matches;
  for ( const TernaryBits & match : coverOf( field, rule ) )
    matches.push_back(
        { qualifier,
          { shifted( match.value, field.shift ), shifted( match.mask, field.shift ) },
          0 } );
  return matches;
}

bcm_pbmp_t portsOf( const AclRule & rule ) {
  bcm_pbmp_t ports = {};
  for ( const AnyRange & range : rangesIn( matchField( FieldId::inPorts ), rule ) )
    for ( U32 port = range.low; port <= range.high; ++port )
      ports.add( port );
  return ports;
}

// Fields that share a qualifier, DSCP and ECN, are one match.
void append( std::vector< EntryField > & fields, const EntryField & match ) {
  if ( match.rangeChecker != 0 || fields.empty() || fields.back().qualifier != match.qualifier ) {
    fields.push_back( match );
    return;
  }
  TernaryBits & bits = fields.back().bits;
  bits.value.low |= match.bits.value.low;
  bits.mask.low |= match.bits.mask.low;
}

}  // namespace

EntryPlan::EntryPlan( const Acl & acl, const AclRule & rule, const RangeCheckers & checkers,
                      PortKey ports )
    : kind_( acl.kind ) {
  const AclRule whole = explicitRule( acl.kind, rule );
  if ( ports == PortKey::bitmap && restricts( matchField( FieldId::inPorts ), rule ) )
    ports_ = portsOf( rule );
  addProduct( whole, checkers, ports );
  if ( passesLaterFragments( acl, rule ) )
    addProduct( laterFragmentRule( whole ), {}, ports );
}

void EntryPlan::addProduct( const AclRule & rule, const RangeCheckers & checkers, PortKey ports ) {
  Product & product = products_.emplace_back();
  for ( const MatchField & field : matchFields() ) {
    const bool inBitmap = field.id == FieldId::inPorts && ports == PortKey::bitmap;
    if ( field.isIn( kind_ ) && !inBitmap && restricts( field, rule ) )
      product.push_back( { &field, matchesOf( field, rule, checkerOf( field, checkers ) ) } );
  }
}

U64 EntryPlan::sizeOf( const Product & product ) {
  U64 size = 1;
  for ( const Part & part : product )
    size *= part.matches.size();
  return size;
}

U64 EntryPlan::size() const {
  U64 size = 0;
  for ( const Product & product : products_ )
    size += sizeOf( product );
  return size;
}

// The last field varies fastest.
EntryMatch EntryPlan::entry( U64 index ) const {
  auto product = products_.begin();
  for ( ; index >= sizeOf( *product ); ++product )
    index -= sizeOf( *product );
  U64 rest = sizeOf( *product );
  EntryMatch match;
  match.kind = kind_;
  match.ports = ports_;
  for ( const Part & part : *product ) {
    rest /= part.matches.size();
    append( match.fields, part.matches[ index / rest ] );
    index %= rest;
  }
  return match;
}

std::string EntryPlan::reason( const AclRule & rule ) const {
  std::string text;
  for ( const Part & part : products_.front() ) {
    if ( part.matches.size() == 1 )
      continue;
    text += text.empty() ? "" : " x ";
    if ( part.field->isRange() )
      text += fmt::format( "{} {}: {} prefixes", part.field->name, fieldText( *part.field, rule ),
                           part.matches.size() );
    else
      text += fmt::format( "{}: {} values", part.field->name, part.matches.size() );
  }
  if ( products_.size() > 1 )
    text += fmt::format( "{}{} for later fragments", text.empty() ? "1 + " : " + ",
                         sizeOf( products_.back() ) );
  return text;
}

std::optional< AnyRange > checkerRange( FieldId ports, const AclRule & rule ) {
  const MatchField & field = matchField( ports );
  if ( !restricts( field, rule ) )
    return std::nullopt;
  const auto ranges = mergedRanges( rangesIn( field, rule ) );
  if ( ranges.size() != 1 || prefixesOf( ranges.front(), field.width ).size() == 1 )
    return std::nullopt;
  return ranges.front();
}

std::vector< const MatchField * > matchedFields( const Acl & acl, const AclRule & rule ) {
  AclRule whole = explicitRule( acl.kind, rule );
  if ( passesLaterFragments( acl, rule ) )
    whole.fragments = Fragments::later;
  std::vector< const MatchField * > fields;
  for ( const MatchField & field : matchFields() )
    if ( field.isIn( acl.kind ) && restricts( field, whole ) )
      fields.push_back( &field );
  return fields;
}

}  // namespace Agent
