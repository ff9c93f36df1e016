// Random lists over a few values of a few fields, and every packet that their rules tell apart.
#pragma once

#include <algorithm>
#include <random>
#include <tuple>

#include "agent/space/Space.h"
#include "agent/verify/BruteForce.h"

namespace Agent {

inline constexpr SpaceLimits fewNodes = { 20'000, 256 };  // quick to make

// Makes lists of a kind. Their rules differ in a few fields, which each instance chooses. Values
// that rules name are below 4, with wildcard bits; 4 stands for all others.
class FewBits {
 public:
  FewBits( AclKind kind, U32 seed ) : kind_( kind ), random_( seed ) {
    l4_ = kind != AclKind::mac && pick( 2 ) == 0;
    const U32 only = pick( 3 );
    inPorts_ = !l4_ || only == 0;
    vlan_ = !l4_ || only == 1;
    address_ = !l4_ || only == 2;
  }

  Acl list( U32 rulesMax ) {
    Acl acl;
    acl.name = "list";
    acl.kind = kind_;
    acl.laterFragments = pick( 4 ) == 0 ? LaterFragments::permittedByL3 : LaterFragments::unmatched;
    acl.defaultAction = Forwarding( pick( 3 ) );
    const U32 rules = 1 + pick( rulesMax );
    for ( U32 i = 0; i < rules; ++i )
      acl.rules.push_back( rule() );
    return acl;
  }

  // Every packet that these lists tell apart.
  std::vector< PacketPoint > packets() const;

  U32 pick( U32 below ) { return static_cast< U32 >( random_() % below ); }

 private:
  AclRule rule() {
    AclRule rule;
    rule.forwarding = pick( 20 ) == 0 ? Forwarding::none : Forwarding( 1 + pick( 2 ) );
    rule.copyToCpu = pick( 12 ) == 0;
    rule.counters.stated = pick( 15 ) == 0;
    if ( inPorts_ && pick( 2 ) == 0 )
      setRanges( rule, FieldId::inPorts, ranges( 0xFF ) );
    if ( vlan_ && pick( 2 ) == 0 )
      setMatches( rule, FieldId::vlan, matches( 0xFFF ) );
    if ( address_ && pick( 2 ) == 0 )
      setMatches( rule, addressField(), matches( 0xFFFFFFFF ) );
    if ( l4_ )
      addL4( rule );
    return rule;
  }

  void addL4( AclRule & rule ) {
    const U8 protocols[] = { protocolTcp, protocolUdp, protocolIcmp, 47 };
    const U8 protocol = protocols[ pick( 4 ) ];
    const bool any = pick( 3 ) == 0;
    if ( !any )
      rule.protocol = { protocol, 0xFF };
    if ( ( any || protocol == protocolTcp || protocol == protocolUdp ) && pick( 2 ) == 0 )
      setRanges( rule, FieldId::destinationPorts, ranges( 0xFFFF ) );
    else if ( ( any || protocol == protocolTcp ) && pick( 3 ) == 0 )
      rule.tcpFlags = pick( 2 ) == 0 ? FieldMatch< U8 >{ 2, 2 } : FieldMatch< U8 >{ 0, 3 };
    else if ( ( any || protocol == protocolIcmp ) && pick( 3 ) == 0 )
      rule.icmpTypeCode = { 0x0800, 0xFF00 };
    if ( pick( 5 ) == 0 )
      rule.fragments = Fragments( pick( 6 ) );
  }

  std::vector< AnyRange > ranges( U32 most ) {
    std::vector< AnyRange > ranges( pick( 4 ) == 0 ? 2 : 1 );
    for ( AnyRange & range : ranges ) {
      range.low = pick( 4 );
      range.high = pick( 4 ) == 0 ? most : range.low + pick( 4 - range.low );
    }
    return ranges;
  }

  std::vector< TernaryBits > matches( U32 all ) {
    std::vector< TernaryBits > matches( pick( 4 ) == 0 ? 2 : 1 );
    for ( TernaryBits & match : matches ) {
      match.mask.low = ( all & ~3U ) | pick( 4 );
      match.value.low = pick( 4 ) & match.mask.low;
    }
    return matches;
  }

  FieldId addressField() const {
    return kind_ == AclKind::ipv4   ? FieldId::source
           : kind_ == AclKind::ipv6 ? FieldId::source6
                                    : FieldId::sourceMac;
  }

  const AclKind kind_;
  std::mt19937 random_;
  bool l4_ = false;
  bool inPorts_ = false;
  bool vlan_ = false;
  bool address_ = false;
};

// A packet's fields as the reference model sees them.
inline FrameFields fieldsOf( const PacketPoint & point ) {
  const auto value = [ & ]( FieldId field ) { return point.of( field ).low; };
  FrameFields fields;
  fields.hasMacs = true;
  fields.sourceMac = value( FieldId::sourceMac );
  fields.destinationMac = value( FieldId::destinationMac );
  if ( point.has( Presence::tag ) ) {
    fields.vlan = static_cast< U16 >( value( FieldId::vlan ) );
    fields.vlanPriority = static_cast< U8 >( value( FieldId::vlanPriority ) );
  }
  if ( point.has( Presence::innerTag ) )
    fields.innerVlan = static_cast< U16 >( value( FieldId::innerVlan ) );
  if ( point.has( Presence::etherType ) )
    fields.etherType = static_cast< U16 >( value( FieldId::etherType ) );
  fields.inPort = static_cast< U32 >( value( FieldId::inPorts ) );
  fields.outPort = static_cast< U32 >( value( FieldId::outPorts ) );
  if ( point.kind == AclKind::mac )
    return fields;
  fields.l3 = point.kind == AclKind::ipv4 ? L3Kind::ipv4 : L3Kind::ipv6;
  fields.sourceIp = static_cast< U32 >( value( FieldId::source ) );
  fields.destinationIp = static_cast< U32 >( value( FieldId::destination ) );
  fields.source6 = addressOf( point.of( FieldId::source6 ) );
  fields.destination6 = addressOf( point.of( FieldId::destination6 ) );
  fields.trafficClass = static_cast< U8 >( value( FieldId::dscp ) * 4 + value( FieldId::ecn ) );
  fields.hopLimit = static_cast< U8 >( value( FieldId::ttl ) );
  fields.protocol = static_cast< U8 >( value( FieldId::protocol ) );
  fields.fragment = FragmentKind( value( FieldId::fragments ) );
  if ( point.has( FieldId::destinationPorts ) )
    fields.ports = { static_cast< U16 >( value( FieldId::sourcePorts ) ),
                     static_cast< U16 >( value( FieldId::destinationPorts ) ) };
  if ( point.has( FieldId::tcpFlags ) )
    fields.tcpFlags = static_cast< U8 >( value( FieldId::tcpFlags ) );
  if ( point.has( FieldId::icmp ) )
    fields.icmpTypeCode = static_cast< U16 >( value( FieldId::icmp ) );
  return fields;
}

inline std::vector< PacketPoint > FewBits::packets() const {
  std::vector< PacketPoint > points( 1 );
  points.front().kind = kind_;
  using Test = bool ( * )( const PacketPoint & );
  // Varies what packets have in a field, or whether they have a header.
  const auto vary = [ & ]( FieldId field, U32 values, Test test ) {
    const size_t count = points.size();
    for ( size_t i = 0; i < count; ++i )
      for ( U32 value = 1; value < values && test( points[ i ] ); ++value ) {
        points.push_back( points[ i ] );
        points.back().values[ static_cast< size_t >( field ) ].low = value;
      }
  };
  const auto varyPart = [ & ]( Presence part, Test test ) {
    const size_t count = points.size();
    for ( size_t i = 0; i < count; ++i )
      if ( test( points[ i ] ) ) {
        points.push_back( points[ i ] );
        points.back().present[ static_cast< size_t >( part ) ] = true;
      }
  };
  const auto always = []( const PacketPoint & ) { return true; };
  PacketPoint & first = points.front();
  first.present[ static_cast< size_t >( Presence::etherType ) ] = true;
  first.values[ static_cast< size_t >( FieldId::etherType ) ].low = kind_ == AclKind::ipv4 ? 0x0800
                                                                    : kind_ == AclKind::ipv6
                                                                        ? 0x86DD
                                                                        : 0x88B5;
  first.values[ static_cast< size_t >( FieldId::protocol ) ].low = 47;
  if ( inPorts_ )
    vary( FieldId::inPorts, 5, always );
  if ( vlan_ ) {
    varyPart( Presence::tag, always );
    vary( FieldId::vlan, 5,
          []( const PacketPoint & point ) { return point.has( Presence::tag ); } );
  }
  if ( address_ )
    vary( addressField(), 5, always );
  if ( !l4_ )
    return points;
  const size_t others = points.size();
  for ( const U64 protocol : { 6U, 17U, 1U, 58U } )
    for ( size_t i = 0; i < others; ++i ) {
      points.push_back( points[ i ] );
      points.back().values[ static_cast< size_t >( FieldId::protocol ) ].low = protocol;
    }
  vary( FieldId::fragments, 3, always );
  varyPart(
      Presence::l4Header,
      []( const PacketPoint & point ) {
        return point.of( FieldId::protocol ).low != 47 && point.of( FieldId::fragments ).low != 2;
      } );
  vary(
      FieldId::destinationPorts, 5,
      []( const PacketPoint & point ) { return point.has( FieldId::destinationPorts ); } );
  vary(
      FieldId::tcpFlags, 3,
      []( const PacketPoint & point ) { return point.has( FieldId::tcpFlags ); } );
  vary( FieldId::icmp, 2, []( const PacketPoint & point ) { return point.has( FieldId::icmp ); } );
  for ( PacketPoint & point : points )
    point.values[ static_cast< size_t >( FieldId::icmp ) ].low *= 0x0801;
  return points;
}

// A list's rules and default action on every packet, by the reference model.
class Enumeration {
 public:
  using Fate = std::tuple< Forwarding, bool, const AclRule * >;

  Enumeration( const Acl & acl, const std::vector< PacketPoint > & packets ) : acl_( acl ) {
    for ( const PacketPoint & packet : packets )
      fields_.push_back( fieldsOf( packet ) );
    for ( const AclRule & rule : acl.rules )
      matches_.push_back( matchesOf( rule ) );
  }

  size_t packets() const { return fields_.size(); }
  std::vector< bool > matchesOf( const AclRule & rule ) const {
    std::vector< bool > matches;
    for ( const FrameFields & packet : fields_ )
      matches.push_back( ruleMatches( acl_, rule, packet ) );
    return matches;
  }
  bool matches( size_t rule, size_t packet ) const { return matches_[ rule ][ packet ]; }
  // A rule's index; the number of rules: none matches.
  size_t first( size_t packet ) const {
    size_t rule = 0;
    while ( rule < matches_.size() && !matches( rule, packet ) )
      ++rule;
    return rule;
  }
  // Rules with counters of their own are told apart.
  Fate fateBy( size_t rule ) const {
    if ( rule == matches_.size() )
      return { acl_.defaultAction, false, nullptr };
    const AclRule & by = acl_.rules[ rule ];
    return { by.forwarding, by.copyToCpu, by.counters.stated ? &by : nullptr };
  }
  // Of every packet, if only these rules are in the list, in this order.
  std::vector< Fate > fates( const std::vector< size_t > & rules ) const {
    std::vector< Fate > fates;
    for ( size_t packet = 0; packet < packets(); ++packet ) {
      const auto by = std::find_if( rules.begin(), rules.end(),
                                    [ & ]( size_t rule ) { return matches( rule, packet ); } );
      fates.push_back( fateBy( by == rules.end() ? matches_.size() : *by ) );
    }
    return fates;
  }

 private:
  const Acl & acl_;
  std::vector< FrameFields > fields_;
  std::vector< std::vector< bool > > matches_;
};

}  // namespace Agent
