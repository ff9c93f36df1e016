#include "agent/acl/AclRule.h"

#include <algorithm>

namespace Agent {

FieldMatch< U32 > prefix4( U32 address, U32 length ) {
  const U32 mask = length == 0 ? 0 : 0xFFFFFFFFU << ( 32 - length );
  return { address & mask, mask };
}

FieldMatch< Ip6Address > prefix6( const Ip6Address & address, U32 length ) {
  FieldMatch< Ip6Address > match;
  for ( U32 i = 0; i < address.size(); ++i ) {
    const U32 bits = std::min( 8U, length - std::min( length, 8 * i ) );
    match.mask[ i ] = static_cast< U8 >( 0xFF00U >> bits );
    match.value[ i ] = address[ i ] & match.mask[ i ];
  }
  return match;
}

bool AclRule::isFor( U8 ipProtocol ) const {
  return protocol == FieldMatch< U8 >{ ipProtocol, 0xFF } &&
         std::none_of(
             alternatives.begin(), alternatives.end(),
             []( const Alternative & other ) { return other.field == FieldId::protocol; } );
}

namespace {

AclRule ruleOf( Forwarding action ) {
  AclRule rule;
  rule.name = "default";
  rule.forwarding = action;
  return rule;
}

}  // namespace

U32 Acl::size() const {
  return static_cast< U32 >( rules.size() ) + ( defaultAction != Forwarding::none ? 1 : 0 );
}

const AclRule & Acl::rule( U32 index ) const {
  static const AclRule permit = ruleOf( Forwarding::permit );
  static const AclRule drop = ruleOf( Forwarding::drop );
  if ( index < rules.size() )
    return rules[ index ];
  if ( boundDefault )
    return *boundDefault;
  return defaultAction == Forwarding::permit ? permit : drop;
}

bool Acl::isBoundTo( U32 port ) const {
  return boundPorts.empty() ||
         std::any_of(
             boundPorts.begin(), boundPorts.end(),
             [ port ]( const auto & range ) { return range.low <= port && port <= range.high; } );
}

const char * kindName( AclKind kind ) {
  return kind == AclKind::ipv4 ? "ipv4" : kind == AclKind::ipv6 ? "ipv6" : "mac";
}

const char * useName( AclUse use ) {
  switch ( use ) {
    case AclUse::filter:
      return "filter";
    case AclUse::mirror:
      return "mirror";
    case AclUse::flow:
      return "flow";
    case AclUse::flowVxlan:
      return "flowVxlan";
  }
  return "unknown";
}

}  // namespace Agent
