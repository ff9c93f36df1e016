#include "agent/feature/AclShares.h"

#include <fmt/format.h>

#include <algorithm>

#include "morvane/AclType.h"
#include "morvane/MorvaneTcamManager/QualifierSet.h"
#include "morvane/MorvaneTcamManager/Udf/FlowGroup.h"
#include "softasic/QualifierNames.h"

namespace Agent {

namespace {

using Platform::GroupData;
using Platform::PlatformData;
using Platform::ReservationData;

bool isMirroring( const ReservationData & share ) {
  return share.assignment >= Morvane::mirroringAclTcamGroup1 &&
         share.assignment <= Morvane::mirroringAclTcamGroup4;
}

const ReservationData * find( const PlatformData & platform,
                              Morvane::TcamGroupAssignment assignment ) {
  const auto share =
      std::find_if( platform.reservations.begin(), platform.reservations.end(),
                    [ & ]( const auto & r ) { return r.assignment == assignment && r.size != 0; } );
  return share == platform.reservations.end() ? nullptr : &*share;
}

// One mirroring group matches one kind of packets.
const ReservationData * findMirroring( const PlatformData & platform, AclKind kind ) {
  if ( kind == AclKind::ipv6 && !platform.attributes.ipv6MirroringSupported )
    return nullptr;
  U32 passOver = kind == AclKind::ipv4 ? 0 : kind == AclKind::mac ? 1 : 2;
  for ( const ReservationData & share : platform.reservations )
    if ( isMirroring( share ) && share.size != 0 && passOver-- == 0 )
      return &share;
  return nullptr;
}

Morvane::TcamGroupAssignment ingressFilter( AclKind kind ) {
  return kind == AclKind::ipv4   ? Morvane::ipAclTcamGroup
         : kind == AclKind::ipv6 ? Morvane::ip6AclTcamGroup
                                 : Morvane::macAclTcamGroup;
}

Morvane::TcamGroupAssignment egressFilter( AclKind kind ) {
  return kind == AclKind::ipv4   ? Morvane::ipAclEgressTcamGroup
         : kind == AclKind::ipv6 ? Morvane::ip6AclEgressTcamGroup
                                 : Morvane::macAclEgressTcamGroup;
}

bool has( const std::vector< U32 > & list, U32 qualifier ) {
  return std::find( list.begin(), list.end(), qualifier ) != list.end();
}

// Mirroring groups use the library's qualifier sets, whatever the platform's table says.
std::vector< U32 > listedQualifiers( const PlatformData & platform, const ReservationData & share,
                                     AclKind kind ) {
  if ( !isMirroring( share ) )
    return platform.group( share.group )->qualifiers;
  std::vector< U32 > qualifiers;
  for ( const U32 * next = Morvane::mirroringQualifiers(
            aclTypeOf( kind ), platform.attributes.ipv6MirroringSupported );
        *next != bcmFieldQualifyCount; ++next )
    qualifiers.push_back( *next );
  return qualifiers;
}

bool groupMatches( const PlatformData & platform, const ReservationData & share, AclKind kind,
                   U32 qualifier ) {
  if ( qualifier == bcmFieldQualifyTtl && platform.chipInfo.excludeTtl )
    return false;
  const GroupData & group = *platform.group( share.group );
  const bool listed = has( listedQualifiers( platform, share, kind ), qualifier );
  return ( listed && !has( group.excludes, qualifier ) ) || has( group.includes, qualifier );
}

// By FieldId: the group's key has the field.
std::vector< bool > matchedBy( const PlatformData & platform, const ReservationData & share,
                               AclKind kind ) {
  std::vector< bool > matched;
  for ( const MatchField & field : matchFields() )
    matched.push_back( groupMatches( platform, share, kind, field.qualifier ) ||
                       ( field.id == FieldId::inPorts &&
                         groupMatches( platform, share, kind, bcmFieldQualifyInPort ) ) );
  return matched;
}

ListFault missing( const PlatformData & platform, const ReservationData & share,
                   const std::string & what, U32 qualifier ) {
  return { 0, fmt::format( "platform {} cannot match {} ({}) in group {} of {}", platform.name,
                           what, SoftAsic::qualifierName( qualifier ), share.group,
                           enumName( share.assignment ) ) };
}

std::optional< ListFault > ruleFault( const PlatformData & platform, const ReservationData & share,
                                      const Acl & acl, const AclRule & rule,
                                      const std::vector< bool > & matched ) {
  for ( const MatchField * field : matchedFields( acl, rule ) )
    if ( !matched[ static_cast< size_t >( field->id ) ] )
      return missing( platform, share, field->name, field->qualifier );
  if ( !rule.udf.empty() && isMirroring( share ) && !share.mirroringAclUdf )
    return ListFault{ 0, fmt::format( "{} has no user-defined fields on this platform",
                                      enumName( share.assignment ) ) };
  if ( !rule.udf.empty() && isMirroring( share ) && platform.chip.fixedGroupKeys &&
       !platform.chip.groupByPreselector )
    return ListFault{ 0, "this chip cannot widen a mirroring group for a new field" };
  return std::nullopt;
}

// "filter: ipv4, mac; mirror: ipv4; egress filter: ipv4".
std::string servedLists( const PlatformData & platform ) {
  std::string text;
  for ( const Direction direction : { Direction::in, Direction::out } )
    for ( const AclUse use : { AclUse::filter, AclUse::mirror, AclUse::flow, AclUse::flowVxlan } ) {
      const bool flow = use == AclUse::flow || use == AclUse::flowVxlan;
      std::string kinds;
      for ( const AclKind kind : { AclKind::ipv4, AclKind::ipv6, AclKind::mac } )
        if ( shareOf( platform, { kind, use, direction } ) != nullptr &&
             ( kind == AclKind::ipv4 || !flow ) )
          kinds += ( kinds.empty() ? "" : ", " ) + std::string( kindName( kind ) );
      if ( !kinds.empty() )
        text += fmt::format( "{}{}{}: {}", text.empty() ? "" : "; ",
                             direction == Direction::out ? "egress " : "", useName( use ), kinds );
    }
  return text.empty() ? "none" : text;
}

// A flow-programming group has its fields even if no rule uses them.
bool usesFields( const Acl & acl ) {
  return acl.use == AclUse::flow || acl.use == AclUse::flowVxlan ||
         std::any_of(
             acl.rules.begin(), acl.rules.end(),
             []( const AclRule & rule ) { return !rule.udf.empty(); } );
}

}  // namespace

S32 aclTypeOf( AclKind kind ) {
  return kind == AclKind::ipv4   ? Morvane::Acl::ip()
         : kind == AclKind::ipv6 ? Morvane::Acl::ip6()
                                 : Morvane::Acl::mac();
}

const ReservationData * shareOf( const PlatformData & platform, const ListClass & lists ) {
  if ( lists.direction == Direction::out )
    return lists.use == AclUse::filter ? find( platform, egressFilter( lists.kind ) ) : nullptr;
  switch ( lists.use ) {
    case AclUse::filter:
      return find( platform, ingressFilter( lists.kind ) );
    case AclUse::mirror:
      return findMirroring( platform, lists.kind );
    case AclUse::flow:
      return find( platform, Morvane::openFlowUdfTcamGroup );
    case AclUse::flowVxlan:
      return find( platform, Morvane::openFlowVxlanUdfTcamGroup );
  }
  return nullptr;
}

U32 largestShare( const PlatformData & platform ) {
  U32 largest = 0;
  for ( const ReservationData & share : platform.reservations )
    largest = std::max( largest, share.size );
  return largest;
}

bool matchesRanges( const PlatformData & platform, const ReservationData & share ) {
  return !isMirroring( share ) && platform.chip.rangeCheckers != 0 &&
         !platform.chipInfo.excludeRangeChecks &&
         groupMatches( platform, share, AclKind::ipv4, bcmFieldQualifyRangeCheck );
}

PortKey portKey( const PlatformData & platform, const ReservationData & share, AclKind kind ) {
  return groupMatches( platform, share, kind, bcmFieldQualifyInPorts ) ? PortKey::bitmap
                                                                       : PortKey::number;
}

std::optional< ListFault > flowFieldFault( const std::vector< Acl > & acls, const Acl & acl ) {
  if ( acl.use != AclUse::flow && acl.use != AclUse::flowVxlan )
    return std::nullopt;
  const Acl & first = *std::find_if( acls.begin(), acls.end(),
                                     [ & ]( const Acl & each ) { return each.use == acl.use; } );
  const auto offsets = Morvane::flowFieldOffsets( acl.use == AclUse::flow, first.flowProtocol );
  for ( const AclRule & rule : acl.rules )
    for ( const UdfMatch & udf : rule.udf )
      if ( std::find( offsets.begin(), offsets.end(), udf.fromL3() ) == offsets.end() )
        return ListFault{
            rule.line,
            fmt::format( "{}: the group of use {} has no field at offset {} of the L3 header; with "
                         "flowProtocol {} it has {}",
                         acl.name, useName( acl.use ), udf.fromL3(), first.flowProtocol,
                         fmt::join( offsets, ", " ) ),
            rule.column };
  return std::nullopt;
}

std::optional< ListFault > listFault( const PlatformData & platform, const Acl & acl ) {
  const ReservationData * share = shareOf( platform, classOf( acl ) );
  if ( share == nullptr )
    return ListFault{
        0,
        fmt::format( "platform {} has no share for {}lists of type {} and use {}; its shares: {}",
                     platform.name, acl.direction == Direction::out ? "egress " : "",
                     kindName( acl.kind ), useName( acl.use ), servedLists( platform ) ) };
  if ( usesFields( acl ) && platform.chip.dataChunks == 0 )
    return ListFault{ 0, "this chip cannot match user-defined fields" };
  if ( acl.mirrorPort && *acl.mirrorPort >= platform.chip.ports() )
    return ListFault{ acl.mirrorPortLine,
                      fmt::format( "mirror port {}: {} has the ports 0 to {}", *acl.mirrorPort,
                                   platform.name, platform.chip.ports() - 1 ) };
  if ( acl.kind != AclKind::mac &&
       !groupMatches( platform, *share, acl.kind, bcmFieldQualifyIpType ) )
    return missing( platform, *share, "IP packets", bcmFieldQualifyIpType );
  const std::vector< bool > matched = matchedBy( platform, *share, acl.kind );
  for ( const AclRule & rule : acl.rules )
    if ( auto fault = ruleFault( platform, *share, acl, rule, matched ) )
      return fault;
  return std::nullopt;
}

std::optional< ListFault > listFault( const PlatformData & platform,
                                      const std::vector< Acl > & acls, const Acl & acl ) {
  const auto fault = listFault( platform, acl );
  return fault ? fault : flowFieldFault( acls, acl );
}

}  // namespace Agent
